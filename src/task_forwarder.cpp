// Routing of due deferred tasks to the subsystem that queued them. It sits
// above config/ and metrics/, the only file that knows both.
#include "base/kinds.h"
#include "korrin/compat/config_manager_impl.h"
#include "korrin/compat/inventory_metric.h"
#include "korrin/plugins.h"

namespace korrin {

void task_forwarder(void* context, TaskParametersInterface* params) {
  if (params == nullptr) {
    return;
  }
  switch (params->get_type()) {
    case detail::kConfigureTask:
      // A configure request; the context is the manager that queued it.
      if (context != nullptr) {
        static_cast<config::ConfigManagerImpl*>(context)->configure_accessory_task(params);
      }
      break;
    case detail::kInventoryTask:
      // An inventory task carries everything in its parameters; the context
      // (the metric that queued it) may already be gone.
      metrics::InventoryMetric::send_metric(params);
      break;
    default:
      // Unknown task types are ignored; the dispatcher owns and frees params.
      break;
  }
}

}  // namespace korrin
