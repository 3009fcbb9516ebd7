// Accessory descriptions read from a JSON file (examples/accessories.json):
// identity, firmware, dock, dongle, connection and readiness of each
// simulated accessory.
//
// The file is a JSON array of objects with the members id, type, vendor,
// model, serial, firmware, dockSerial, dockModel, dongleModel,
// dongleFirmware, connectionType, connectionStatus, inventoryReady,
// configReady and vendorHeadset. Only id and type are required; the
// readiness members also take a number of seconds after connection.
#ifndef KORRIN_HOST_ACCESSORY_H
#define KORRIN_HOST_ACCESSORY_H

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "korrin/plugins.h"

namespace korrin_host {

/// When an accessory answers "ready": never, or from a number of seconds
/// (of host time, see the time scale) after it was connected.
struct Readiness {
  bool ever = true;
  double after_seconds = 0;
};

/// One accessory as the accessories file describes it.
struct AccessoryFacts {
  std::string id;
  int type = 0;  ///< 1 headset, 2 camera; others are kept to exercise the library
  std::string vendor;
  std::string model;
  std::string serial_number;
  std::string firmware_version;
  std::string dock_serial_number;
  std::string dock_model;
  std::string dongle_model;
  std::string dongle_firmware_version;
  std::string connection_type;
  std::string connection_status;
  bool vendor_headset = false;
  Readiness config_ready;
  Readiness inventory_ready;
};

/// Parses an accessories file's text; `origin` names it in errors.
std::vector<AccessoryFacts> parse_accessories(const std::string& text, const std::string& origin);
/// Parses a file that holds either one accessory (a JSON object with the
/// members above) or a list of them (an accessories file).
std::vector<AccessoryFacts> parse_accessory_or_list(const std::string& text,
                                                    const std::string& origin);

/// "headset", "camera" or "type N".
std::string accessory_type_name(int type);

/// "headset Zelor H-5, serial ZH5B2231907, firmware 2-3-1, in dock Zelor
/// Dock 5" (with ", dongle MODEL (firmware VERSION)" when it has one).
std::string describe_accessory(const AccessoryFacts& facts);

/// AccessoryInfoInterface over AccessoryFacts. Clones share the facts and the
/// connection time, so readiness moves on for every copy alike.
class Accessory : public korrin::AccessoryInfoInterface {
 public:
  using Clock = std::chrono::steady_clock;

  /// Connected at `connected_at`; readiness delays are multiplied by `time_scale`.
  Accessory(std::shared_ptr<const AccessoryFacts> facts, Clock::time_point connected_at,
            double time_scale);
  Accessory(const Accessory& other);
  Accessory& operator=(const Accessory&) = delete;
  ~Accessory() override;

  int get_accessory_type() const override { return facts_->type; }
  /// A heap copy owned by the caller.
  korrin::AccessoryInfoInterface* clone() const override { return new Accessory(*this); }
  std::string get_vendor(korrin::SystemInfoInterface*) const override { return facts_->vendor; }
  std::string get_model() const override { return facts_->model; }
  std::string get_serial_number(korrin::SystemInfoInterface*) const override {
    return facts_->serial_number;
  }
  std::string get_firmware_version() const override { return facts_->firmware_version; }
  std::string get_dock_serial_number() const override { return facts_->dock_serial_number; }
  std::string get_dock_model() const override { return facts_->dock_model; }
  std::string get_dongle_model() const override { return facts_->dongle_model; }
  std::string get_dongle_firmware_version() const override {
    return facts_->dongle_firmware_version;
  }
  std::string get_connection_type() const override { return facts_->connection_type; }
  std::string get_connection_status() const override { return facts_->connection_status; }
  bool is_inventory_ready() const override { return ready(facts_->inventory_ready); }
  bool is_config_ready() const override { return ready(facts_->config_ready); }
  bool is_vendor_headset() const override { return facts_->vendor_headset; }

  const AccessoryFacts& facts() const { return *facts_; }
  /// Accessory objects (originals and clones) alive in the process.
  static int live() { return live_.load(); }

 private:
  bool ready(const Readiness& readiness) const;

  std::shared_ptr<const AccessoryFacts> facts_;
  Clock::time_point connected_at_;
  double time_scale_;
  static std::atomic<int> live_;
};

}  // namespace korrin_host

#endif  // KORRIN_HOST_ACCESSORY_H
