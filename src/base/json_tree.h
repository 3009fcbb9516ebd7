// Ownership of a cJSON tree, so that a tree being read or built is freed on
// every path out, including a host call that throws.
#ifndef KORRIN_SRC_BASE_JSON_TREE_H
#define KORRIN_SRC_BASE_JSON_TREE_H

#include <cjson/cJSON.h>

#include <memory>

namespace korrin {
namespace detail {

/// Frees a whole tree with cJSON_Delete (null is ignored).
struct JsonTreeDeleter {
  void operator()(cJSON* tree) const { cJSON_Delete(tree); }
};

/// Owns a cJSON tree; release() hands it on once it is complete.
using JsonTree = std::unique_ptr<cJSON, JsonTreeDeleter>;

}  // namespace detail
}  // namespace korrin

#endif  // KORRIN_SRC_BASE_JSON_TREE_H
