// Which accessories get the full host description and a dock in the inventory.
#ifndef KORRIN_SRC_METRICS_MAKER_ACCESSORY_H
#define KORRIN_SRC_METRICS_MAKER_ACCESSORY_H

#include "korrin/plugins.h"

namespace korrin {
namespace metrics {
namespace detail {

/// True for one of the maker's own accessories: the accessory says so itself,
/// or its vendor starts with the maker's vendor word in any letter case.
/// Null counts as not the maker's.
bool is_maker_accessory(const korrin::AccessoryInfoInterface* accessory,
                        korrin::SystemInfoInterface* system_info);

}  // namespace detail
}  // namespace metrics
}  // namespace korrin

#endif  // KORRIN_SRC_METRICS_MAKER_ACCESSORY_H
