// Merging one settings array of the configuration document into the
// settings map: validation of each entry, usage-id and value conversion,
// access normalisation and the merge of "Both" pairs.
#include <cjson/cJSON.h>

#include <climits>
#include <cstdlib>

#include "config/json_fields.h"
#include "korrin/compat/config_impl.h"
#include "korrin/compat/constants.h"
#include "korrin/compat/error_tags.h"
#include "korrin/compat/string_utils.h"

namespace korrin {
namespace config {

namespace {

bool all_decimal_digits(const char* text) {
  if (text == nullptr || *text == '\0') {
    return false;
  }
  for (; *text != '\0'; ++text) {
    if (*text < '0' || *text > '9') {
      return false;
    }
  }
  return true;
}

// A number gives cJSON's integer value, which cJSON already saturates at
// INT_MIN / INT_MAX for numbers beyond int range (1e300 reads as INT_MAX).
// A string must be decimal digits only; digit strings beyond int range
// saturate at INT_MAX the same way, so both spellings of a huge id agree.
bool read_usage_id(const cJSON* item, int& usage_id) {
  if (cJSON_IsNumber(item)) {
    usage_id = item->valueint;
    return true;
  }
  if (cJSON_IsString(item) && all_decimal_digits(item->valuestring)) {
    const long parsed = std::strtol(item->valuestring, nullptr, 10);
    usage_id = parsed > INT_MAX ? INT_MAX : static_cast<int>(parsed);
    return true;
  }
  return false;
}

// A number is kept as the decimal text of its integer part (cJSON's integer
// value: the fraction dropped, saturated at the int range); a string as it is.
bool read_value(const cJSON* item, std::string& value) {
  if (cJSON_IsNumber(item)) {
    value = stringconverter::to_string<int>(item->valueint);
    return true;
  }
  if (cJSON_IsString(item) && item->valuestring != nullptr) {
    value = item->valuestring;
    return true;
  }
  return false;
}

}  // namespace

int ConfigImpl::save_config_to_map(cJSON* settings) {
  // One working record for the whole array, never cleared between entries:
  // fields an entry does not set keep what earlier entries left in them.
  ConfigParam working;
  int saved = 0;
  // Walk the children directly: indexed access would make large arrays quadratic.
  for (cJSON* entry = detail::first_child(settings); entry != nullptr; entry = entry->next) {
    const cJSON* name_item = detail::member(entry, KEY_NAME);
    const cJSON* usage_item = detail::member(entry, KEY_USAGE_ID);
    const cJSON* value_item = detail::member(entry, KEY_VALUE);
    const cJSON* access_item = detail::member(entry, KEY_ACCESS);

    // A "name" that is not a string counts as missing.
    if (!detail::is_non_empty_text(name_item)) {
      // Kept as written: administrators match on this record.
      logger_->notice() << "save_config_to_map" << ERR_QELM
                        << ": Parameter extracted has missing KEY name. Cannot identify which "
                           "parameter.";
      continue;
    }
    const std::string name = name_item->valuestring;
    if (detail::is_absent(usage_item)) {
      logger_->notice() << "save_config_to_map" << ERR_QELM << ": Null Usage ID for param " << name;
      continue;
    }
    if (detail::is_absent(value_item)) {
      logger_->notice() << "save_config_to_map" << ERR_QELM << ": Null Value for param " << name;
      continue;
    }
    // An "access" that is not a string counts as invalid.
    if (!detail::is_non_empty_text(access_item)) {
      logger_->notice() << "save_config_to_map" << ERR_QELM << ": Invalid Access field for param "
                        << name;
      continue;
    }
    int usage_id = 0;
    if (!read_usage_id(usage_item, usage_id)) {
      logger_->notice() << "save_config_to_map" << ERR_QELM << ": Invalid Usage ID for param "
                        << name;
      continue;
    }
    std::string value;
    if (!read_value(value_item, value)) {
      logger_->notice() << "save_config_to_map" << ERR_QELM << ": Invalid Value for param " << name;
      continue;
    }

    // A "Both" entry without "_" in its name cannot be one half of a pair;
    // in the default document it is an ordinary user setting. The URL is
    // asked for only when that question arises.
    std::string access = access_item->valuestring;
    if (equals_ignore_case(ACCESS_BOTH, access) && name.find('_') == std::string::npos &&
        equals_ignore_case(DEFAULT_HEADSET_CONFIG_FILE, get_config_url())) {
      access = ACCESS_USER;
    }
    if (!equals_ignore_case(ACCESS_ADMIN, access) && !equals_ignore_case(ACCESS_BOTH, access)) {
      access = ACCESS_USER;
    }
    // The records show the id as cJSON holds it (0 for a digit string).
    const int logged_id = usage_item->valueint;

    working.usage_id = usage_id;
    working.access = access;
    const bool both = equals_ignore_case(ACCESS_BOTH, access);
    if (!both) {
      working.key = name;
      working.value = value;
    } else {
      auto existing = settings_.find(usage_id);
      if (existing != settings_.end()) {
        // The second half of a pair completes the entry in place.
        ConfigParam& param = existing->second;
        if (string_ends_with(name, "Admin")) {
          param.value = value;
        } else if (string_ends_with(name, "User")) {
          param.user_value = value;
        }
        // Kept as written, no blank after "user_value:": hosts match on this record.
        logger_->debug() << "save_config_to_map: " << logged_id << ", key: " << param.key
                         << ", value: " << param.value << ", user_value:" << param.user_value
                         << ", access: " << access;
        continue;
      }
      if (string_ends_with(name, "Admin")) {
        working.value = value;
      } else if (string_ends_with(name, "User")) {
        working.user_value = value;
      } else {
        continue;
      }
      const std::size_t underscore = name.find('_');
      if (underscore == std::string::npos) {
        continue;
      }
      working.key = name.substr(0, underscore);
    }

    set_map_entry(usage_id, working);
    ++saved;
    if (!both) {
      logger_->debug() << "save_config_to_map: " << logged_id << ", key: " << name
                       << ", value: " << value << ", access: " << access;
    }
  }
  logger_->debug() << "save_config_to_map: Saved " << saved
                   << " settings. current map size: " << settings_.size();
  return saved;
}

}  // namespace config
}  // namespace korrin
