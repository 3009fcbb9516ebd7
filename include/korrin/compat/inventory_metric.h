/// \file
/// The inventory metric classes behind MetricsInterface, which build the
/// inventory document on the dispatcher's thread, and the parameters of
/// their task.
#ifndef KORRIN_COMPAT_INVENTORY_METRIC_H
#define KORRIN_COMPAT_INVENTORY_METRIC_H

#include <string>

#include "korrin/export.h"
#include "korrin/logger.h"
#include "korrin/metrics.h"
#include "korrin/plugins.h"

struct cJSON;

namespace korrin {
namespace metrics {

/// The inventory metric of one accessory.
class KORRIN_API InventoryMetric : public MetricsInterface {
 public:
  /// Keeps a clone of `accessory`. Throws std::runtime_error
  /// "plugins hasn't been initialized properly" before init().
  InventoryMetric(const korrin::AccessoryInfoInterface* accessory, const std::string& logger_name);
  InventoryMetric(const InventoryMetric&) = delete;
  InventoryMetric& operator=(const InventoryMetric&) = delete;
  ~InventoryMetric() override;

  bool send() override;
  bool send_task(korrin::TaskParametersInterface* params) override;
  std::string get_inventory_accessory_key() override;

  /// The body of a queued inventory task: builds a metric from the
  /// parameters' accessory and sends it.
  static bool send_metric(korrin::TaskParametersInterface* params);

  /// The inventory URL with "{qelm}" replaced by the first configuration server.
  std::string get_post_url();
  /// A new object with "time" and "key"; the caller owns it.
  cJSON* build_envelop(korrin::log::Logger* logger);
  /// A new host object; only "userId" unless `full`. The caller owns it.
  cJSON* build_host_payload(korrin::log::Logger* logger, bool full);
  /// A new dock object, or null without a dock serial number. The caller owns it.
  cJSON* build_dock_payload();
  /// A new accessory object, or null without a serial number. The caller owns it.
  cJSON* build_accessory_payload();
  /// The printed inventory document, or "" when it cannot be built.
  std::string assemble_metrics();

 protected:
  korrin::AccessoryInfoInterface* accessory;  ///< owned clone of the accessory description
  korrin::log::Logger* logger;                ///< the metric's own logger
};

/// Inventory of a headset.
class KORRIN_API HeadsetInventoryMetrics : public InventoryMetric {
 public:
  /// Keeps a clone of `accessory`; see InventoryMetric.
  HeadsetInventoryMetrics(const korrin::AccessoryInfoInterface* accessory,
                          const std::string& logger_name);
  int get_type() const override;
  std::string get_inventory_base_key() override;
  std::string get_inventory_accessory_key() override;
};

/// Inventory of a camera; its accessory payload keeps the "headset" key.
class KORRIN_API CameraInventoryMetrics : public InventoryMetric {
 public:
  /// Keeps a clone of `accessory`; see InventoryMetric.
  CameraInventoryMetrics(const korrin::AccessoryInfoInterface* accessory,
                         const std::string& logger_name);
  int get_type() const override;
  std::string get_inventory_base_key() override;
};

/// Parameters of an inventory task (type 1).
class KORRIN_API SendMetricsParams : public korrin::TaskParametersInterface {
 public:
  /// Takes ownership of `accessory`.
  SendMetricsParams(korrin::AccessoryInfoInterface* accessory, int defer_time, int timeout);
  SendMetricsParams(const SendMetricsParams&) = delete;
  SendMetricsParams& operator=(const SendMetricsParams&) = delete;
  ~SendMetricsParams() override;

  /// A new object with a clone of the accessory; caller owns it.
  korrin::TaskParametersInterface* clone() const override;
  int get_type() const override;
  /// 1 when the inventory may be sent, 2 (defer 6 s) when not, 3 when unusable.
  int check_status() override;
  int get_timeout() const override;
  int get_defer_time() const override;

  korrin::AccessoryInfoInterface* accessory;  ///< owned clone of the accessory description
  int defer_time;                             ///< seconds before the next check or run
  int timeout;                                ///< seconds the task may run
};

}  // namespace metrics
}  // namespace korrin

#endif  // KORRIN_COMPAT_INVENTORY_METRIC_H
