// A device control that does nothing but write down, in order, every call
// the library makes on it: the exact sequence an accessory would receive.
#ifndef KORRIN_HOST_DEVICE_CALLS_H
#define KORRIN_HOST_DEVICE_CALLS_H

#include <mutex>
#include <string>
#include <vector>

#include "korrin/plugins.h"

namespace korrin_host {

/// One call on DeviceControlInterface. Only the members of its kind are set.
struct DeviceCall {
  enum Kind {
    kApplySetting,      ///< accessory_id, key, usage_id, value
    kFollowUserConfig,  ///< usage_id, follow
    kFirmwareUpgrade,   ///< accessory_id, firmware_version, firmware_name, answer
    kDelegateUpgrade,   ///< accessory_id
    kConfigFailure,     ///< accessory_id, code
    kConfigPending,     ///< accessory_id, code
  };
  Kind kind = kApplySetting;
  std::string accessory_id;
  std::string key;
  int usage_id = 0;
  std::string value;
  bool follow = false;
  std::string firmware_version;
  std::string firmware_name;
  bool answer = false;
  int code = 0;

  /// The call of each kind, with its members set.
  static DeviceCall apply_setting(const std::string& accessory_id, const std::string& key,
                                  int usage_id, const std::string& value);
  static DeviceCall follow_user_config(int usage_id, bool follow);
  static DeviceCall firmware_upgrade(const std::string& accessory_id,
                                     const std::string& firmware_version,
                                     const std::string& firmware_name, bool answer);
  static DeviceCall delegate_upgrade(const std::string& accessory_id);
  static DeviceCall config_failure(const std::string& accessory_id, int code);
  static DeviceCall config_pending(const std::string& accessory_id, int code);
};

/// The call as one line, e.g. "apply_setting(hs-1, volume, 5, 7)" or
/// "set_follow_user_config(12, true)" (the form the library's tests use).
std::string describe_call(const DeviceCall& call);

/// DeviceControlInterface that records every call in order. Thread-safe.
class DeviceCallLog : public korrin::DeviceControlInterface {
 public:
  /// `firmware_answer` is what request_firmware_upgrade() answers.
  explicit DeviceCallLog(bool firmware_answer = true) : firmware_answer_(firmware_answer) {}

  void apply_setting(const std::string& accessory_id, const std::string& key, int usage_id,
                     const std::string& value) override;
  void delegate_upgrade(const std::string& accessory_id) override;
  bool request_firmware_upgrade(const std::string& accessory_id,
                                const std::string& firmware_version,
                                const std::string& firmware_name) override;
  void report_config_failure(const std::string& accessory_id, int code) override;
  void report_config_pending(const std::string& accessory_id, int code) override;
  void set_follow_user_config(int usage_id, bool follow) override;

  /// Copies of the calls received, in order.
  std::vector<DeviceCall> calls() const;

 private:
  void add(DeviceCall call);

  const bool firmware_answer_;
  mutable std::mutex mutex_;
  std::vector<DeviceCall> calls_;
};

}  // namespace korrin_host

#endif  // KORRIN_HOST_DEVICE_CALLS_H
