// An owned cJSON tree for tests that parse documents or read back what the
// library built.
//
// Header-only: it uses cJSON, which only the test executables link.
#ifndef KORRIN_TESTS_SUPPORT_JSON_TREE_H
#define KORRIN_TESTS_SUPPORT_JSON_TREE_H

#include <cjson/cJSON.h>

#include <memory>
#include <string>

namespace korrin_test {

struct JsonDeleter {
  void operator()(cJSON* tree) const { cJSON_Delete(tree); }
};
/// An owned cJSON tree.
using JsonTree = std::unique_ptr<cJSON, JsonDeleter>;

/// Parses `text`; null when cJSON rejects it.
inline JsonTree parse_json(const std::string& text) { return JsonTree(cJSON_Parse(text.c_str())); }

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_JSON_TREE_H
