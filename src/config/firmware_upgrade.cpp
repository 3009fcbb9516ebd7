// The firmware step of a document update: reads the model's firmware entry
// and asks the host to install, delegates to the host's own driver, or
// leaves the accessory alone.
#include <cjson/cJSON.h>

#include "base/scoped_lock.h"
#include "config/firmware_verdict.h"
#include "config/json_fields.h"
#include "korrin/compat/config_impl.h"
#include "korrin/compat/constants.h"
#include "korrin/compat/error_tags.h"
#include "korrin/compat/string_utils.h"

namespace korrin {
namespace config {

namespace {

// The text of a member; "" when it is missing or not a string.
std::string text_member(const cJSON* node, const std::string& key) {
  const cJSON* item = detail::member(node, key);
  return item == nullptr ? std::string() : stringconverter::to_string<char*>(item->valuestring);
}

}  // namespace

bool ConfigImpl::upgrade_firmware(cJSON* model_firmware, std::string const& current_version) {
  if (model_firmware == nullptr) {
    // Kept as written: administrators match on this record.
    logger_->notice() << "upgrade_firmware" << ERR_PARSING
                      << ": Model_firmware_settings do not exist";
    return false;
  }
  logger_->notice() << "upgrade_firmware: received " << cJSON_GetArraySize(model_firmware)
                    << " entries for model firmware";
  // Only the first entry is read; an empty list has no firmware name.
  const cJSON* entry = detail::first_child(model_firmware);
  if (detail::member(entry, KEY_FIRMWARE_NAME) == nullptr) {
    // Kept as written, "firmare" included: hosts and administrators match on it.
    logger_->error() << "upgrade_firmware" << ERR_QELM << ": no/null firmare name in JSON";
    return false;
  }
  const std::string firmware_name = text_member(entry, KEY_FIRMWARE_NAME);
  const std::string firmware_version = text_member(entry, KEY_FIRMWARE_VERSION);
  if (equals_ignore_case(FIRMWARE_LATEST, firmware_name)) {
    logger_->notice() << "upgrade_firmware: Legacy Flow - delegate upgrade to config driver";
    globals::plugins.device->delegate_upgrade(accessory_id_);
  } else if (equals_ignore_case(FIRMWARE_CURRENT, firmware_version)) {
    // Kept as written, no separator after the name: hosts match on this record.
    logger_->debug() << "upgrade_firmwarestay on current version, skip upgrade";
  } else {
    upgrade_firmware(firmware_version, firmware_name, current_version);
  }
  logger_->debug() << "upgrade_firmware: Success.";
  return true;
}

void ConfigImpl::upgrade_firmware(std::string const& firmware_version,
                                  std::string const& firmware_name,
                                  std::string const& current_version) {
  const int verdict = check_firmware_upgrade(firmware_version, current_version);
  {
    detail::ScopedLock guard(firmware_lock_);
    requested_firmware_ = firmware_version;
  }
  switch (verdict) {
    case detail::kFirmwareUpgrade:
      logger_->notice() << "upgrade_firmware: Requesting upgrade to " << firmware_version;
      // The host's answer is not needed: the next document asks again.
      request_upgrade(firmware_version, firmware_name);
      break;
    case detail::kFirmwareDowngradeRefused:
      logger_->notice() << "upgrade_firmware: No support for firmware downgrade. Exiting.";
      break;
    case detail::kFirmwareNoUpgrade:
      logger_->notice()
          << "upgrade_firmware: No upgrade required. This firmware's settings have been applied.";
      break;
    default: break;
  }
  logger_->debug() << "upgrade_firmware: Done";
}

}  // namespace config
}  // namespace korrin
