// The two operations every configuration object shares: the retry counter.
#include "korrin/config.h"

namespace korrin {
namespace config {

int ConfigInterface::get_config_retries() const { return config_retries_; }

void ConfigInterface::set_config_retries(int retries) { config_retries_ = retries; }

ConfigInterface::~ConfigInterface() = default;

}  // namespace config
}  // namespace korrin
