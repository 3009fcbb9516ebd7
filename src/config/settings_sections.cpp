// The two settings sections of a configuration section: the common array,
// and the model groups with the model-specific array of the connected model.
#include <cjson/cJSON.h>

#include <stdexcept>

#include "config/json_fields.h"
#include "korrin/compat/config_impl.h"
#include "korrin/compat/constants.h"
#include "korrin/compat/error_tags.h"

namespace korrin {
namespace config {

bool ConfigImpl::save_common_settings_params(cJSON* section) {
  if (section == nullptr) {
    logger_->info() << "save_common_settings_params: No default common settings found.";
    return false;
  }
  cJSON* common = detail::member(section, KEY_COMMON_SETTINGS);
  if (detail::first_child(common) == nullptr) {
    logger_->info() << "save_common_settings_params: Common settings not found in config";
    return false;
  }
  try {
    save_config_to_map(common);
  } catch (const std::runtime_error& e) {
    logger_->error() << "save_common_settings_params" << ERR_LIB << e.what();
    return false;
  }
  logger_->notice() << "save_common_settings_params: success";
  return true;
}

cJSON* ConfigImpl::extract_model_firmware_settings(cJSON* section, std::string const& model_name) {
  logger_->debug() << "extract_model_firmware_settings: MODEL NAME " << model_name;
  cJSON* groups = detail::member(section, KEY_MODEL_SPECIFIC_SETTINGS);
  if (groups == nullptr) {
    logger_->notice() << "extract_model_firmware_settings" << ERR_QELM
                      << ": Model specific settings not found in config";
    return nullptr;
  }
  for (cJSON* group = detail::first_child(groups); group != nullptr; group = group->next) {
    cJSON* models = detail::member(group, KEY_MODELS);
    for (cJSON* model = detail::first_child(models); model != nullptr; model = model->next) {
      // A model element that is not a string names no model.
      if (!cJSON_IsString(model) || model->valuestring == nullptr) {
        continue;
      }
      const std::string listed = model->valuestring;
      logger_->debug() << "extract_model_firmware_settings config_model_name: " << listed
                       << ", device_model_name: " << model_name;
      // Plain substring match: "M100" names "X M100 Pro" too. First group wins.
      if (!listed.empty() && model_name.find(listed) != std::string::npos) {
        return detail::member(group, KEY_MODEL_FIRMWARE);
      }
    }
  }
  return nullptr;
}

bool ConfigImpl::apply_settings(cJSON* settings) {
  if (settings == nullptr) {
    logger_->warning() << "apply_settings: No settings available for firmware";
    return false;
  }
  int saved = 0;
  try {
    saved = save_config_to_map(settings);
  } catch (const std::runtime_error& e) {
    logger_->error() << "apply_settings" << ERR_LIB << ": " << e.what();
  }
  // Only storing is guarded: a failure while configuring the device is the caller's.
  if (saved > 0) {
    apply_config_to_device(CONFIGURE);
    return true;
  }
  logger_->notice() << "apply_settings: Failed to apply current firmware version settings.";
  return false;
}

bool ConfigImpl::save_model_specific_settings_params(cJSON* model_firmware) {
  if (model_firmware == nullptr) {
    // Kept as written, blank before the colon: hosts match on this record.
    logger_->info() << "save_model_specific_settings_params : Model_firmware_settings do not exist";
    return false;
  }
  // Only the first firmware object carries the settings; an empty list
  // behaves like a missing "firmwareParams".
  apply_settings(detail::member(detail::first_child(model_firmware), KEY_FIRMWARE_PARAMS));
  logger_->debug() << "save_model_specific_settings_params: Success.";
  return true;
}

}  // namespace config
}  // namespace korrin
