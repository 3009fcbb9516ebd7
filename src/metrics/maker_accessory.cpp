// The maker's-accessory rule of the inventory document.
#include "metrics/maker_accessory.h"

#include <string>

#include "korrin/compat/constants.h"
#include "korrin/compat/string_utils.h"

namespace korrin {
namespace metrics {
namespace detail {

bool is_maker_accessory(const korrin::AccessoryInfoInterface* accessory,
                        korrin::SystemInfoInterface* system_info) {
  if (accessory == nullptr) {
    return false;
  }
  if (isZelorHeadset(accessory)) {
    return true;
  }
  // A prefix test: "Zelor Inc" counts, "The Zelor" does not.
  std::string vendor = accessory->get_vendor(system_info);
  std::string maker = ZELOR_VENDOR;
  to_lower(vendor);
  to_lower(maker);
  return vendor.compare(0, maker.size(), maker) == 0;
}

}  // namespace detail
}  // namespace metrics
}  // namespace korrin
