// Installation of the host's plugin table. Deferred tasks are routed in
// src/task_forwarder.cpp, above the subsystems that run them.
#include "korrin/plugins.h"

#include <stdexcept>

#include "base/plugins_check.h"

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

}  // namespace korrin
