// Pieces shared by the fuzz targets: the fake host installed for one input,
// and checks that stop the run with a readable message when a property of
// the library does not hold (libFuzzer then saves the input as a crash).
#ifndef KORRIN_FUZZ_FUZZ_SUPPORT_H
#define KORRIN_FUZZ_FUZZ_SUPPORT_H

#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/fake_host.h"

namespace korrin_fuzz {

/// `text` with every byte outside printable ASCII written as \xHH.
inline std::string printable(const std::string& text) {
  static const char kHex[] = "0123456789abcdef";
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte < 0x7f && byte != '\\') {
      out += c;
    } else {
      out += "\\x";
      out += kHex[byte >> 4];
      out += kHex[byte & 0xf];
    }
  }
  return out;
}

/// Aborts the run when `holds` is false, naming the property.
inline void require(bool holds, const char* property, const std::string& detail = std::string()) {
  if (!holds) {
    std::fprintf(stderr, "property violated: %s\n%s\n", property, printable(detail).c_str());
    std::abort();
  }
}

/// Requires `actual` to equal `expected`.
inline void require_equal(const std::string& actual, const std::string& expected,
                          const char* property) {
  require(actual == expected, property, "expected: " + expected + "\nactual:   " + actual);
}

/// A fake host installed for one input and removed with it.
class Session {
 public:
  Session() : accessories_before_(korrin_test::FakeAccessory::live()) { host.install(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() { korrin_test::uninstall_plugins(); }

  /// What every input must leave behind once the library objects it made
  /// are gone: every lock destroyed, none misused or still held by this
  /// thread, every accessory copy deleted.
  void require_everything_released() const {
    require(host.mutexes.live() == 0, "every lock the library made is destroyed",
            std::to_string(host.mutexes.live()) + " locks alive");
    require(host.mutexes.violations() == 0, "no lock is misused",
            std::to_string(host.mutexes.violations()) + " violations");
    require(korrin_test::FakeMutexFactory::held_by_this_thread() == 0, "no lock is left held");
    require(
        korrin_test::FakeAccessory::live() == accessories_before_,
        "every accessory copy is deleted",
        std::to_string(korrin_test::FakeAccessory::live() - accessories_before_) + " copies alive");
  }

  korrin_test::FakeHost host;

 private:
  int accessories_before_;
};

}  // namespace korrin_fuzz

#endif  // KORRIN_FUZZ_FUZZ_SUPPORT_H
