// Reading inventory documents back with cJSON. Header only: the support
// library itself does not link cJSON, the test executables do.
#ifndef KORRIN_TESTS_SUPPORT_INVENTORY_JSON_H
#define KORRIN_TESTS_SUPPORT_INVENTORY_JSON_H

#include <cjson/cJSON.h>

#include <string>
#include <vector>

#include "support/json_tree.h"

namespace korrin_test {

namespace detail {
inline void flatten_into(const cJSON* object, const std::string& prefix,
                         std::vector<std::string>& lines) {
  for (const cJSON* child = object->child; child != nullptr; child = child->next) {
    const std::string path = prefix + (child->string == nullptr ? "?" : child->string);
    if (cJSON_IsString(child)) {
      lines.push_back(path + ": \"" + child->valuestring + "\"");
    } else if (cJSON_IsObject(child)) {
      lines.push_back(path + ": object");
      flatten_into(child, path + "/", lines);
    } else if (cJSON_IsNumber(child)) {
      lines.push_back(path + ": number");
    } else if (cJSON_IsArray(child)) {
      lines.push_back(path + ": array");
    } else {
      lines.push_back(path + ": other");
    }
  }
}
}  // namespace detail

/// Every member of `object` in document order, depth first, one line each:
/// `value/host/client: "client-1"` for a string, `value/host: object` for an
/// object (its members follow), `time: number` for a number (the value is
/// left out: tests check numbers on their own).
inline std::vector<std::string> flatten_members(const cJSON* object) {
  std::vector<std::string> lines;
  if (object != nullptr) {
    detail::flatten_into(object, std::string(), lines);
  }
  return lines;
}

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_INVENTORY_JSON_H
