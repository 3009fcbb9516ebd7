// Pushing the stored settings to the accessory through the device interface.
#include <cstdlib>

#include "base/scoped_lock.h"
#include "korrin/compat/config_impl.h"
#include "korrin/compat/constants.h"
#include "korrin/compat/string_utils.h"

namespace korrin {
namespace config {

namespace {

// A dual ("Both") setting whose configured value reads as this integer
// follows the user's own value.
constexpr long FOLLOW_USER_CONFIG_VALUE = 255;

bool follows_user(const std::string& configured_value) {
  return std::strtol(configured_value.c_str(), nullptr, 10) == FOLLOW_USER_CONFIG_VALUE;
}

}  // namespace

// Record texts kept as written, spacing included (" : (usage id: ", " , value: ",
// "apply_config_to_device : "): hosts and administrators match on them.
void ConfigImpl::apply_config_to_device(ApplyType type) const {
  DeviceControlInterface* device = globals::plugins.device;
  detail::ScopedLock guard(settings_lock_);
  if (settings_.empty()) {
    guard.unlock();
    logger_->error() << "apply_config_to_device: No config settings found to apply to device";
    return;
  }
  for (auto entry = settings_.begin(); entry != settings_.end(); ++entry) {
    // Copy under the lock; log and call the host without it.
    const int usage_id = entry->first;
    const std::string key = entry->second.key;
    const std::string access = entry->second.access;
    const std::string value = entry->second.value;
    const std::string user_value = entry->second.user_value;
    guard.unlock();

    const bool admin = equals_ignore_case(ACCESS_ADMIN, access);
    const bool both = !admin && equals_ignore_case(ACCESS_BOTH, access);
    if (type == CONFIGURE) {
      logger_->notice() << "apply_config_to_device: Apply type: CONFIGURE";
      if (admin) {
        logger_->debug() << "apply_config_to_device: " << key << " : (usage id: " << usage_id
                         << " , value: " << value << ")";
        device->apply_setting(accessory_id_, key, usage_id, value);
      } else if (both) {
        const bool follow = follows_user(value);
        device->set_follow_user_config(usage_id, follow);
        if (follow) {
          logger_->debug() << "apply_config_to_device : skip dual setting - " << key
                           << " : (usage id: " << usage_id
                           << ") , which is set to follow user config";
        } else {
          logger_->debug() << "apply_config_to_device : apply dual setting - " << key
                           << " : (usage id: " << usage_id << " , value: " << value << ")";
          device->apply_setting(accessory_id_, key, usage_id, value);
        }
      }
    } else {
      logger_->notice() << "apply_config_to_device: Apply type: RESET";
      if (both) {
        if (follows_user(value)) {
          // The record shows the configured marker; the user's value is sent.
          logger_->debug() << "apply_config_to_device: " << key << " : (usage id: " << usage_id
                           << " , value: " << value << ")";
          device->apply_setting(accessory_id_, key, usage_id, user_value);
        }
      } else if (!admin) {
        logger_->debug() << "apply_config_to_device: " << key << " : (usage id: " << usage_id
                         << " , value: " << value << ")";
        device->apply_setting(accessory_id_, key, usage_id, value);
      }
    }
    // Step to the next entry under the lock.
    guard.lock();
  }
}

}  // namespace config
}  // namespace korrin
