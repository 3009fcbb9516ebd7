// Life cycle of a configuration object: construction, copy, re-binding to a
// re-plugged accessory, destruction, and the guarded settings map.
#include <utility>

#include "base/kinds.h"
#include "base/scoped_lock.h"
#include "korrin/compat/config_impl.h"
#include "korrin/compat/string_utils.h"

namespace korrin {
namespace config {

namespace {

MutexFactoryInterface* mutex_factory() { return globals::plugins.mutex_factory; }

}  // namespace

ConfigImpl::ConfigImpl(std::string const& id, AccessoryInfoInterface const* accessory,
                       std::string const& logger_name) {
  // The order of the steps below is the order in which host resources are
  // taken; if one fails, whatever was taken already is given back.
  try {
    logger_ = create_logger(globals::plugins.log, logger_name, true);
    accessory_id_ = id;
    logger_name_ = logger_name;
    settings_lock_ = mutex_factory()->create_mutex(false);
    model_name_ = "";
    reset_timestamps();
    config_retries_ = 0;
    requested_firmware_ = "";
    firmware_lock_ = mutex_factory()->create_mutex(false);
    accessory_ = accessory->clone();
  } catch (...) {
    if (firmware_lock_ != nullptr) {
      mutex_factory()->destroy_mutex(firmware_lock_);
    }
    if (settings_lock_ != nullptr) {
      mutex_factory()->destroy_mutex(settings_lock_);
    }
    delete_logger(logger_);
    throw;
  }
}

ConfigImpl::ConfigImpl(ConfigImpl const& other) : ConfigInterface(other) {
  try {
    type_ = other.type_;
    // The source's lock is not taken: copies are made by the configure flow,
    // which runs one request at a time.
    for (const auto& entry : other.settings_) {
      ConfigParam& copy = settings_[entry.first];
      copy = entry.second;
    }
    settings_lock_ = mutex_factory()->create_mutex(false);
    // logger_name_ is still empty here, so a clone's records carry no name.
    logger_ = create_logger(globals::plugins.log, logger_name_, true);
    model_name_ = other.model_name_;
    last_updated_time_ = other.last_updated_time_;
    accessory_id_ = other.accessory_id_;
    accessory_ = other.accessory_->clone();
    requested_firmware_ = other.requested_firmware_;
    firmware_lock_ = mutex_factory()->create_mutex(false);
    logger_name_ = other.logger_name_;
  } catch (...) {
    if (firmware_lock_ != nullptr) {
      mutex_factory()->destroy_mutex(firmware_lock_);
    }
    delete accessory_;
    delete_logger(logger_);
    if (settings_lock_ != nullptr) {
      mutex_factory()->destroy_mutex(settings_lock_);
    }
    throw;
  }
}

ConfigImpl::~ConfigImpl() {
  // Nothing may leave a destructor: if the host's lock throws, the map is
  // cleared without it (no one else can be using an object being destroyed).
  try {
    detail::ScopedLock guard(settings_lock_);
    settings_.clear();
  } catch (...) {
    settings_.clear();
  }
  delete accessory_;
  accessory_ = nullptr;
  delete_logger(logger_);
  logger_ = nullptr;
  mutex_factory()->destroy_mutex(firmware_lock_);
  mutex_factory()->destroy_mutex(settings_lock_);
}

ConfigInterface* ConfigImpl::clone() { return new ConfigImpl(*this); }

bool ConfigImpl::update(AccessoryInfoInterface const* accessory) {
  reset_timestamps();
  set_config_retries(0);
  // Copy first: if the host's clone throws, the object stays bound to the
  // description it had instead of to none.
  AccessoryInfoInterface const* copy = accessory->clone();
  delete accessory_;
  accessory_ = copy;
  return true;
}

void ConfigImpl::reset_timestamps() { last_updated_time_ = 0.0; }

int ConfigImpl::get_type() const { return type_; }

AccessoryInfoInterface const* ConfigImpl::get_accessory() const { return accessory_; }

std::string ConfigImpl::get_accessory_id() const { return accessory_id_; }

std::map<int, ConfigParam> ConfigImpl::retrieve_config() { return settings_; }

void ConfigImpl::set_map_entry(int usage_id, ConfigParam param) {
  detail::ScopedLock guard(settings_lock_);
  settings_[usage_id] = std::move(param);
}

bool ConfigImpl::reset_config() {
  logger_->info() << "reset_config: Resetting config";
  apply_config_to_device(RESET);
  return true;
}

std::string ConfigImpl::get_firmware_version() { return accessory_->get_firmware_version(); }

bool ConfigImpl::request_upgrade(std::string const& firmware_version,
                                 std::string const& firmware_name) {
  return globals::plugins.device->request_firmware_upgrade(accessory_id_, firmware_version,
                                                           firmware_name);
}

bool ConfigImpl::supports_downgrade() const { return headset_support_downgrade(accessory_); }

HeadsetConfigImpl::HeadsetConfigImpl(std::string const& id, AccessoryInfoInterface const* accessory)
    : ConfigImpl(id, accessory, "HeadsetConfigImpl") {
  type_ = detail::kHeadsetAccessory;
}

HeadsetConfigImpl::~HeadsetConfigImpl() = default;

CameraConfigImpl::CameraConfigImpl(std::string const& id, AccessoryInfoInterface const* accessory)
    : ConfigImpl(id, accessory, "CameraConfigImpl") {
  type_ = detail::kCameraAccessory;
}

CameraConfigImpl::~CameraConfigImpl() = default;

}  // namespace config
}  // namespace korrin
