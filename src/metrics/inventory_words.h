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

/// Seconds the dispatcher allows one send task.
inline constexpr int kSendTimeoutSeconds = 120;

/// How the inventory request presents itself to the host's network interface.
inline constexpr char kRequester[] = "INVENTORY";
inline constexpr char kPostMethod[] = "POST";

}  // namespace detail
}  // namespace metrics
}  // namespace korrin

#endif  // KORRIN_SRC_METRICS_INVENTORY_WORDS_H
