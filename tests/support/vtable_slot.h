// The virtual-table slot a pointer to a virtual member function designates,
// read from its Itanium C++ ABI representation.
//
// A pointer to member function is two words, {ptr, adj}. For a virtual
// function the slot's byte offset from the vtable's address point is kept:
//   - generic Itanium (x86-64, i386, ...): ptr = 1 + offset, adj = this-adjustment;
//   - ARM (32-bit arm and aarch64): ptr = offset, adj = 2 * this-adjustment + 1,
//     because ARM code addresses may be odd (Thumb), so the flag moves to adj.
// A virtual destructor takes two slots (complete and deleting destructor).
#ifndef KORRIN_TESTS_SUPPORT_VTABLE_SLOT_H
#define KORRIN_TESTS_SUPPORT_VTABLE_SLOT_H

#include <cstddef>
#include <cstring>

namespace korrin_test {

/// Slot index of `member` in its class's primary vtable, or -1 when the
/// pointer designates a non-virtual function.
template <typename MemberFunction>
std::ptrdiff_t vtable_slot(MemberFunction member) {
  static_assert(sizeof(member) == 2 * sizeof(std::ptrdiff_t),
                "pointers to member functions are {ptr, adj} in the Itanium C++ ABI");
  std::ptrdiff_t words[2];
  std::memcpy(words, &member, sizeof(words));
  const std::ptrdiff_t ptr = words[0];
  const std::ptrdiff_t adj = words[1];
  const auto slot_size = static_cast<std::ptrdiff_t>(sizeof(void*));
#if defined(__arm__) || defined(__aarch64__)
  if ((adj & 1) == 0) {
    return -1;
  }
  return ptr / slot_size;
#else
  (void)adj;
  if ((ptr & 1) == 0) {
    return -1;
  }
  return (ptr - 1) / slot_size;
#endif
}

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_VTABLE_SLOT_H
