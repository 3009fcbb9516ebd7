// Verdicts of ConfigImpl::check_firmware_upgrade().
#ifndef KORRIN_SRC_CONFIG_FIRMWARE_VERDICT_H
#define KORRIN_SRC_CONFIG_FIRMWARE_VERDICT_H

namespace korrin {
namespace detail {

/// What to do with the configured firmware version (values are the ints
/// check_firmware_upgrade() returns).
enum FirmwareVerdict : int {
  /// Versions equal, or the configured version is not well-named.
  kFirmwareNoUpgrade = 0,
  /// Install the configured version.
  kFirmwareUpgrade = 1,
  /// The configured version is older and the accessory refuses downgrades.
  kFirmwareDowngradeRefused = 2,
  /// One of the two versions is empty.
  kFirmwareVersionEmpty = 3,
};

}  // namespace detail
}  // namespace korrin

#endif  // KORRIN_SRC_CONFIG_FIRMWARE_VERDICT_H
