// Installation of the host's plugin table and routing of deferred tasks.
#include "korrin/plugins.h"

#include <stdexcept>

#include "frame/plugins_check.h"
#include "korrin/config_manager.h"
#include "korrin/metrics.h"

namespace korrin {

namespace globals {
// Zero-initialised before any dynamic initialisation runs.
Plugins plugins;
}  // namespace globals

std::string SystemInfoInterface::get_host_os_version() { return std::string(); }

bool init(Plugins& plugins) {
  if (!detail::plugins_complete(plugins)) {
    throw std::runtime_error("plugins is not initialized properly");
  }
  globals::plugins = plugins;
  return true;
}

void task_forwarder(void* context, TaskParametersInterface* params) {
  if (params == nullptr) {
    return;
  }
  switch (params->get_type()) {
    case 0:
      // A configure request; the context is the manager that queued it.
      if (context != nullptr) {
        static_cast<config::ConfigManagerImpl*>(context)->configure_accessory_task(params);
      }
      break;
    case 1:
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
