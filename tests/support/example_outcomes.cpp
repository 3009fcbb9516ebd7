#include "support/example_outcomes.h"

#include <memory>
#include <sstream>

#include "support/config_probe.h"
#include "support/example_files.h"
#include "support/json_tree.h"

namespace korrin_test {

namespace {

std::string text_of(const cJSON* object, const char* key) {
  const cJSON* item = cJSON_GetObjectItemCaseSensitive(object, key);
  return cJSON_IsString(item) ? item->valuestring : std::string();
}

bool flag_of(const cJSON* object, const char* key) {
  return cJSON_IsTrue(cJSON_GetObjectItemCaseSensitive(object, key));
}

}  // namespace

const std::vector<std::string>& example_document_names() {
  static const std::vector<std::string> names = {
      "headset_fleet",      "camera_room",        "latest_driver",
      "wrapped_in_array",   "template_not_first", "template_missing",
      "wrong_member_types", "truncated",          "office",
  };
  return names;
}

std::vector<ExampleAccessory> load_example_accessories() {
  std::vector<ExampleAccessory> accessories;
  JsonTree list = parse_json(read_file(std::string(KORRIN_EXAMPLES_DIR) + "/accessories.json"));
  const cJSON* entry = nullptr;
  cJSON_ArrayForEach(entry, list.get()) {
    ExampleAccessory accessory;
    accessory.id = text_of(entry, "id");
    const cJSON* type = cJSON_GetObjectItemCaseSensitive(entry, "type");
    accessory.data.type = cJSON_IsNumber(type) ? type->valueint : 0;
    accessory.data.vendor = text_of(entry, "vendor");
    accessory.data.model = text_of(entry, "model");
    accessory.data.serial_number = text_of(entry, "serial");
    accessory.data.firmware_version = text_of(entry, "firmware");
    accessory.data.dock_serial_number = text_of(entry, "dockSerial");
    accessory.data.dock_model = text_of(entry, "dockModel");
    accessory.data.dongle_model = text_of(entry, "dongleModel");
    accessory.data.dongle_firmware_version = text_of(entry, "dongleFirmware");
    accessory.data.connection_type = text_of(entry, "connectionType");
    accessory.data.connection_status = text_of(entry, "connectionStatus");
    accessory.data.inventory_ready = flag_of(entry, "inventoryReady");
    accessory.data.config_ready = flag_of(entry, "configReady");
    accessory.data.vendor_headset = flag_of(entry, "vendorHeadset");
    accessories.push_back(accessory);
  }
  return accessories;
}

std::string example_outcome(const ExampleAccessory& accessory, const std::string& document) {
  FakeHost host;
  host.install();
  std::ostringstream out;
  {
    FakeAccessory description(accessory.data);
    std::unique_ptr<korrin::config::ConfigInterface, void (*)(korrin::config::ConfigInterface*)>
        config(create_config(accessory.id, &description), delete_config);
    if (!config) {
      uninstall_plugins();
      return "[" + accessory.id + "] no configuration object\n";
    }
    host.calls.clear();
    const bool result = config->update_from_server(document);
    out << "[" << accessory.id << "] " << accessory.data.model << ", firmware "
        << accessory.data.firmware_version;
    if (!accessory.data.dongle_model.empty()) {
      out << ", dongle " << accessory.data.dongle_model << " firmware "
          << accessory.data.dongle_firmware_version;
    }
    out << "\nresult: " << (result ? "true" : "false") << "\n";
    for (const auto& call : host.calls.starting_with("device.")) {
      out << call << "\n";
    }
    const auto settings = describe_settings(config->retrieve_config());
    out << "settings: " << settings.size() << "\n";
    for (const auto& line : settings) {
      out << "  " << line << "\n";
    }
  }
  uninstall_plugins();
  return out.str();
}

std::string example_outcomes(const std::string& document) {
  std::string all;
  for (const auto& accessory : load_example_accessories()) {
    all += example_outcome(accessory, document) + "\n";
  }
  return all;
}

}  // namespace korrin_test
