// Whether a configure request carrying a version stamp must be acted on.
#include <cstdlib>

#include "korrin/compat/config_impl.h"
#include "korrin/compat/error_tags.h"

namespace korrin {
namespace config {

bool ConfigImpl::is_config_required(std::string const& timestamp) const {
  if (timestamp.empty()) {
    logger_->info()
        << "is_config_required: No version timestamp to compare, proceed with configure";
    return true;
  }
  // The stamp is "<anything>-<seconds since the epoch>".
  const std::size_t dash = timestamp.find('-');
  if (dash == std::string::npos || dash + 1 >= timestamp.size()) {
    logger_->info() << "is_config_required" << ERR_QELM
                    << ": Version timestamp is incorrectly formatted. Do not configure.";
    return false;
  }
  const std::string seconds = timestamp.substr(dash + 1);
  const double config_time = std::strtod(seconds.c_str(), nullptr);
  logger_->notice() << "is_config_required: Template updated time in epoch: " << config_time;
  const bool required = is_config_required(config_time);
  if (required) {
    logger_->notice()
        << "is_config_required: Version timestamp is different, proceed with configure";
  } else {
    logger_->notice() << "is_config_required: Version timestamp is same, do not configure";
  }
  return required;
}

bool ConfigImpl::is_config_required(double config_time) const {
  logger_->info() << "is_config_required: Config time: " << config_time
                  << ", last updated time: " << last_updated_time_;
  // Exact comparison on purpose; a NaN on either side counts as different.
  return !(last_updated_time_ == config_time);
}

}  // namespace config
}  // namespace korrin
