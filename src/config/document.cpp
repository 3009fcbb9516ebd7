// Taking over configuration from the server (a whole document) or from the
// host (one setting).
#include <cjson/cJSON.h>

#include <functional>
#include <memory>

#include "base/json_tree.h"
#include "config/json_fields.h"
#include "korrin/compat/config_impl.h"
#include "korrin/compat/constants.h"

namespace korrin {
namespace config {

namespace {

// The node whose member "templateConfiguration" is looked for: the root, or
// the first descendant reached through first children only (an array on the
// way is entered at its first element). A loop, not recursion, so the depth
// of the document costs no stack.
cJSON* find_template_holder(cJSON* node) {
  while (node != nullptr) {
    if (detail::member(node, KEY_TEMPLATE_CONFIGURATION) != nullptr) {
      return node;
    }
    cJSON* first = detail::first_child(node);
    if (cJSON_IsArray(first)) {
      first = detail::first_child(first);
    }
    node = first;
  }
  return nullptr;
}

// Where the last failed parse of `document` stopped, or null. cJSON keeps the
// position of its most recent failure in a global; it is used only when it
// points into `document`, so a position left from an earlier text that may
// no longer exist is never read.
const char* error_position_in(const std::string& document) {
  const char* position = cJSON_GetErrorPtr();
  if (position == nullptr || document.empty()) {
    return nullptr;
  }
  const char* begin = document.c_str();
  const char* end = begin + document.size();
  if (std::less<const char*>()(position, begin) || std::less<const char*>()(end, position)) {
    return nullptr;
  }
  return position;
}

}  // namespace

bool ConfigImpl::update_from_server(std::string const& document) {
  detail::JsonTree tree;
  if (document.empty()) {
    logger_->info() << "update_from_server: Nothing to parse";
  } else {
    tree.reset(cJSON_Parse(document.c_str()));
  }
  if (!tree) {
    const char* position = error_position_in(document);
    if (position != nullptr) {
      logger_->info() << "update_from_server: " << position;
    }
    return false;
  }
  // Kept as written ("Enter:" after a blank): hosts match on this record.
  logger_->info() << "update_from_server Enter:";

  cJSON* holder = find_template_holder(tree.get());
  if (holder == nullptr) {
    logger_->info() << "update_from_server: No template config found.";
    logger_->debug() << "update_from_server: No config found.";
    return false;
  }
  // The holder's first member is handed on, not the member found by name:
  // the document must put "templateConfiguration" first.
  if (!parse_remote_default_config(detail::first_child(holder))) {
    logger_->debug() << "update_from_server: Parsing remote config failed.";
    return false;
  }
  tree.reset();
  logger_->info() << "update_from_server: success";
  return true;
}

bool ConfigImpl::update_from_host(std::string const& key, int usage_id, std::string const& value) {
  ConfigParam param;
  param.usage_id = usage_id;
  param.key = key;
  param.value = value;
  set_map_entry(usage_id, param);
  logger_->info() << "update_from_host: Updated id: " << usage_id << ", key: " << key
                  << ", value: " << value;
  return true;
}

}  // namespace config
}  // namespace korrin
