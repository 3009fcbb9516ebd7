#include "korrin_host/device_store.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <sstream>

#include "korrin_host/device_calls.h"

namespace korrin_host {

namespace {

cJSON* codes_to_json(const std::vector<int>& codes) {
  cJSON* array = cJSON_CreateArray();
  for (const int code : codes) {
    cJSON_AddItemToArray(array, cJSON_CreateNumber(code));
  }
  return array;
}

cJSON* setting_to_json(const AppliedSetting& setting) {
  cJSON* object = cJSON_CreateObject();
  cJSON_AddStringToObject(object, "key", setting.key.c_str());
  cJSON_AddNumberToObject(object, "usageId", setting.usage_id);
  cJSON_AddStringToObject(object, "value", setting.value.c_str());
  return object;
}

}  // namespace

void DeviceStore::note(const std::string& event) {
  events_.push_back(event);
  ++activity_;
}

void DeviceStore::apply_setting(const std::string& accessory_id, const std::string& key,
                                int usage_id, const std::string& value) {
  std::lock_guard<std::mutex> guard(mutex_);
  AccessoryRecord& record = records_[accessory_id];
  const AppliedSetting setting{key, usage_id, value};
  record.applied.push_back(setting);
  record.carried[usage_id] = setting;
  note(describe_call(DeviceCall::apply_setting(accessory_id, key, usage_id, value)));
}

void DeviceStore::delegate_upgrade(const std::string& accessory_id) {
  std::lock_guard<std::mutex> guard(mutex_);
  ++records_[accessory_id].delegated_upgrades;
  note(describe_call(DeviceCall::delegate_upgrade(accessory_id)));
}

bool DeviceStore::request_firmware_upgrade(const std::string& accessory_id,
                                           const std::string& firmware_version,
                                           const std::string& firmware_name) {
  std::lock_guard<std::mutex> guard(mutex_);
  records_[accessory_id].firmware_requests.push_back(
      FirmwareRequest{firmware_version, firmware_name, firmware_answer_});
  note(describe_call(DeviceCall::firmware_upgrade(accessory_id, firmware_version, firmware_name,
                                                  firmware_answer_)) +
       " -> " + (firmware_answer_ ? "true" : "false"));
  return firmware_answer_;
}

void DeviceStore::report_config_failure(const std::string& accessory_id, int code) {
  std::lock_guard<std::mutex> guard(mutex_);
  records_[accessory_id].config_failures.push_back(code);
  note(describe_call(DeviceCall::config_failure(accessory_id, code)));
}

void DeviceStore::report_config_pending(const std::string& accessory_id, int code) {
  std::lock_guard<std::mutex> guard(mutex_);
  records_[accessory_id].config_pending.push_back(code);
  note(describe_call(DeviceCall::config_pending(accessory_id, code)));
}

void DeviceStore::set_follow_user_config(int usage_id, bool follow) {
  std::lock_guard<std::mutex> guard(mutex_);
  follow_user_[usage_id] = follow;
  note(describe_call(DeviceCall::follow_user_config(usage_id, follow)));
}

AccessoryRecord DeviceStore::record(const std::string& accessory_id) const {
  std::lock_guard<std::mutex> guard(mutex_);
  const auto found = records_.find(accessory_id);
  return found == records_.end() ? AccessoryRecord() : found->second;
}

std::vector<std::string> DeviceStore::accessory_ids() const {
  std::lock_guard<std::mutex> guard(mutex_);
  std::vector<std::string> ids;
  for (const auto& entry : records_) {
    ids.push_back(entry.first);
  }
  return ids;
}

std::map<int, bool> DeviceStore::follow_user() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return follow_user_;
}

std::vector<std::string> DeviceStore::events() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return events_;
}

std::string join_codes(const std::vector<int>& codes) {
  std::string text;
  for (const int code : codes) {
    text += (text.empty() ? "" : ", ") + std::to_string(code);
  }
  return text;
}

std::string describe_firmware(const AccessoryRecord& record) {
  std::string text;
  for (const FirmwareRequest& request : record.firmware_requests) {
    text += (text.empty() ? "" : "; ") + std::string("upgrade to ") + request.version +
            " requested (firmware name " + request.name + "), host " +
            (request.accepted ? "accepted" : "refused");
  }
  if (record.delegated_upgrades > 0) {
    text += (text.empty() ? "" : "; ") + std::string("upgrade delegated to the host's driver");
    if (record.delegated_upgrades > 1) {
      text += " (" + std::to_string(record.delegated_upgrades) + " times)";
    }
  }
  return text.empty() ? "no upgrade requested" : text;
}

std::string format_settings_and_firmware(const AccessoryRecord& record, const std::string& indent) {
  std::string text = indent + "settings applied, in order:";
  if (record.applied.empty()) {
    text += " none\n";
  } else {
    text += "\n";
    for (const AppliedSetting& setting : record.applied) {
      text += indent + "  " + setting.key + " (usage " + std::to_string(setting.usage_id) +
              ") = " + setting.value + "\n";
    }
  }
  return text + indent + "firmware: " + describe_firmware(record) + "\n";
}

std::string describe_follow_user(const std::map<int, bool>& follow_user) {
  std::string text;
  for (const auto& flag : follow_user) {
    text += (text.empty() ? "" : " ") + std::to_string(flag.first) + "=" +
            (flag.second ? "user" : "configured");
  }
  return text.empty() ? "none" : text;
}

std::string DeviceStore::report(const std::vector<std::string>& order) const {
  std::lock_guard<std::mutex> guard(mutex_);
  std::vector<std::string> ids;
  for (const std::string& id : order) {
    if (std::find(ids.begin(), ids.end(), id) == ids.end()) {
      ids.push_back(id);
    }
  }
  for (const auto& entry : records_) {
    if (std::find(ids.begin(), ids.end(), entry.first) == ids.end()) {
      ids.push_back(entry.first);
    }
  }
  std::ostringstream out;
  out << "Device state\n";
  for (const std::string& id : ids) {
    const auto found = records_.find(id);
    const AccessoryRecord empty;
    const AccessoryRecord& record = found == records_.end() ? empty : found->second;
    out << "  " << (id.empty() ? std::string("(every waiting accessory)") : id) << "\n";
    if (!id.empty()) {
      out << format_settings_and_firmware(record, "    ");
    }
    if (!record.config_failures.empty()) {
      out << "    configuration failure reported (code " << join_codes(record.config_failures)
          << ")\n";
    }
    if (!record.config_pending.empty()) {
      out << "    configuration pending reported (code " << join_codes(record.config_pending)
          << ")\n";
    }
  }
  out << "  follow-user flags: " << describe_follow_user(follow_user_) << "\n";
  return out.str();
}

cJSON* DeviceStore::to_json() const {
  std::lock_guard<std::mutex> guard(mutex_);
  cJSON* root = cJSON_CreateObject();
  cJSON* accessories = cJSON_AddObjectToObject(root, "accessories");
  for (const auto& entry : records_) {
    const AccessoryRecord& record = entry.second;
    cJSON* object = cJSON_AddObjectToObject(accessories, entry.first.c_str());
    cJSON* applied = cJSON_AddArrayToObject(object, "appliedSettings");
    for (const AppliedSetting& setting : record.applied) {
      cJSON_AddItemToArray(applied, setting_to_json(setting));
    }
    cJSON* carried = cJSON_AddArrayToObject(object, "settings");
    for (const auto& setting : record.carried) {
      cJSON_AddItemToArray(carried, setting_to_json(setting.second));
    }
    cJSON* requests = cJSON_AddArrayToObject(object, "firmwareRequests");
    for (const FirmwareRequest& request : record.firmware_requests) {
      cJSON* item = cJSON_CreateObject();
      cJSON_AddStringToObject(item, "version", request.version.c_str());
      cJSON_AddStringToObject(item, "name", request.name.c_str());
      cJSON_AddBoolToObject(item, "accepted", request.accepted);
      cJSON_AddItemToArray(requests, item);
    }
    cJSON_AddNumberToObject(object, "delegatedUpgrades", record.delegated_upgrades);
    cJSON_AddItemToObject(object, "configFailures", codes_to_json(record.config_failures));
    cJSON_AddItemToObject(object, "configPending", codes_to_json(record.config_pending));
  }
  cJSON* follow = cJSON_AddArrayToObject(root, "followUser");
  for (const auto& flag : follow_user_) {
    cJSON* item = cJSON_CreateObject();
    cJSON_AddNumberToObject(item, "usageId", flag.first);
    cJSON_AddBoolToObject(item, "follow", flag.second);
    cJSON_AddItemToArray(follow, item);
  }
  return root;
}

}  // namespace korrin_host
