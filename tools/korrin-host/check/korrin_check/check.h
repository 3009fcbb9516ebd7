// The document checker's entry point: the findings of a configuration
// document for a set of accessories. No terminal, file or network access:
// the caller passes the document's bytes and the accessories' descriptions.
#ifndef KORRIN_CHECK_CHECK_H
#define KORRIN_CHECK_CHECK_H

#include <string>
#include <vector>

#include "korrin_check/finding.h"

namespace korrin_check {

/// What the checker needs to know of each accessory.
struct CheckedAccessory {
  std::string id;
  /// The accessory type as the library numbers it (korrin::AccessoryType).
  int type = 0;
  std::string model;
  /// The model the library matches model groups against.
  std::string resolved_model;
  std::string serial_number;
  std::string firmware_version;
  std::string dongle_model;
  std::string dongle_firmware_version;
  /// The firmware version the library requested for the accessory from this
  /// document, "" when none (filled by the planner from the library's run).
  std::string requested_firmware_version;
  /// False when the library has no configuration object for the accessory's
  /// type, so that it never reads a document for it (filled by the planner
  /// from the library's run).
  bool configurable = true;
};

/// Finding codes and their severities:
///   K001 empty file (error)                 K002 not text: NUL byte, invalid UTF-8 (error)
///   K003 JSON syntax error (error)          K004 root is not an object (warning)
///   K005 content after the document's end (warning)
///   K101 unknown member, with the nearest known name (warning)
///   K102 member spelled in another letter case (info)
///   K103 the same member twice in one object (warning)
///   K104 the template is not the first member, or not an object (error)
///   K105 no template member (error)
///   K106 wrong member type (error where accessories get nothing: modelSpecificSettings,
///        models, modelFirmware, a model group; warning elsewhere)
///   K201 the same usage id twice in one settings array (warning)
///   K202 a usage id in the common settings and in a model's settings (info)
///   K203 access value outside Admin/User/Both (warning; info for another letter case)
///   K204 a "Both" setting missing a half, or named so that it is no half (warning)
///   K205 empty array where settings were expected (warning; error for
///        modelSpecificSettings and modelFirmware)
///   K206 a settings entry missing a member it needs or with an unusable value (warning)
///   K301 a firmware version the library cannot read (warning)
///   K302 a model group that matches none of the given accessories (info)
///   K303 a model name shadowed by an earlier group's name contained in it (warning)
///   K304 a firmware request older than an accessory's running version (info)
///   K305 a model group or firmware entry without a member the library needs:
///        models, modelFirmware, firmwareName (error), firmwareVersion, firmwareParams
///        (warning), or with an empty model name (warning)
///   K306 a given accessory (or its dongle) that no model group names (error)
///
/// The findings of `document` (the raw bytes as published) for
/// `accessories`, sorted by position (line, then column); each problem is
/// reported once.
std::vector<Finding> check_document(const std::string& document,
                                    const std::vector<CheckedAccessory>& accessories);

}  // namespace korrin_check

#endif  // KORRIN_CHECK_CHECK_H
