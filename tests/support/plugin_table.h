// Plugin tables with one member missing, for the checks that refuse them.
#ifndef KORRIN_TESTS_SUPPORT_PLUGIN_TABLE_H
#define KORRIN_TESTS_SUPPORT_PLUGIN_TABLE_H

#include "korrin/plugins.h"

namespace korrin_test {

/// How many members a plugin table has.
constexpr int kPluginTableMembers = 6;

/// `table` with one member set to null, counted in declaration order: 0 log,
/// 1 network, 2 device, 3 system_info, 4 task_dispatcher, and any other
/// number mutex_factory.
korrin::Plugins without_member(korrin::Plugins table, int member);

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_PLUGIN_TABLE_H
