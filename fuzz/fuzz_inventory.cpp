// The inventory document from arbitrary accessory and host answers, sent the
// way a host sends it: create_metric, send, delete_metric, then the queued
// task runs through the dispatcher contract and posts the document.
//
// Properties checked for every input:
// - an accessory without a serial number posts nothing;
// - otherwise exactly one POST from "INVENTORY" whose body parses back as
//   JSON, with exactly the members of the inventory layout in their order,
//   and every value the library passes through (serial numbers, firmware,
//   vendor, connection, dock, host fields, user id) equal to the host's
//   answer. cJSON strings end at a NUL byte, so an answer holding one
//   arrives cut there; for answers without NUL bytes that is the answer
//   itself. The model is checked against the model-name refinement.
#include <cjson/cJSON.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "fuzz_support.h"
#include "korrin/korrin.h"

namespace {

using korrin_fuzz::require;
using Members = std::vector<std::pair<std::string, std::string>>;

// What a C string made from `text` holds.
std::string cut_at_nul(const std::string& text) { return std::string(text.c_str()); }

bool starts_with_maker_word(std::string vendor) {
  to_lower(vendor);
  return vendor.compare(0, 5, "zelor") == 0;
}

// Members of a JSON object as key/value pairs in document order; objects
// and numbers are given as "{object}" and "{number}".
Members members_of(const cJSON* object) {
  Members out;
  for (const cJSON* child = object == nullptr ? nullptr : object->child; child != nullptr;
       child = child->next) {
    std::string value = "{other}";
    if (cJSON_IsString(child)) {
      value = child->valuestring;
    } else if (cJSON_IsObject(child)) {
      value = "{object}";
    } else if (cJSON_IsNumber(child)) {
      value = "{number}";
    }
    out.emplace_back(child->string == nullptr ? "" : child->string, value);
  }
  return out;
}

std::string describe(const Members& members) {
  std::string out;
  for (const auto& member : members) {
    out += member.first + " = " + member.second + "\n";
  }
  return out;
}

void require_members(const cJSON* object, const Members& expected, const char* property) {
  const Members actual = members_of(object);
  require(actual == expected, property,
          "expected:\n" + describe(expected) + "actual:\n" + describe(actual));
}

const cJSON* member(const cJSON* object, const char* key) {
  for (const cJSON* child = object->child; child != nullptr; child = child->next) {
    if (child->string != nullptr && std::string(child->string) == key) {
      return child;
    }
  }
  return nullptr;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  korrin_fuzz::Session session;
  korrin_test::FakeHost& host = session.host;

  korrin_test::AccessoryData accessory;
  accessory.type = input.ConsumeBool() ? 2 : 1;
  accessory.vendor_headset = input.ConsumeBool();
  accessory.vendor = input.ConsumeRandomLengthString(64);
  accessory.model = input.ConsumeRandomLengthString(64);
  accessory.serial_number = input.ConsumeRandomLengthString(64);
  accessory.firmware_version = input.ConsumeRandomLengthString(64);
  accessory.dock_serial_number = input.ConsumeRandomLengthString(64);
  accessory.dock_model = input.ConsumeRandomLengthString(64);
  accessory.connection_type = input.ConsumeRandomLengthString(64);
  accessory.connection_status = input.ConsumeRandomLengthString(64);
  korrin_test::FakeSystemInfo& system = host.system_info;
  system.client = input.ConsumeRandomLengthString(64);
  system.device_name = input.ConsumeRandomLengthString(64);
  system.serial_number = input.ConsumeRandomLengthString(64);
  system.model = input.ConsumeRandomLengthString(64);
  system.firmware_version = input.ConsumeRandomLengthString(64);
  system.host_os_version = input.ConsumeRandomLengthString(64);
  system.user_id = input.ConsumeRandomLengthString(64);

  {
    auto original = host.accessory(accessory);
    korrin::metrics::MetricsInterface* metric = create_metric(original.get());
    require(metric != nullptr, "headsets and cameras get a metric");
    require(metric->send(), "send() answers true");
    delete_metric(metric);
  }
  host.dispatcher.run_all();
  require(host.dispatcher.size() == 0, "a ready accessory's task runs at once");

  const std::vector<korrin::dispatcher::RequestContext> posts = host.network.posts();
  if (accessory.serial_number.empty()) {
    require(posts.empty(), "an accessory without a serial number posts nothing");
    session.require_everything_released();
    return 0;
  }
  require(posts.size() == 1, "one inventory is posted");
  const korrin::dispatcher::RequestContext& post = posts.front();
  require(post.method == "POST" && post.requester == "INVENTORY" && post.flags == 0 &&
              post.extra.empty(),
          "the inventory request is a POST from INVENTORY");

  cJSON* document = cJSON_Parse(post.body.c_str());
  require(document != nullptr && cJSON_IsObject(document),
          "the posted body parses as a JSON object", post.body);

  const bool maker = accessory.vendor_headset || starts_with_maker_word(accessory.vendor);
  const std::string base_key = accessory.type == 1 ? "headsetInventory" : "cameraInventory";
  require_members(document, {{"time", "{number}"}, {"key", base_key}, {"value", "{object}"}},
                  "the envelope holds time, key and value");
  const cJSON* value = member(document, "value");

  const bool with_dock = maker && !accessory.dock_serial_number.empty();
  Members value_members = {{"host", "{object}"}};
  if (with_dock) {
    value_members.emplace_back("dock", "{object}");
  }
  value_members.emplace_back("headset", "{object}");
  require_members(value, value_members, "value holds host, the dock when known, and headset");

  Members host_members;
  if (maker) {
    host_members = {{"client", cut_at_nul(system.client)},
                    {"serialNumber", cut_at_nul(system.serial_number)},
                    {"deviceName", cut_at_nul(system.device_name)},
                    {"model", cut_at_nul(system.model)},
                    {"firmwareVersion", cut_at_nul(system.firmware_version)},
                    {"hostOSVersion", cut_at_nul(system.host_os_version)}};
  }
  host_members.emplace_back("userId", cut_at_nul(system.user_id));
  require_members(member(value, "host"), host_members, "host values pass through unchanged");

  if (with_dock) {
    require_members(member(value, "dock"),
                    {{"serialNumber", cut_at_nul(accessory.dock_serial_number)},
                     {"model", cut_at_nul(accessory.dock_model)}},
                    "dock values pass through unchanged");
  }

  const std::string model = get_headset_model(accessory.model, accessory.serial_number);
  require_members(member(value, "headset"),
                  {{"serialNumber", cut_at_nul(accessory.serial_number)},
                   {"firmwareVersion", cut_at_nul(accessory.firmware_version)},
                   {"vendor", cut_at_nul(accessory.vendor)},
                   {"model", cut_at_nul(model)},
                   {"connectionType", cut_at_nul(accessory.connection_type)},
                   {"connectionStatus", cut_at_nul(accessory.connection_status)}},
                  "accessory values pass through unchanged");
  cJSON_Delete(document);

  session.require_everything_released();
  return 0;
}
