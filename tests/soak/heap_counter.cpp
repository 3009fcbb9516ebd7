// The replacement operators. Sizes are taken from malloc_usable_size on both
// sides, so a block counts the same when it is made and when it is freed,
// whichever form of operator delete releases it.
#include "heap_counter.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long long> live_bytes{0};
std::atomic<long long> live_blocks{0};

// Counts a block malloc made; passes a failed allocation on as nullptr.
void* counted(void* block) noexcept {
  if (block != nullptr) {
    live_bytes += static_cast<long long>(malloc_usable_size(block));
    ++live_blocks;
  }
  return block;
}

void* allocate(std::size_t size) noexcept { return counted(std::malloc(size == 0 ? 1 : size)); }

void* allocate_aligned(std::size_t size, std::align_val_t alignment) noexcept {
  std::size_t align = static_cast<std::size_t>(alignment);
  if (align < sizeof(void*)) {
    align = sizeof(void*);
  }
  void* block = nullptr;
  if (posix_memalign(&block, align, size == 0 ? 1 : size) != 0) {
    block = nullptr;
  }
  return counted(block);
}

// The throwing forms report a failed allocation with std::bad_alloc.
void* or_bad_alloc(void* block) {
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void release(void* block) noexcept {
  if (block == nullptr) {
    return;
  }
  live_bytes -= static_cast<long long>(malloc_usable_size(block));
  --live_blocks;
  std::free(block);
}

}  // namespace

namespace korrin_soak {

HeapSnapshot heap_now() {
  HeapSnapshot snapshot;
  snapshot.bytes = live_bytes;
  snapshot.blocks = live_blocks;
  snapshot.malloc_in_use = mallinfo2().uordblks;
  return snapshot;
}

}  // namespace korrin_soak

void* operator new(std::size_t size) { return or_bad_alloc(allocate(size)); }
void* operator new[](std::size_t size) { return or_bad_alloc(allocate(size)); }
void* operator new(std::size_t size, std::align_val_t alignment) {
  return or_bad_alloc(allocate_aligned(size, alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return or_bad_alloc(allocate_aligned(size, alignment));
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment,
                   const std::nothrow_t& /*tag*/) noexcept {
  return allocate_aligned(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment,
                     const std::nothrow_t& /*tag*/) noexcept {
  return allocate_aligned(size, alignment);
}

void operator delete(void* block) noexcept { release(block); }
void operator delete[](void* block) noexcept { release(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { release(block); }
void operator delete[](void* block, std::size_t /*size*/) noexcept { release(block); }
void operator delete(void* block, std::align_val_t /*alignment*/) noexcept { release(block); }
void operator delete[](void* block, std::align_val_t /*alignment*/) noexcept { release(block); }
void operator delete(void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  release(block);
}
void operator delete[](void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  release(block);
}
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { release(block); }
void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept { release(block); }
void operator delete(void* block, std::align_val_t /*alignment*/,
                     const std::nothrow_t& /*tag*/) noexcept {
  release(block);
}
void operator delete[](void* block, std::align_val_t /*alignment*/,
                       const std::nothrow_t& /*tag*/) noexcept {
  release(block);
}
