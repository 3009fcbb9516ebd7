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

/// One row of the checker's finding-code table.
struct FindingCode {
  /// "K001" ... "K306".
  std::string code;
  /// What the code reports, in a few words.
  std::string summary;
  /// Every severity the checker gives findings of this code, most severe
  /// first.
  std::vector<Severity> severities;
};

/// The finding codes the checker emits, in code order. Where a code has more
/// than one severity, the checker picks it by member or case:
///   K002 error for a NUL byte; warning for invalid UTF-8 (the document is
///        taken, its texts may reach the device garbled)
///   K106 error where accessories get nothing (modelSpecificSettings, models,
///        modelFirmware, a model group); warning elsewhere
///   K203 warning; info for an access value in another letter case
///   K205 error for modelSpecificSettings and modelFirmware; warning elsewhere
///   K305 error for models, modelFirmware and firmwareName; warning for
///        firmwareVersion, firmwareParams and an empty model name
const std::vector<FindingCode>& finding_codes();

/// True when `candidate` is an older release than `running`: both written
/// as the same number of "-"-separated pieces without letters, and the
/// first piece that differs smaller (as the library compares them).
bool older_firmware_version(const std::string& candidate, const std::string& running);

/// The findings of `document` (the raw bytes as published) for
/// `accessories`, sorted by position (line, then column); each problem is
/// reported once.
std::vector<Finding> check_document(const std::string& document,
                                    const std::vector<CheckedAccessory>& accessories);

}  // namespace korrin_check

#endif  // KORRIN_CHECK_CHECK_H
