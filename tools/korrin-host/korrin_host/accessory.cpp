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
  entry.reject_unknown({"id", "type", "vendor", "model", "serialNumber", "firmwareVersion",
                        "vendorHeadset", "dock", "dongle", "connection", "readiness"});
  AccessoryFacts facts;
  facts.id = entry.required_string("id");
  facts.type = read_type(entry);
  facts.vendor = entry.string("vendor");
  facts.model = entry.string("model");
  facts.serial_number = entry.string("serialNumber");
  facts.firmware_version = entry.string("firmwareVersion");
  // Without an explicit answer, the maker's own headsets are those of its vendor name.
  facts.vendor_headset = entry.boolean(
      "vendorHeadset", facts.type == 1 && starts_with_ignoring_case(facts.vendor, "Zelor"));
  if (entry.has("dock")) {
    const JsonObjectReader dock(entry.member("dock"), where + ": dock");
    dock.reject_unknown({"serialNumber", "model"});
    facts.dock_serial_number = dock.string("serialNumber");
    facts.dock_model = dock.string("model");
  }
  if (entry.has("dongle")) {
    const JsonObjectReader dongle(entry.member("dongle"), where + ": dongle");
    dongle.reject_unknown({"model", "firmwareVersion"});
    facts.dongle_model = dongle.string("model");
    facts.dongle_firmware_version = dongle.string("firmwareVersion");
  }
  if (entry.has("connection")) {
    const JsonObjectReader connection(entry.member("connection"), where + ": connection");
    connection.reject_unknown({"type", "status"});
    facts.connection_type = connection.string("type");
    facts.connection_status = connection.string("status");
  }
  if (entry.has("readiness")) {
    const JsonObjectReader readiness(entry.member("readiness"), where + ": readiness");
    readiness.reject_unknown({"config", "inventory"});
    facts.config_ready = read_readiness(readiness, "config");
    facts.inventory_ready = read_readiness(readiness, "inventory");
  }
  return facts;
}

}  // namespace

std::vector<AccessoryFacts> parse_accessories(const std::string& text, const std::string& origin) {
  const JsonDocument document(text, origin);
  const JsonObjectReader root(document.root(), origin);
  root.reject_unknown({"accessories"});
  const cJSON* list = root.member("accessories");
  if (list == nullptr || !cJSON_IsArray(list)) {
    throw InputError(root.describe("accessories", "must be an array of accessories"));
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

std::vector<AccessoryFacts> load_accessories(const std::string& path) {
  return parse_accessories(read_text_file(path), path);
}

std::string accessory_type_name(int type) {
  switch (type) {
    case 1: return "headset";
    case 2: return "camera";
    default: return "type " + std::to_string(type);
  }
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
