/// \file
/// String helpers and the functions that tell headset models apart.
#ifndef KORRIN_COMPAT_STRING_UTILS_H
#define KORRIN_COMPAT_STRING_UTILS_H

#include <string>

#include "korrin/export.h"

namespace korrin {
class AccessoryInfoInterface;
}

/// Lowers every byte of `s` in place with the C `tolower`.
KORRIN_API void to_lower(std::string& s);
/// True when `a` and `b` are equal after lowering both.
KORRIN_API bool equals_ignore_case(std::string a, std::string b);
/// True when `s` contains at least one letter.
KORRIN_API bool is_alpha(const std::string& s);
/// True when `s` holds a character other than a letter, a digit or "-".
KORRIN_API bool is_naming_corrupted(const std::string& s);
/// True when `s` ends with `suffix` (an empty suffix always matches).
KORRIN_API bool string_ends_with(const std::string& s, const std::string& suffix);

/// `model`, except that "Zelor H-9" with a serial number whose eighth
/// character is "4" is the "Zelor H-8".
KORRIN_API std::string get_headset_model(const std::string& model,
                                         const std::string& serial_number);
/// The accessory's model name, refined as above; empty for null.
KORRIN_API std::string get_headset_model(const korrin::AccessoryInfoInterface* accessory);
/// The accessory's own answer to whether it is one of the maker's headsets.
KORRIN_API bool isZelorHeadset(const korrin::AccessoryInfoInterface* accessory);
/// Whether the accessory may be downgraded: true for every accessory.
KORRIN_API bool headset_support_downgrade(const korrin::AccessoryInfoInterface* accessory);

namespace stringconverter {
/// Text of a value as a standard output stream writes it; defined for
/// `int` and `char*` (a null `char*` gives an empty string).
template <typename T>
std::string to_string(const T& value);

/// Decimal text of `value`.
template <>
KORRIN_API std::string to_string<int>(const int& value);
/// The C string `value`, or "" for null.
template <>
KORRIN_API std::string to_string<char*>(char* const& value);
}  // namespace stringconverter

#endif  // KORRIN_COMPAT_STRING_UTILS_H
