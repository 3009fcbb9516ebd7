// The set of configuration objects waiting for the document being fetched,
// and the flag that says a configure request is in progress.
#include "base/scoped_lock.h"
#include "korrin/compat/config_manager_impl.h"

namespace korrin {
namespace config {

bool ConfigManagerImpl::is_configure_accessory_pending() {
  detail::ScopedLock guard(pending_lock_);
  return configure_pending_;
}

void ConfigManagerImpl::set_configure_accessory_pending(bool pending) {
  detail::ScopedLock guard(pending_lock_);
  configure_pending_ = pending;
}

void ConfigManagerImpl::mark_config_object_pending(ConfigInterface* config) {
  detail::ScopedLock guard(config_lock_);
  pending_configs_.insert(config);
}

int ConfigManagerImpl::get_number_of_pending_configs() {
  detail::ScopedLock guard(config_lock_);
  return static_cast<int>(pending_configs_.size());
}

ConfigInterface* ConfigManagerImpl::get_pending_config_object(int position) {
  detail::ScopedLock guard(config_lock_);
  if (position < 0) {
    return nullptr;
  }
  auto it = pending_configs_.begin();
  for (int step = 0; step < position && it != pending_configs_.end(); ++step) {
    ++it;
  }
  return it == pending_configs_.end() ? nullptr : *it;
}

}  // namespace config
}  // namespace korrin
