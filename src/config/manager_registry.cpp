// The manager's registry: accessory id to configuration object, and the
// host's operations on registered accessories.
#include <memory>
#include <stdexcept>

#include "base/scoped_lock.h"
#include "korrin/compat/config_manager_impl.h"

namespace korrin {
namespace config {

void ConfigManagerImpl::add_config_object(const std::string& id, ConfigInterface* config) {
  detail::ScopedLock guard(config_lock_);
  // An entry being replaced is not deleted here: its owner decides.
  config_objects_[id] = config;
}

ConfigInterface* ConfigManagerImpl::create_accessory(const std::string& id,
                                                     const AccessoryInfoInterface* info) {
  logger_->info() << "create_accessory: Creating Config object for id: " << id;
  // Owned here until registered: a host lock that throws in between must
  // not leave the new object behind.
  std::unique_ptr<ConfigInterface, void (*)(ConfigInterface*)> config(create_config(id, info),
                                                                      delete_config);
  if (!config) {
    logger_->error() << "create_accessory: failed to create Config object";
    return nullptr;
  }
  add_config_object(id, config.get());
  logger_->notice() << "create_accessory: Config object created";
  return config.release();
}

ConfigInterface* ConfigManagerImpl::get_config_object(const std::string& id) {
  ConfigInterface* config = nullptr;
  {
    detail::ScopedLock guard(config_lock_);
    auto found = config_objects_.find(id);
    if (found != config_objects_.end()) {
      config = found->second;
    }
  }
  if (config == nullptr) {
    logger_->warning() << "get_config_object: Cannot find config object";
  }
  return config;
}

ConfigInterface* ConfigManagerImpl::get_accessory(const std::string& id) {
  ConfigInterface* config = get_config_object(id);
  if (config != nullptr) {
    logger_->notice() << "get_accessory: Found accessory config object for id: " << id;
  }
  return config;
}

int ConfigManagerImpl::get_number_of_configs() {
  detail::ScopedLock guard(config_lock_);
  return static_cast<int>(config_objects_.size());
}

std::string ConfigManagerImpl::initialize_accessory(const std::string& id,
                                                    const AccessoryInfoInterface* info) {
  logger_->notice() << "initialize_accessory: called for id: " << id;
  if (info == nullptr) {
    logger_->error() << "initialize_accessory"
                     << "no accessory info for id: " << id;
    return std::string();
  }
  ConfigInterface* config = get_config_object(id);
  if (config == nullptr) {
    if (create_accessory(id, info) == nullptr) {
      return std::string();
    }
  } else {
    // A re-plugged accessory: new description, and the next request counts.
    config->update(info);
  }
  return configure_accessory(id, std::string()) ? id : std::string();
}

void ConfigManagerImpl::remove_accessory(const std::string& id) {
  logger_->notice() << "remove_accessory: ENTER";
  detail::ScopedLock guard(config_lock_);
  auto found = config_objects_.find(id);
  if (found == config_objects_.end()) {
    return;
  }
  const std::size_t erased = pending_configs_.erase(found->second);
  logger_->notice() << "remove_accessory: erased [" << erased << "] pending config";
  // The request in progress has nobody left to configure.
  if (pending_configs_.empty()) {
    set_configure_accessory_pending(false);
  }
  delete_config(found->second);
  config_objects_.erase(found);
}

bool ConfigManagerImpl::reset_to_admin_defaults(const std::string& id) {
  logger_->notice() << "reset_to_admin_defaults: ENTER";
  ConfigInterface* config = get_config_object(id);
  if (config != nullptr) {
    return config->reset_config();
  }
  logger_->notice() << "reset_to_admin_defaults: Config object of this type does not exist";
  return false;
}

std::map<int, ConfigParam> ConfigManagerImpl::retrieve_config(const std::string& id) {
  logger_->notice() << "retrieve_config: ENTER";
  ConfigInterface* config = get_config_object(id);
  if (config != nullptr) {
    return config->retrieve_config();
  }
  logger_->warning() << "retrieve_config: No config object";
  return std::map<int, ConfigParam>();
}

std::string ConfigManagerImpl::retrieve_config(const std::string& id, int usage_id) {
  logger_->notice() << "retrieve_config: ENTER";
  const std::map<int, ConfigParam> settings = retrieve_config(id);
  auto found = settings.find(usage_id);
  return found == settings.end() ? std::string() : found->second.value;
}

bool ConfigManagerImpl::update_config_from_host(const std::string& id, const std::string& key,
                                                int usage_id, const std::string& value) {
  logger_->notice() << "update_config_from_host: ENTER";
  ConfigInterface* config = get_accessory(id);
  if (config == nullptr) {
    return false;
  }
  try {
    config->update_from_host(key, usage_id, value);
  } catch (const std::runtime_error& error) {
    logger_->error() << "update_config_from_host: " << error.what();
    return false;
  }
  return true;
}

}  // namespace config
}  // namespace korrin
