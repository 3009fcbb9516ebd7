// The address the configuration document is fetched from.
#include "frame/url_tokens.h"
#include "korrin/config.h"
#include "korrin/constants.h"

namespace korrin {
namespace config {

namespace {
const char kServerToken[] = "{tftp}";
const char kUserToken[] = "{userid}";
}  // namespace

std::string ConfigImpl::get_config_url() const {
  SystemInfoInterface* system_info = globals::plugins.system_info;
  std::string url = system_info->get_config_url_template();
  logger_->info() << "get_config_url: tokenized url: " << url;
  if (url.empty()) {
    return DEFAULT_HEADSET_CONFIG_FILE;
  }
  const std::size_t server_at = url.find(kServerToken);
  if (server_at != std::string::npos) {
    // Each attempt of a request may go to another server: the retry counter
    // tells the host which one.
    const std::string server = system_info->get_config_server(get_config_retries());
    if (server.empty()) {
      logger_->warning() << "get_config_url" << ERR_PLUGIN << " no config servers found, returning";
      return url;
    }
    url.replace(server_at, sizeof(kServerToken) - 1, detail::bracket_address(server));
  }
  const std::size_t user_at = url.find(kUserToken);
  if (user_at != std::string::npos) {
    url.replace(user_at, sizeof(kUserToken) - 1, system_info->get_user_id());
  }
  return url;
}

}  // namespace config
}  // namespace korrin
