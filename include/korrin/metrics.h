/// \file
/// Inventory metrics as the host sees them: one object per accessory whose
/// send() queues its inventory document, and the create/delete pair.
#ifndef KORRIN_METRICS_H
#define KORRIN_METRICS_H

#include <string>

#include "korrin/export.h"
#include "korrin/logger.h"
#include "korrin/plugins.h"

namespace korrin {
namespace metrics {

/// A metric the host holds; made by create_metric().
class KORRIN_API MetricsInterface {
 public:
  virtual ~MetricsInterface();
  /// Queues the sending of the inventory; always true.
  virtual bool send() = 0;
  /// 0 = headset inventory, 1 = camera inventory.
  virtual int get_type() const = 0;
  /// Builds and posts the document (dispatcher's thread).
  virtual bool send_task(korrin::TaskParametersInterface* params) = 0;
  /// Root "key" of the inventory document.
  virtual std::string get_inventory_base_key() = 0;
  /// Key of the accessory payload.
  virtual std::string get_inventory_accessory_key() = 0;
};

}  // namespace metrics
}  // namespace korrin

/// A new metric for the accessory: headset (type 1) or camera (type 2). The
/// caller owns it and frees it with delete_metric(). Throws
/// std::runtime_error for a null accessory or another type.
KORRIN_API korrin::metrics::MetricsInterface* create_metric(
    korrin::AccessoryInfoInterface* accessory);
/// Destroys a metric; null is ignored.
KORRIN_API void delete_metric(korrin::metrics::MetricsInterface* metric);

// The exported implementation classes, for code that included them from here.
#include "korrin/compat/inventory_metric.h"

#endif  // KORRIN_METRICS_H
