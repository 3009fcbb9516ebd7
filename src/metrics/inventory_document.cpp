// The inventory document: an envelope with the time and the metric's key, and
// a "value" object holding the host, the dock and the accessory payloads.
#include <cjson/cJSON.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "korrin/constants.h"
#include "korrin/metrics.h"
#include "korrin/string_utils.h"
#include "metrics/maker_accessory.h"

namespace korrin {
namespace metrics {

namespace {

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
  cJSON* envelope = cJSON_CreateObject();
  if (envelope == nullptr) {
    return nullptr;
  }
  const std::time_t now = std::time(nullptr);
  attach(envelope, KEY_TIME, cJSON_CreateNumber(static_cast<double>(now)));
  // Virtual: the concrete metric names the document.
  add_string(envelope, KEY_KEY, get_inventory_base_key());
  return envelope;
}

cJSON* InventoryMetric::build_host_payload(korrin::log::Logger* log, bool full) {
  if (log != nullptr) {
    log->notice() << "build_host_payload: Enter";
  }
  cJSON* host = cJSON_CreateObject();
  if (host == nullptr) {
    return nullptr;
  }
  korrin::SystemInfoInterface* system_info = korrin::globals::plugins.system_info;
  if (full) {
    add_string(host, KEY_CLIENT, system_info->get_client());
    add_string(host, KEY_SERIAL_NUMBER, system_info->get_serial_number());
    add_string(host, KEY_DEVICE_NAME, system_info->get_device_name());
    add_string(host, KEY_MODEL, system_info->get_model());
    add_string(host, KEY_FIRMWARE_VERSION, system_info->get_firmware_version());
    add_string(host, KEY_HOST_OS_VERSION, system_info->get_host_os_version());
  }
  add_string(host, KEY_USER_ID, system_info->get_user_id());
  return host;
}

cJSON* InventoryMetric::build_dock_payload() {
  logger->info() << "build_dock_payload: Enter";
  cJSON* dock = cJSON_CreateObject();
  if (dock == nullptr) {
    return nullptr;
  }
  const std::string serial_number =
      accessory == nullptr ? std::string() : accessory->get_dock_serial_number();
  if (serial_number.empty()) {
    logger->error() << "build_dock_payload: Dock serial number is empty.";
    cJSON_Delete(dock);
    return nullptr;
  }
  add_string(dock, KEY_SERIAL_NUMBER, serial_number);
  add_string(dock, KEY_MODEL, accessory->get_dock_model());
  return dock;
}

cJSON* InventoryMetric::build_accessory_payload() {
  logger->info() << "build_accessory_payload: Enter";
  cJSON* payload = cJSON_CreateObject();
  if (payload == nullptr) {
    return nullptr;
  }
  korrin::SystemInfoInterface* system_info = korrin::globals::plugins.system_info;
  const std::string serial_number =
      accessory == nullptr ? std::string() : accessory->get_serial_number(system_info);
  if (serial_number.empty()) {
    logger->error() << "build_accessory_payload: accessory serial number is empty.";
    cJSON_Delete(payload);
    return nullptr;
  }
  add_string(payload, KEY_SERIAL_NUMBER, serial_number);
  add_string(payload, KEY_FIRMWARE_VERSION, accessory->get_firmware_version());
  add_string(payload, KEY_VENDOR, accessory->get_vendor(system_info));
  add_string(payload, KEY_MODEL, get_headset_model(accessory->get_model(), serial_number));
  add_string(payload, KEY_CONNECTION_TYPE, accessory->get_connection_type());
  add_string(payload, KEY_CONNECTION_STATUS, accessory->get_connection_status());
  return payload;
}

std::string InventoryMetric::assemble_metrics() {
  logger->notice() << "assemble_metrics: Enter";
  cJSON* envelope = build_envelop(logger);
  // "value" is attached at once, so every later failure frees it with the envelope.
  cJSON* value = envelope == nullptr ? nullptr : cJSON_CreateObject();
  if (value == nullptr || !attach(envelope, KEY_VALUE, value)) {
    logger->error() << "assemble_metrics" << ERR_LIB << ": Envelop build failed";
    cJSON_Delete(envelope);
    return std::string();
  }

  const bool maker = detail::is_maker_accessory(accessory, korrin::globals::plugins.system_info);

  cJSON* host = build_host_payload(logger, maker);
  if (!attach(value, KEY_HOST, host)) {
    logger->error() << "assemble_metrics" << ERR_LIB << ": Building host payload failed";
    cJSON_Delete(envelope);
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
    cJSON_Delete(envelope);
    return std::string();
  }

  char* printed = cJSON_Print(envelope);
  if (printed == nullptr) {
    logger->error() << "assemble_metrics" << ERR_LIB << ": JSON was not formed correctly";
    cJSON_Delete(envelope);
    return std::string();
  }
  std::string document(printed);
  free(printed);
  cJSON_Delete(envelope);
  logger->notice() << "assemble_metrics: success";
  return document;
}

}  // namespace metrics
}  // namespace korrin
