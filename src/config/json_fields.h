// Reading members of the configuration document without trusting their
// types: every helper accepts a null node and any JSON type.
#ifndef KORRIN_SRC_CONFIG_JSON_FIELDS_H
#define KORRIN_SRC_CONFIG_JSON_FIELDS_H

#include <cjson/cJSON.h>

#include <string>

namespace korrin {
namespace detail {

/// The member `key` of `node` (letter case ignored, as cJSON looks it up), or
/// null when `node` is null, not an object, or has no such member.
inline cJSON* member(const cJSON* node, const std::string& key) {
  return cJSON_GetObjectItem(node, key.c_str());
}

/// True for a missing member and for JSON null.
inline bool is_absent(const cJSON* item) { return item == nullptr || cJSON_IsNull(item); }

/// True for a JSON string with at least one character.
inline bool is_non_empty_text(const cJSON* item) {
  return cJSON_IsString(item) && item->valuestring != nullptr && item->valuestring[0] != '\0';
}

/// The first element of an array (or first member of an object); null for
/// anything else and for an empty container.
inline cJSON* first_child(const cJSON* node) { return node == nullptr ? nullptr : node->child; }

}  // namespace detail
}  // namespace korrin

#endif  // KORRIN_SRC_CONFIG_JSON_FIELDS_H
