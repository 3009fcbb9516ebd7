#include "korrin_host/device_calls.h"

#include <utility>

namespace korrin_host {

namespace {

DeviceCall call_on(DeviceCall::Kind kind, const std::string& accessory_id) {
  DeviceCall call;
  call.kind = kind;
  call.accessory_id = accessory_id;
  return call;
}

}  // namespace

DeviceCall DeviceCall::apply_setting(const std::string& accessory_id, const std::string& key,
                                     int usage_id, const std::string& value) {
  DeviceCall call = call_on(kApplySetting, accessory_id);
  call.key = key;
  call.usage_id = usage_id;
  call.value = value;
  return call;
}

DeviceCall DeviceCall::follow_user_config(int usage_id, bool follow) {
  DeviceCall call = call_on(kFollowUserConfig, std::string());
  call.usage_id = usage_id;
  call.follow = follow;
  return call;
}

DeviceCall DeviceCall::firmware_upgrade(const std::string& accessory_id,
                                        const std::string& firmware_version,
                                        const std::string& firmware_name, bool answer) {
  DeviceCall call = call_on(kFirmwareUpgrade, accessory_id);
  call.firmware_version = firmware_version;
  call.firmware_name = firmware_name;
  call.answer = answer;
  return call;
}

DeviceCall DeviceCall::delegate_upgrade(const std::string& accessory_id) {
  return call_on(kDelegateUpgrade, accessory_id);
}

DeviceCall DeviceCall::config_failure(const std::string& accessory_id, int code) {
  DeviceCall call = call_on(kConfigFailure, accessory_id);
  call.code = code;
  return call;
}

DeviceCall DeviceCall::config_pending(const std::string& accessory_id, int code) {
  DeviceCall call = call_on(kConfigPending, accessory_id);
  call.code = code;
  return call;
}

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
  add(DeviceCall::apply_setting(accessory_id, key, usage_id, value));
}

void DeviceCallLog::delegate_upgrade(const std::string& accessory_id) {
  add(DeviceCall::delegate_upgrade(accessory_id));
}

bool DeviceCallLog::request_firmware_upgrade(const std::string& accessory_id,
                                             const std::string& firmware_version,
                                             const std::string& firmware_name) {
  add(DeviceCall::firmware_upgrade(accessory_id, firmware_version, firmware_name,
                                   firmware_answer_));
  return firmware_answer_;
}

void DeviceCallLog::report_config_failure(const std::string& accessory_id, int code) {
  add(DeviceCall::config_failure(accessory_id, code));
}

void DeviceCallLog::report_config_pending(const std::string& accessory_id, int code) {
  add(DeviceCall::config_pending(accessory_id, code));
}

void DeviceCallLog::set_follow_user_config(int usage_id, bool follow) {
  add(DeviceCall::follow_user_config(usage_id, follow));
}

std::vector<DeviceCall> DeviceCallLog::calls() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return calls_;
}

}  // namespace korrin_host
