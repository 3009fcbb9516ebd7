// The configuration manager singleton: creation, the host's create/delete
// pair, and the manager's own host resources (logger and two locks).
#include <stdexcept>

#include "base/plugins_check.h"
#include "base/scoped_lock.h"
#include "korrin/compat/config_manager_impl.h"

namespace korrin {
namespace config {

ConfigManagerImpl* ConfigManagerImpl::instance_ = nullptr;

namespace {

// Deletes every registered object in key order and empties both containers.
void release_config_objects(std::map<std::string, ConfigInterface*>& objects,
                            std::set<ConfigInterface*>& pending) {
  for (auto& entry : objects) {
    delete_config(entry.second);
  }
  objects.clear();
  pending.clear();
}

}  // namespace

ConfigManager::~ConfigManager() = default;

ConfigManagerImpl* ConfigManagerImpl::get_instance() {
  if (!detail::plugins_complete(globals::plugins)) {
    // Kept as written (not init()'s wording): hosts match on the exception text.
    throw std::runtime_error("plugins hasn't been initialized properly");
  }
  // Not locked: the host makes the first call before it can make two at once.
  if (instance_ == nullptr) {
    instance_ = new ConfigManagerImpl();
  }
  return instance_;
}

void ConfigManagerImpl::delete_instance() {
  if (instance_ != nullptr) {
    delete instance_;
    instance_ = nullptr;
  }
}

ConfigManagerImpl::ConfigManagerImpl() {
  MutexFactoryInterface* factory = globals::plugins.mutex_factory;
  logger_ = create_logger(globals::plugins.log, "Lib::ConfigManagerImpl", true);
  try {
    // Re-entrant: the configure flow takes it again while holding it.
    config_lock_ = factory->create_mutex(true);
    pending_lock_ = factory->create_mutex(false);
  } catch (...) {
    if (config_lock_ != nullptr) {
      factory->destroy_mutex(config_lock_);
    }
    delete_logger(logger_);
    throw;
  }
}

ConfigManagerImpl::~ConfigManagerImpl() {
  // Nothing may leave a destructor: a host lock that throws here must not end
  // the process. The dispatcher has been stopped by now, so the objects are
  // released even when the lock could not be taken.
  try {
    detail::ScopedLock guard(config_lock_);
    release_config_objects(config_objects_, pending_configs_);
  } catch (...) {
    release_config_objects(config_objects_, pending_configs_);
  }
  MutexFactoryInterface* factory = globals::plugins.mutex_factory;
  try {
    factory->destroy_mutex(config_lock_);
  } catch (...) {
  }
  try {
    factory->destroy_mutex(pending_lock_);
  } catch (...) {
  }
  delete_logger(logger_);
}

ConfigManager* create_config_manager() { return ConfigManagerImpl::get_instance(); }

void delete_config_manager() { ConfigManagerImpl::delete_instance(); }

}  // namespace config
}  // namespace korrin
