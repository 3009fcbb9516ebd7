// The configure flow: deciding whether an accessory needs configuring and
// joining it to the request in progress.
#include "frame/scoped_lock.h"
#include "korrin/config_manager.h"

namespace korrin {
namespace config {

bool ConfigManagerImpl::configure_accessory(const std::string& id, std::string time) {
  logger_->notice() << "configure_accessory: ENTER";
  ConfigInterface* config = get_config_object(id);
  logger_->notice() << "configure_accessory:" << id;
  if (config == nullptr) {
    logger_->notice() << "configure_accessory: can't configure uninitialized accessory!";
    return false;
  }
  // Always pending, even when not required itself: the next document fetched
  // for anyone updates it too.
  mark_config_object_pending(config);
  if (!config->is_config_required(time)) {
    logger_->notice() << "configure_accessory: Config not required.";
    return false;
  }
  // Queuing the request is not implemented yet: nothing will happen.
  return false;
}

// Not implemented yet: no request is ever queued, so none can complete.
bool ConfigManagerImpl::on_fetch_config_success(std::string& /*data*/) { return false; }
bool ConfigManagerImpl::on_fetch_config_failure(int /*reason*/) { return false; }
void ConfigManagerImpl::configure_accessory_task(TaskParametersInterface* /*params*/) {}
int ConfigManagerImpl::fetch_config(const std::string& /*url*/, std::string& /*response*/) {
  return dispatcher::FETCH_UNAVAILABLE;
}
void ConfigManagerImpl::clean_up_pending_config_requests() {}
void ConfigManagerImpl::queue_configure_task(ConfigInterface* /*config*/) {}

}  // namespace config
}  // namespace korrin
