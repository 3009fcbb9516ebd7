// The numbers the library and the host agree on for accessory types, task
// types and the wait before a not-ready accessory is asked again.
#ifndef KORRIN_SRC_BASE_KINDS_H
#define KORRIN_SRC_BASE_KINDS_H

namespace korrin {
namespace detail {

/// Accessory types as AccessoryInfoInterface::get_accessory_type() reports
/// them; any other value is an unknown type.
inline constexpr int kHeadsetAccessory = 1;
inline constexpr int kCameraAccessory = 2;

/// Task types as TaskParametersInterface::get_type() reports them, which
/// task_forwarder routes by.
inline constexpr int kConfigureTask = 0;
inline constexpr int kInventoryTask = 1;

/// Seconds a task waits before check_status() asks a not-ready accessory
/// again; both task kinds store it when they answer "defer".
inline constexpr int kNotReadyDeferSeconds = 6;

}  // namespace detail
}  // namespace korrin

#endif  // KORRIN_SRC_BASE_KINDS_H
