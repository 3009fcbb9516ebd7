// Counts the blocks cJSON allocates, so that a test sees a document tree or
// printed text left behind in every build, not only under LeakSanitizer and
// memcheck.
//
// Header-only: it uses cJSON, which the test executables and the fuzz
// targets link, not the support library.
#ifndef KORRIN_TESTS_SUPPORT_JSON_BLOCK_COUNTER_H
#define KORRIN_TESTS_SUPPORT_JSON_BLOCK_COUNTER_H

#include <cjson/cJSON.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>

namespace korrin_test {

/// Routes cJSON's allocations through counting hooks while it exists and
/// restores cJSON's default allocator when it goes. One at a time: the
/// hooks are process-wide.
class JsonBlockCounter {
 public:
  JsonBlockCounter() {
    cJSON_Hooks hooks{&allocate, &release};
    cJSON_InitHooks(&hooks);
    at_start_ = blocks_;
  }
  JsonBlockCounter(const JsonBlockCounter&) = delete;
  JsonBlockCounter& operator=(const JsonBlockCounter&) = delete;
  ~JsonBlockCounter() { cJSON_InitHooks(nullptr); }

  /// Blocks allocated since this counter started and not freed yet.
  long live() const { return blocks_ - at_start_; }

 private:
  static void* allocate(std::size_t size) {
    void* block = std::malloc(size);
    if (block != nullptr) {
      ++blocks_;
    }
    return block;
  }
  // Both allocators are malloc/free, so a block allocated before the hooks
  // were installed may be freed here (and then counts below zero).
  static void release(void* block) {
    if (block != nullptr) {
      --blocks_;
      std::free(block);
    }
  }

  static inline std::atomic<long> blocks_{0};
  long at_start_ = 0;
};

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_JSON_BLOCK_COUNTER_H
