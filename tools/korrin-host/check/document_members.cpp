#include "korrin_check/document_members.h"

#include "korrin/constants.h"

namespace korrin_check {

const char* place_name(Place place) {
  switch (place) {
    case Place::kRoot: return "root";
    case Place::kTemplate: return "template";
    case Place::kSettingsEntry: return "settings entry";
    case Place::kModelGroup: return "model group";
    case Place::kFirmwareEntry: return "firmware entry";
  }
  return "root";
}

const std::vector<DocumentMember>& document_members() {
  // Built on first use: the names are the library's constants, which are
  // initialised with the library.
  static const std::vector<DocumentMember> table = {
      {Place::kRoot, KEY_TEMPLATE_CONFIGURATION, "object"},
      {Place::kRoot, KEY_USER_CONFIGURATION, "any"},
      {Place::kRoot, KEY_USER_ID, "any"},
      {Place::kTemplate, KEY_UPDATED_TIME, "number"},
      {Place::kTemplate, KEY_COMMON_SETTINGS, "array"},
      {Place::kTemplate, KEY_MODEL_SPECIFIC_SETTINGS, "array"},
      {Place::kSettingsEntry, KEY_NAME, "string"},
      {Place::kSettingsEntry, KEY_USAGE_ID, "number or string"},
      {Place::kSettingsEntry, KEY_VALUE, "number or string"},
      {Place::kSettingsEntry, KEY_ACCESS, "string"},
      {Place::kModelGroup, KEY_MODELS, "array"},
      {Place::kModelGroup, KEY_MODEL_FIRMWARE, "array"},
      {Place::kFirmwareEntry, KEY_FIRMWARE_NAME, "string"},
      {Place::kFirmwareEntry, KEY_FIRMWARE_VERSION, "string"},
      {Place::kFirmwareEntry, KEY_FIRMWARE_PARAMS, "array"},
  };
  return table;
}

}  // namespace korrin_check
