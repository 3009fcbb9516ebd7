// The two metric kinds: they differ only in their type and document keys.
#include "korrin/compat/constants.h"
#include "korrin/compat/inventory_metric.h"

namespace korrin {
namespace metrics {

HeadsetInventoryMetrics::HeadsetInventoryMetrics(const korrin::AccessoryInfoInterface* described,
                                                 const std::string& logger_name)
    : InventoryMetric(described, logger_name) {}

int HeadsetInventoryMetrics::get_type() const { return 0; }

std::string HeadsetInventoryMetrics::get_inventory_base_key() { return KEY_HEADSET_INVENTORY; }

std::string HeadsetInventoryMetrics::get_inventory_accessory_key() { return KEY_HEADSET; }

CameraInventoryMetrics::CameraInventoryMetrics(const korrin::AccessoryInfoInterface* described,
                                               const std::string& logger_name)
    : InventoryMetric(described, logger_name) {}

int CameraInventoryMetrics::get_type() const { return 1; }

// The accessory key is inherited: servers read a camera's payload under
// "headset" as well.
std::string CameraInventoryMetrics::get_inventory_base_key() { return KEY_CAMERA_INVENTORY; }

}  // namespace metrics
}  // namespace korrin
