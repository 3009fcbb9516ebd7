// Taking over the template configuration of a document: model change,
// version time, the two settings sections and the firmware step (for the
// dongle when the accessory has one).
#include <cjson/cJSON.h>

#include "base/scoped_lock.h"
#include "config/json_fields.h"
#include "korrin/compat/config_impl.h"
#include "korrin/compat/constants.h"
#include "korrin/compat/error_tags.h"
#include "korrin/compat/string_utils.h"

namespace korrin {
namespace config {

bool ConfigImpl::parse_remote_default_config(cJSON* template_config) {
  if (template_config == nullptr) {
    // Kept as written, blank before the colon: hosts match on this record.
    logger_->notice() << "parse_remote_default_config : No default config settings to parse";
    return false;
  }
  logger_->info() << "parse_remote_default_config Enter:";
  const cJSON* updated_time = detail::member(template_config, KEY_UPDATED_TIME);
  logger_->info() << "parse_remote_default_config parsed updated_time:";

  const std::string model = get_headset_model(accessory_);
  logger_->info() << "parse_remote_default_config: Current accessory plugged in: " << model;
  // Stored settings belong to one model; another model starts from nothing.
  if (!model_name_.empty() && model_name_ != model) {
    logger_->notice() << "parse_remote_default_config: Model change detected !!";
    detail::ScopedLock guard(settings_lock_);
    settings_.clear();
  }
  model_name_ = model;

  if (updated_time == nullptr) {
    logger_->notice() << "parse_remote_default_config: No timestamp found on the config. Proceed "
                         "with updating config.";
  } else {
    // cJSON's number value: 0 for a member that is not a number.
    logger_->info() << "parse_remote_default_config: Updated time: " << updated_time->valuedouble;
    last_updated_time_ = updated_time->valuedouble;
  }

  const bool common_saved = save_common_settings_params(template_config);
  cJSON* model_firmware = extract_model_firmware_settings(template_config, model);
  const bool model_saved = save_model_specific_settings_params(model_firmware);
  if (!common_saved && !model_saved) {
    logger_->notice() << "parse_remote_default_config" << ERR_PARSING
                      << ": No settings found to save.";
  } else if (!common_saved) {
    logger_->info() << "parse_remote_default_config: Common settings were not saved";
  } else if (!model_saved) {
    logger_->info() << "parse_remote_default_config: Model specific settings were not saved";
  }

  std::string current_version = get_firmware_version();
  // With a dongle only the dongle is upgraded, from the dongle's model entry;
  // the settings stay those of the headset's own model.
  const std::string dongle = accessory_->get_dongle_model();
  if (!dongle.empty()) {
    model_firmware = extract_model_firmware_settings(template_config, dongle);
    current_version = accessory_->get_dongle_firmware_version();
    logger_->info() << "parse_remote_default_config: found dongle [" << dongle
                    << "], will upgrade dongle only";
  }

  const bool upgraded = upgrade_firmware(model_firmware, current_version);
  if (upgraded) {
    logger_->info() << "parse_remote_default_config: Success";
  } else {
    logger_->info() << "parse_remote_default_config: Failed";
  }
  return upgraded;
}

}  // namespace config
}  // namespace korrin
