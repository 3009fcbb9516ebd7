// Completeness test of a plugin table, shared by every guard that reads it.
#ifndef KORRIN_SRC_BASE_PLUGINS_CHECK_H
#define KORRIN_SRC_BASE_PLUGINS_CHECK_H

#include "korrin/plugins.h"

namespace korrin {
namespace detail {

/// True when none of the six members is null.
inline bool plugins_complete(const Plugins& plugins) {
  return plugins.log != nullptr && plugins.network != nullptr && plugins.device != nullptr &&
         plugins.system_info != nullptr && plugins.task_dispatcher != nullptr &&
         plugins.mutex_factory != nullptr;
}

}  // namespace detail
}  // namespace korrin

#endif  // KORRIN_SRC_BASE_PLUGINS_CHECK_H
