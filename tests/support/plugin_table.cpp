#include "support/plugin_table.h"

namespace korrin_test {

korrin::Plugins without_member(korrin::Plugins table, int member) {
  switch (member) {
    case 0: table.log = nullptr; break;
    case 1: table.network = nullptr; break;
    case 2: table.device = nullptr; break;
    case 3: table.system_info = nullptr; break;
    case 4: table.task_dispatcher = nullptr; break;
    default: table.mutex_factory = nullptr; break;
  }
  return table;
}

}  // namespace korrin_test
