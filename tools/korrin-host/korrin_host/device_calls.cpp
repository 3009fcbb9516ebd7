#include "korrin_host/device_calls.h"

#include <utility>

namespace korrin_host {

std::string describe_call(const DeviceCall& call) {
  switch (call.kind) {
    case DeviceCall::kApplySetting:
      return "apply_setting(" + call.accessory_id + ", " + call.key + ", " +
             std::to_string(call.usage_id) + ", " + call.value + ")";
    case DeviceCall::kFollowUserConfig:
      return "set_follow_user_config(" + std::to_string(call.usage_id) + ", " +
             (call.follow ? "true" : "false") + ")";
    case DeviceCall::kFirmwareUpgrade:
      return "request_firmware_upgrade(" + call.accessory_id + ", " + call.firmware_version + ", " +
             call.firmware_name + ")";
    case DeviceCall::kDelegateUpgrade: return "delegate_upgrade(" + call.accessory_id + ")";
    case DeviceCall::kConfigFailure:
      return "report_config_failure(" + call.accessory_id + ", " + std::to_string(call.code) + ")";
    case DeviceCall::kConfigPending:
      return "report_config_pending(" + call.accessory_id + ", " + std::to_string(call.code) + ")";
  }
  return "unknown call";
}

void DeviceCallLog::add(DeviceCall call) {
  std::lock_guard<std::mutex> guard(mutex_);
  calls_.push_back(std::move(call));
}

void DeviceCallLog::apply_setting(const std::string& accessory_id, const std::string& key,
                                  int usage_id, const std::string& value) {
  DeviceCall call;
  call.kind = DeviceCall::kApplySetting;
  call.accessory_id = accessory_id;
  call.key = key;
  call.usage_id = usage_id;
  call.value = value;
  add(std::move(call));
}

void DeviceCallLog::delegate_upgrade(const std::string& accessory_id) {
  DeviceCall call;
  call.kind = DeviceCall::kDelegateUpgrade;
  call.accessory_id = accessory_id;
  add(std::move(call));
}

bool DeviceCallLog::request_firmware_upgrade(const std::string& accessory_id,
                                             const std::string& firmware_version,
                                             const std::string& firmware_name) {
  DeviceCall call;
  call.kind = DeviceCall::kFirmwareUpgrade;
  call.accessory_id = accessory_id;
  call.firmware_version = firmware_version;
  call.firmware_name = firmware_name;
  call.answer = firmware_answer_;
  add(std::move(call));
  return firmware_answer_;
}

void DeviceCallLog::report_config_failure(const std::string& accessory_id, int code) {
  DeviceCall call;
  call.kind = DeviceCall::kConfigFailure;
  call.accessory_id = accessory_id;
  call.code = code;
  add(std::move(call));
}

void DeviceCallLog::report_config_pending(const std::string& accessory_id, int code) {
  DeviceCall call;
  call.kind = DeviceCall::kConfigPending;
  call.accessory_id = accessory_id;
  call.code = code;
  add(std::move(call));
}

void DeviceCallLog::set_follow_user_config(int usage_id, bool follow) {
  DeviceCall call;
  call.kind = DeviceCall::kFollowUserConfig;
  call.usage_id = usage_id;
  call.follow = follow;
  add(std::move(call));
}

std::vector<DeviceCall> DeviceCallLog::calls() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return calls_;
}

}  // namespace korrin_host
