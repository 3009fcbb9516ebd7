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
};

/// The findings of `document` (the raw bytes as published) for
/// `accessories`, sorted by position (line, then column); each problem is
/// reported once.
std::vector<Finding> check_document(const std::string& document,
                                    const std::vector<CheckedAccessory>& accessories);

}  // namespace korrin_check

#endif  // KORRIN_CHECK_CHECK_H
