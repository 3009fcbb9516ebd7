// The address the configuration document is fetched from.
#include "base/url_tokens.h"
#include "korrin/compat/config_impl.h"
#include "korrin/compat/constants.h"

namespace korrin {
namespace config {

std::string ConfigImpl::get_config_url() const {
  SystemInfoInterface* system_info = globals::plugins.system_info;
  std::string url = system_info->get_config_url_template();
  logger_->info() << "get_config_url: tokenized url: " << url;
  if (url.empty()) {
    return DEFAULT_HEADSET_CONFIG_FILE;
  }
  if (detail::has_token(url, detail::kConfigServerToken)) {
    // Each attempt of a request may go to another server: the retry counter
    // tells the host which one.
    const std::string server = system_info->get_config_server(get_config_retries());
    if (server.empty()) {
      logger_->warning() << "get_config_url" << ERR_PLUGIN << " no config servers found, returning";
      return url;
    }
    detail::replace_token(url, detail::kConfigServerToken, detail::bracket_address(server));
  }
  if (detail::has_token(url, detail::kUserIdToken)) {
    detail::replace_token(url, detail::kUserIdToken, system_info->get_user_id());
  }
  return url;
}

}  // namespace config
}  // namespace korrin
