#include "korrin_host/accessory.h"

#include <cjson/cJSON.h>

#include <cctype>
#include <cmath>
#include <set>

#include "korrin_host/json_input.h"

namespace korrin_host {

std::atomic<int> Accessory::live_{0};

namespace {

bool starts_with_ignoring_case(const std::string& text, const std::string& prefix) {
  if (text.size() < prefix.size()) {
    return false;
  }
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(text[i])) !=
        std::tolower(static_cast<unsigned char>(prefix[i]))) {
      return false;
    }
  }
  return true;
}

int read_type(const JsonObjectReader& entry) {
  const cJSON* type = entry.member("type");
  if (type == nullptr) {
    throw InputError(entry.describe("type", "is missing"));
  }
  if (cJSON_IsString(type)) {
    const std::string name = type->valuestring;
    if (name == "headset") {
      return 1;
    }
    if (name == "camera") {
      return 2;
    }
  } else if (cJSON_IsNumber(type) && type->valuedouble == std::floor(type->valuedouble)) {
    return type->valueint;
  }
  throw InputError(entry.describe("type", "must be \"headset\", \"camera\" or an integer"));
}

Readiness read_readiness(const JsonObjectReader& readiness, const char* key) {
  Readiness result;
  const cJSON* item = readiness.member(key);
  if (item == nullptr) {
    return result;
  }
  if (cJSON_IsBool(item)) {
    result.ever = cJSON_IsTrue(item) != 0;
  } else if (cJSON_IsNumber(item) && item->valuedouble >= 0) {
    result.after_seconds = item->valuedouble;
  } else {
    throw InputError(readiness.describe(key, "must be true, false or a number of seconds >= 0"));
  }
  return result;
}

AccessoryFacts read_accessory(const cJSON* item, const std::string& where) {
  const JsonObjectReader entry(item, where);
  entry.reject_unknown({"id", "type", "vendor", "model", "serial", "firmware", "dockSerial",
                        "dockModel", "dongleModel", "dongleFirmware", "connectionType",
                        "connectionStatus", "inventoryReady", "configReady", "vendorHeadset"});
  AccessoryFacts facts;
  facts.id = entry.required_string("id");
  facts.type = read_type(entry);
  facts.vendor = entry.string("vendor");
  facts.model = entry.string("model");
  facts.serial_number = entry.string("serial");
  facts.firmware_version = entry.string("firmware");
  facts.dock_serial_number = entry.string("dockSerial");
  facts.dock_model = entry.string("dockModel");
  facts.dongle_model = entry.string("dongleModel");
  facts.dongle_firmware_version = entry.string("dongleFirmware");
  facts.connection_type = entry.string("connectionType");
  facts.connection_status = entry.string("connectionStatus");
  facts.config_ready = read_readiness(entry, "configReady");
  facts.inventory_ready = read_readiness(entry, "inventoryReady");
  // Without an explicit answer, the maker's own headsets are those of its vendor name.
  facts.vendor_headset = entry.boolean(
      "vendorHeadset", facts.type == 1 && starts_with_ignoring_case(facts.vendor, "Zelor"));
  return facts;
}

}  // namespace

std::vector<AccessoryFacts> parse_accessories(const std::string& text, const std::string& origin) {
  const JsonDocument document(text, origin);
  const cJSON* list = document.root();
  if (!cJSON_IsArray(list)) {
    throw InputError(origin + ": expected a JSON array of accessories");
  }
  std::vector<AccessoryFacts> accessories;
  std::set<std::string> ids;
  int position = 1;
  for (const cJSON* item = list->child; item != nullptr; item = item->next, ++position) {
    const std::string where = origin + ": accessory " + std::to_string(position);
    AccessoryFacts facts = read_accessory(item, where);
    if (!ids.insert(facts.id).second) {
      throw InputError(where + ": \"id\" " + facts.id + " is used twice");
    }
    accessories.push_back(std::move(facts));
  }
  return accessories;
}

std::vector<AccessoryFacts> parse_accessory_or_list(const std::string& text,
                                                    const std::string& origin) {
  const JsonDocument document(text, origin);
  if (cJSON_IsObject(document.root())) {
    return {read_accessory(document.root(), origin)};
  }
  if (!cJSON_IsArray(document.root())) {
    throw InputError(origin + ": expected a JSON object (one accessory) or an array of them");
  }
  return parse_accessories(text, origin);
}

std::string accessory_type_name(int type) {
  switch (type) {
    case 1: return "headset";
    case 2: return "camera";
    default: return "type " + std::to_string(type);
  }
}

std::string describe_accessory(const AccessoryFacts& facts) {
  std::string text = accessory_type_name(facts.type) + " " + facts.model + ", serial " +
                     facts.serial_number + ", firmware " + facts.firmware_version;
  if (!facts.dock_model.empty()) {
    text += ", in dock " + facts.dock_model;
  }
  if (!facts.dongle_model.empty()) {
    text += ", dongle " + facts.dongle_model + " (firmware " + facts.dongle_firmware_version + ")";
  }
  return text;
}

Accessory::Accessory(std::shared_ptr<const AccessoryFacts> facts, Clock::time_point connected_at,
                     double time_scale)
    : facts_(std::move(facts)), connected_at_(connected_at), time_scale_(time_scale) {
  ++live_;
}

Accessory::Accessory(const Accessory& other)
    : korrin::AccessoryInfoInterface(other),
      facts_(other.facts_),
      connected_at_(other.connected_at_),
      time_scale_(other.time_scale_) {
  ++live_;
}

Accessory::~Accessory() { --live_; }

bool Accessory::ready(const Readiness& readiness) const {
  if (!readiness.ever) {
    return false;
  }
  const auto delay = std::chrono::duration_cast<Clock::duration>(
      std::chrono::duration<double>(readiness.after_seconds * time_scale_));
  return Clock::now() >= connected_at_ + delay;
}

}  // namespace korrin_host
