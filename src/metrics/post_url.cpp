// Where the inventory is posted: the host's URL with its server placeholder
// filled in.
#include <string>
#include <vector>

#include "base/url_tokens.h"
#include "korrin/compat/constants.h"
#include "korrin/compat/inventory_metric.h"

namespace korrin {
namespace metrics {

std::string InventoryMetric::get_post_url() {
  korrin::SystemInfoInterface* system_info = korrin::globals::plugins.system_info;
  std::string url = system_info->get_inventory_url();
  // Kept as written, no colon after the name: hosts match on this record.
  logger->notice() << "get_post_url tokenized url: " << url;
  if (url.empty()) {
    logger->error() << "get_post_url" << ERR_PLUGIN << " system info has no url for inventory";
    return std::string();
  }

  if (korrin::detail::has_token(url, korrin::detail::kInventoryServerToken)) {
    const std::vector<std::string> servers = system_info->get_config_servers();
    if (servers.empty()) {
      logger->warning() << "get_post_url" << ERR_PLUGIN << " no config servers found, returning";
      return url;
    }
    // Only the first server is used; an IPv6 literal must be bracketed in a URL.
    korrin::detail::replace_token(url, korrin::detail::kInventoryServerToken,
                                  korrin::detail::bracket_address(servers.front()));
  }

  logger->info() << "get_post_url target inventory url: " << url;
  return url;
}

}  // namespace metrics
}  // namespace korrin
