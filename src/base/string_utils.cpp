// String helpers and the headset-model rules.
#include "korrin/compat/string_utils.h"

#include <cctype>
#include <locale>
#include <sstream>
#include <string>

#include "korrin/compat/constants.h"
#include "korrin/plugins.h"

void to_lower(std::string& s) {
  for (char& c : s) {
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
}

bool equals_ignore_case(std::string a, std::string b) {
  if (a.size() != b.size()) {
    return false;
  }
  to_lower(a);
  to_lower(b);
  return a == b;
}

bool is_alpha(const std::string& s) {
  for (char c : s) {
    if (std::isalpha(static_cast<unsigned char>(c))) {
      return true;
    }
  }
  return false;
}

bool is_naming_corrupted(const std::string& s) {
  for (char c : s) {
    const bool allowed =
        std::isalpha(static_cast<unsigned char>(c)) || (c >= '0' && c <= '9') || c == '-';
    if (!allowed) {
      return true;
    }
  }
  return false;
}

bool string_ends_with(const std::string& s, const std::string& suffix) {
  if (suffix.size() > s.size()) {
    return false;
  }
  return s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::string get_headset_model(const std::string& model, const std::string& serial_number) {
  // One hardware family reports "Zelor H-9" for two products; the eighth
  // character of the serial number tells the H-8 apart.
  constexpr std::size_t kModelDigit = 7;
  if (model == MODEL_H9 && serial_number.size() > kModelDigit) {
    return serial_number[kModelDigit] == '4' ? MODEL_H8 : MODEL_H9;
  }
  return model;
}

std::string get_headset_model(const korrin::AccessoryInfoInterface* accessory) {
  if (accessory == nullptr) {
    return std::string();
  }
  std::string model = accessory->get_model();
  if (model != MODEL_H9) {
    return model;
  }
  return get_headset_model(model,
                           accessory->get_serial_number(korrin::globals::plugins.system_info));
}

bool isZelorHeadset(const korrin::AccessoryInfoInterface* accessory) {
  return accessory != nullptr && accessory->is_vendor_headset();
}

bool headset_support_downgrade(const korrin::AccessoryInfoInterface* /*accessory*/) {
  // Every headset counts as supporting a firmware downgrade.
  return true;
}

namespace stringconverter {

template <>
std::string to_string<int>(const int& value) {
  // A stream formats with the global locale, which may group digits; the
  // classic one never does, and then std::to_string writes the same text
  // without the cost of setting up a stream (one per setting of a document).
  if (std::locale() == std::locale::classic()) {
    return std::to_string(value);
  }
  std::ostringstream out;
  out << value;
  return out.str();
}

template <>
std::string to_string<char*>(char* const& value) {
  // A stream writes a character string unchanged (no width is ever set).
  return value == nullptr ? std::string() : std::string(value);
}

}  // namespace stringconverter
