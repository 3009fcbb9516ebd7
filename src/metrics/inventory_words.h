// Fixed words of the inventory sending path that no other component uses.
#ifndef KORRIN_SRC_METRICS_INVENTORY_WORDS_H
#define KORRIN_SRC_METRICS_INVENTORY_WORDS_H

namespace korrin {
namespace metrics {
namespace detail {

/// Logger names of the two metric kinds and of the sending task.
inline constexpr char kHeadsetLoggerName[] = "HeadsetInventoryMetricsImpl";
inline constexpr char kCameraLoggerName[] = "CameraInventoryMetricsImpl";
inline constexpr char kTaskLoggerName[] = "InventoryMetric";

/// Accessory types as the host reports them.
inline constexpr int kHeadsetAccessoryType = 1;
inline constexpr int kCameraAccessoryType = 2;

/// Task type that task_forwarder routes to InventoryMetric::send_metric.
inline constexpr int kInventoryTaskType = 1;
/// Seconds the dispatcher allows one send task.
inline constexpr int kSendTimeoutSeconds = 120;
/// Seconds to wait before asking a not-ready accessory again.
inline constexpr int kNotReadyDeferSeconds = 6;

/// How the inventory request presents itself to the host's network interface.
inline constexpr char kRequester[] = "INVENTORY";
inline constexpr char kPostMethod[] = "POST";

/// Placeholder in the host's inventory URL for the first configuration server.
inline constexpr char kServerToken[] = "{qelm}";

}  // namespace detail
}  // namespace metrics
}  // namespace korrin

#endif  // KORRIN_SRC_METRICS_INVENTORY_WORDS_H
