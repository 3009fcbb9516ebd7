// The metrics factory: one metric kind per accessory type.
#include <stdexcept>
#include <string>

#include "base/kinds.h"
#include "korrin/compat/inventory_metric.h"
#include "metrics/inventory_words.h"

namespace {

const std::string kUnsupportedTypeText = "metrics factory: Unsupported METRICS_TYPE: ";

// The type picks a tail of the literal (it is an offset, not a suffix); hosts
// know the message in this established form, so it stays. Offsets outside the
// literal give an empty text rather than reading past it.
std::string unsupported_type_text(int type) {
  if (type < 0 || static_cast<std::size_t>(type) > kUnsupportedTypeText.size()) {
    return std::string();
  }
  return kUnsupportedTypeText.substr(static_cast<std::size_t>(type));
}

}  // namespace

korrin::metrics::MetricsInterface* create_metric(korrin::AccessoryInfoInterface* accessory) {
  namespace words = korrin::metrics::detail;
  if (accessory == nullptr) {
    throw std::runtime_error("metrics factory: accessory is empty");
  }
  const int type = accessory->get_accessory_type();
  switch (type) {
    case korrin::detail::kHeadsetAccessory:
      return new korrin::metrics::HeadsetInventoryMetrics(accessory, words::kHeadsetLoggerName);
    case korrin::detail::kCameraAccessory:
      return new korrin::metrics::CameraInventoryMetrics(accessory, words::kCameraLoggerName);
    default: throw std::runtime_error(unsupported_type_text(type));
  }
}

void delete_metric(korrin::metrics::MetricsInterface* metric) { delete metric; }
