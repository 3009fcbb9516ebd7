// Taking over configuration from the server or from the host.
#include "korrin/config.h"

namespace korrin {
namespace config {

// Documents are not taken over yet: the parser lands separately.
bool ConfigImpl::update_from_server(std::string const& /*document*/) { return false; }

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
