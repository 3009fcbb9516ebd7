// The inventory document: an envelope with the time and the metric's key, and
// a "value" object holding the host, the dock and the accessory payloads.
#include <cjson/cJSON.h>

#include <ctime>
#include <memory>
#include <string>

#include "base/json_tree.h"
#include "korrin/compat/constants.h"
#include "korrin/compat/inventory_metric.h"
#include "korrin/compat/string_utils.h"
#include "metrics/maker_accessory.h"

namespace korrin {
namespace metrics {

namespace {

// A tree under construction. Host queries may throw while it is being
// filled; the handle frees it then, and release() hands it on once built.
using Tree = korrin::detail::JsonTree;

// Adds `item` under `key`; false when there is no item or cJSON could not
// copy the key, in which case the item is freed here instead of leaking.
bool attach(cJSON* object, const std::string& key, cJSON* item) {
  if (item == nullptr) {
    return false;
  }
  if (!cJSON_AddItemToObject(object, key.c_str(), item)) {
    cJSON_Delete(item);
    return false;
  }
  return true;
}

// A value that cannot be allocated only leaves its member out.
void add_string(cJSON* object, const std::string& key, const std::string& value) {
  attach(object, key, cJSON_CreateString(value.c_str()));
}

}  // namespace

cJSON* InventoryMetric::build_envelop(korrin::log::Logger* log) {
  if (log != nullptr) {
    log->notice() << "build_envelop: Enter";
  }
  Tree envelope(cJSON_CreateObject());
  if (!envelope) {
    return nullptr;
  }
  const std::time_t now = std::time(nullptr);
  attach(envelope.get(), KEY_TIME, cJSON_CreateNumber(static_cast<double>(now)));
  // Virtual: the concrete metric names the document.
  add_string(envelope.get(), KEY_KEY, get_inventory_base_key());
  return envelope.release();
}

cJSON* InventoryMetric::build_host_payload(korrin::log::Logger* log, bool full) {
  if (log != nullptr) {
    log->notice() << "build_host_payload: Enter";
  }
  Tree host(cJSON_CreateObject());
  if (!host) {
    return nullptr;
  }
  korrin::SystemInfoInterface* system_info = korrin::globals::plugins.system_info;
  if (full) {
    add_string(host.get(), KEY_CLIENT, system_info->get_client());
    add_string(host.get(), KEY_SERIAL_NUMBER, system_info->get_serial_number());
    add_string(host.get(), KEY_DEVICE_NAME, system_info->get_device_name());
    add_string(host.get(), KEY_MODEL, system_info->get_model());
    add_string(host.get(), KEY_FIRMWARE_VERSION, system_info->get_firmware_version());
    add_string(host.get(), KEY_HOST_OS_VERSION, system_info->get_host_os_version());
  }
  add_string(host.get(), KEY_USER_ID, system_info->get_user_id());
  return host.release();
}

cJSON* InventoryMetric::build_dock_payload() {
  logger->info() << "build_dock_payload: Enter";
  Tree dock(cJSON_CreateObject());
  if (!dock) {
    return nullptr;
  }
  const std::string serial_number =
      accessory == nullptr ? std::string() : accessory->get_dock_serial_number();
  if (serial_number.empty()) {
    logger->error() << "build_dock_payload: Dock serial number is empty.";
    return nullptr;
  }
  add_string(dock.get(), KEY_SERIAL_NUMBER, serial_number);
  add_string(dock.get(), KEY_MODEL, accessory->get_dock_model());
  return dock.release();
}

cJSON* InventoryMetric::build_accessory_payload() {
  logger->info() << "build_accessory_payload: Enter";
  Tree payload(cJSON_CreateObject());
  if (!payload) {
    return nullptr;
  }
  korrin::SystemInfoInterface* system_info = korrin::globals::plugins.system_info;
  const std::string serial_number =
      accessory == nullptr ? std::string() : accessory->get_serial_number(system_info);
  if (serial_number.empty()) {
    logger->error() << "build_accessory_payload: accessory serial number is empty.";
    return nullptr;
  }
  add_string(payload.get(), KEY_SERIAL_NUMBER, serial_number);
  add_string(payload.get(), KEY_FIRMWARE_VERSION, accessory->get_firmware_version());
  add_string(payload.get(), KEY_VENDOR, accessory->get_vendor(system_info));
  add_string(payload.get(), KEY_MODEL, get_headset_model(accessory->get_model(), serial_number));
  add_string(payload.get(), KEY_CONNECTION_TYPE, accessory->get_connection_type());
  add_string(payload.get(), KEY_CONNECTION_STATUS, accessory->get_connection_status());
  return payload.release();
}

std::string InventoryMetric::assemble_metrics() {
  logger->notice() << "assemble_metrics: Enter";
  // Owned here until the end: every way out, an exception from a host query
  // included, frees the whole document.
  Tree envelope(build_envelop(logger));
  // "value" is attached at once, so every later failure frees it with the envelope.
  cJSON* value = !envelope ? nullptr : cJSON_CreateObject();
  if (value == nullptr || !attach(envelope.get(), KEY_VALUE, value)) {
    // Kept as written ("Envelop"): hosts match on this record.
    logger->error() << "assemble_metrics" << ERR_LIB << ": Envelop build failed";
    return std::string();
  }

  const bool maker = detail::is_maker_accessory(accessory, korrin::globals::plugins.system_info);

  cJSON* host = build_host_payload(logger, maker);
  if (!attach(value, KEY_HOST, host)) {
    logger->error() << "assemble_metrics" << ERR_LIB << ": Building host payload failed";
    return std::string();
  }

  if (maker) {
    // A missing dock only drops the "dock" member.
    cJSON* dock = build_dock_payload();
    if (!attach(value, KEY_DOCK, dock)) {
      logger->error() << "assemble_metrics" << ERR_LIB << ": Building dock payload failed";
    }
  }

  cJSON* payload = build_accessory_payload();
  if (!attach(value, get_inventory_accessory_key(), payload)) {
    logger->error() << "assemble_metrics" << ERR_LIB << ": Building accessory payload failed";
    return std::string();
  }

  // cJSON_free pairs with the allocator cJSON printed with (the host process
  // may have installed its own through cJSON_InitHooks).
  std::unique_ptr<char, void (*)(void*)> printed(cJSON_Print(envelope.get()), &cJSON_free);
  if (!printed) {
    logger->error() << "assemble_metrics" << ERR_LIB << ": JSON was not formed correctly";
    return std::string();
  }
  std::string document(printed.get());
  printed.reset();
  envelope.reset();
  logger->notice() << "assemble_metrics: success";
  return document;
}

}  // namespace metrics
}  // namespace korrin
