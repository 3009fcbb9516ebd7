// The host's device control: a simulated accessory store that records what
// the library asks of each accessory, printable as a report and as JSON.
#ifndef KORRIN_HOST_DEVICE_STORE_H
#define KORRIN_HOST_DEVICE_STORE_H

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "korrin/plugins.h"

struct cJSON;

namespace korrin_host {

/// One apply_setting() call.
struct AppliedSetting {
  std::string key;
  int usage_id = 0;
  std::string value;
  bool operator==(const AppliedSetting& other) const {
    return key == other.key && usage_id == other.usage_id && value == other.value;
  }
};

/// One request_firmware_upgrade() call and the answer given.
struct FirmwareRequest {
  std::string version;
  std::string name;
  bool accepted = false;
  bool operator==(const FirmwareRequest& other) const {
    return version == other.version && name == other.name && accepted == other.accepted;
  }
};

/// Everything the library asked of one accessory id ("" stands for every
/// accessory waiting for the configuration document, in the two reports).
struct AccessoryRecord {
  std::vector<AppliedSetting> applied;    ///< in call order
  std::map<int, AppliedSetting> carried;  ///< the setting each usage id now carries
  std::vector<FirmwareRequest> firmware_requests;
  int delegated_upgrades = 0;
  std::vector<int> config_failures;  ///< report_config_failure codes
  std::vector<int> config_pending;   ///< report_config_pending codes
};

/// DeviceControlInterface that records instead of driving hardware.
/// Thread-safe: the library calls it from the dispatcher's and network's
/// threads while the host reads it.
class DeviceStore : public korrin::DeviceControlInterface {
 public:
  /// `firmware_answer` is what request_firmware_upgrade() answers.
  explicit DeviceStore(bool firmware_answer = true) : firmware_answer_(firmware_answer) {}

  void apply_setting(const std::string& accessory_id, const std::string& key, int usage_id,
                     const std::string& value) override;
  void delegate_upgrade(const std::string& accessory_id) override;
  bool request_firmware_upgrade(const std::string& accessory_id,
                                const std::string& firmware_version,
                                const std::string& firmware_name) override;
  void report_config_failure(const std::string& accessory_id, int code) override;
  void report_config_pending(const std::string& accessory_id, int code) override;
  void set_follow_user_config(int usage_id, bool follow) override;

  /// A copy of the record of `accessory_id` (empty when never named).
  AccessoryRecord record(const std::string& accessory_id) const;
  /// Ids named so far, in order ("" first when present).
  std::vector<std::string> accessory_ids() const;
  /// The follow-user flag of each dual setting, by usage id.
  std::map<int, bool> follow_user() const;
  /// Every call as a line, in order: describe_call() of it, and a firmware
  /// request followed by its answer (" -> true").
  std::vector<std::string> events() const;
  /// Number of calls received; changes whenever anything is recorded.
  std::uint64_t activity() const { return activity_.load(); }

  /// A readable report; `order` lists ids to show first (others follow).
  std::string report(const std::vector<std::string>& order = {}) const;
  /// The state as a new JSON tree; the caller owns it (cJSON_Delete).
  cJSON* to_json() const;

 private:
  void note(const std::string& event);

  const bool firmware_answer_;
  mutable std::mutex mutex_;
  std::map<std::string, AccessoryRecord> records_;
  std::map<int, bool> follow_user_;
  std::vector<std::string> events_;
  std::atomic<std::uint64_t> activity_{0};
};

/// "1, 2": report codes as the reports list them.
std::string join_codes(const std::vector<int>& codes);

/// "upgrade to 1-3-0 requested (firmware name fw-h9), host accepted" and the
/// like: the firmware decision the record shows, in words.
std::string describe_firmware(const AccessoryRecord& record);

/// The lines the reports show for one accessory, each starting with
/// `indent`: "settings applied, in order:" with one line a setting (or
/// "none"), then "firmware: " and describe_firmware().
std::string format_settings_and_firmware(const AccessoryRecord& record, const std::string& indent);

/// "12=user 21=configured" (the follow-user flag of each usage id), or "none".
std::string describe_follow_user(const std::map<int, bool>& follow_user);

}  // namespace korrin_host

#endif  // KORRIN_HOST_DEVICE_STORE_H
