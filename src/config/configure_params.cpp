// Parameters of a queued configure task: the clone of the configuration
// object it works on, and the dispatcher's timing.
#include <memory>

#include "base/kinds.h"
#include "korrin/compat/config_manager_impl.h"

namespace korrin {
namespace config {

ConfigAccessoryParams::ConfigAccessoryParams(ConfigInterface* config, int defer_time, int timeout)
    : config_(config), defer_time_(defer_time), timeout_(timeout) {}

ConfigAccessoryParams::~ConfigAccessoryParams() { delete_config(config_); }

TaskParametersInterface* ConfigAccessoryParams::clone() const {
  // The copy owns its own clone of the configuration object; if building the
  // copy fails, that clone is released here.
  std::unique_ptr<ConfigInterface, void (*)(ConfigInterface*)> config(config_->clone(),
                                                                      delete_config);
  return new ConfigAccessoryParams(config.release(), defer_time_, timeout_);
}

int ConfigAccessoryParams::get_type() const { return detail::kConfigureTask; }

int ConfigAccessoryParams::check_status() {
  if (globals::plugins.system_info == nullptr || config_ == nullptr) {
    return TASK_DROP;
  }
  const AccessoryInfoInterface* accessory = config_->get_accessory();
  if (accessory != nullptr && accessory->is_config_ready()) {
    return TASK_RUN;
  }
  defer_time_ = detail::kNotReadyDeferSeconds;
  return TASK_DEFER;
}

int ConfigAccessoryParams::get_timeout() const { return timeout_; }

int ConfigAccessoryParams::get_defer_time() const { return defer_time_; }

}  // namespace config
}  // namespace korrin
