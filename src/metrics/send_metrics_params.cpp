// Parameters of a queued inventory task.
#include "base/kinds.h"
#include "korrin/compat/inventory_metric.h"

namespace korrin {
namespace metrics {

SendMetricsParams::SendMetricsParams(korrin::AccessoryInfoInterface* owned_accessory,
                                     int defer_seconds, int timeout_seconds)
    : accessory(owned_accessory), defer_time(defer_seconds), timeout(timeout_seconds) {}

SendMetricsParams::~SendMetricsParams() { delete accessory; }

korrin::TaskParametersInterface* SendMetricsParams::clone() const {
  return new SendMetricsParams(accessory == nullptr ? nullptr : accessory->clone(), defer_time,
                               timeout);
}

int SendMetricsParams::get_type() const { return korrin::detail::kInventoryTask; }

int SendMetricsParams::check_status() {
  if (korrin::globals::plugins.system_info == nullptr) {
    return korrin::TASK_DROP;
  }
  // Without an accessory the task could never build a metric: drop it
  // rather than asking again forever.
  if (accessory == nullptr) {
    return korrin::TASK_DROP;
  }
  if (accessory->is_inventory_ready()) {
    return korrin::TASK_RUN;
  }
  defer_time = korrin::detail::kNotReadyDeferSeconds;
  return korrin::TASK_DEFER;
}

int SendMetricsParams::get_timeout() const { return timeout; }

int SendMetricsParams::get_defer_time() const { return defer_time; }

}  // namespace metrics
}  // namespace korrin
