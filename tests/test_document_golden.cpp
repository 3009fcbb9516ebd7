// Every example document of examples/documents/ taken over by every example
// accessory of examples/accessories.json, compared with the expected outcome
// checked in beside it as tests/data/<document>.expected.
//
// After a deliberate change of behaviour, regenerate with
//   KORRIN_UPDATE_EXPECTED=1 build/dev/tests/test_document_golden
// and review every changed line against the rules before committing.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/config_probe.h"
#include "support/example_files.h"
#include "support/fake_host.h"
#include "support/json_tree.h"

namespace {

using korrin_test::AccessoryData;
using korrin_test::FakeAccessory;
using korrin_test::FakeHost;
using korrin_test::JsonTree;

const std::string kExamples = KORRIN_EXAMPLES_DIR;
const std::string kData = KORRIN_TEST_DATA_DIR;

// The example documents, each with its expected outcome.
const std::vector<std::string> kDocuments = {
    "headset_fleet",      "camera_room",        "latest_driver",
    "wrapped_in_array",   "template_not_first", "template_missing",
    "wrong_member_types", "truncated",          "office",
};

std::string text_of(const cJSON* object, const char* key) {
  const cJSON* item = cJSON_GetObjectItemCaseSensitive(object, key);
  return cJSON_IsString(item) ? item->valuestring : std::string();
}

bool flag_of(const cJSON* object, const char* key) {
  return cJSON_IsTrue(cJSON_GetObjectItemCaseSensitive(object, key));
}

struct ExampleAccessory {
  std::string id;
  AccessoryData data;
};

// The accessories of examples/accessories.json (the format is described in
// examples/README.md).
std::vector<ExampleAccessory> load_accessories() {
  std::vector<ExampleAccessory> accessories;
  JsonTree list = korrin_test::parse_json(korrin_test::read_file(kExamples + "/accessories.json"));
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

// What one accessory does with one document, as the expected files write it.
std::string outcome(const ExampleAccessory& accessory, const std::string& document) {
  FakeHost host;
  host.install();
  std::ostringstream out;
  {
    FakeAccessory description(accessory.data);
    std::unique_ptr<korrin::config::ConfigInterface, void (*)(korrin::config::ConfigInterface*)>
        config(create_config(accessory.id, &description), delete_config);
    if (!config) {
      korrin_test::uninstall_plugins();
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
    const auto settings = korrin_test::describe_settings(config->retrieve_config());
    out << "settings: " << settings.size() << "\n";
    for (const auto& line : settings) {
      out << "  " << line << "\n";
    }
  }
  korrin_test::uninstall_plugins();
  return out.str();
}

class ExampleDocumentTest : public ::testing::TestWithParam<std::string> {};

TEST_P(ExampleDocumentTest, OutcomeForEveryExampleAccessoryMatchesTheExpectedFile) {
  const std::string document = korrin_test::read_example_document(GetParam() + ".json");
  ASSERT_FALSE(document.empty());
  const auto accessories = load_accessories();
  ASSERT_EQ(accessories.size(), 7u);

  std::string actual;
  for (const auto& accessory : accessories) {
    actual += outcome(accessory, document) + "\n";
  }
  const std::string expected_path = kData + "/" + GetParam() + ".expected";
  if (std::getenv("KORRIN_UPDATE_EXPECTED") != nullptr) {
    std::ofstream(expected_path, std::ios::binary) << actual;
    GTEST_SKIP() << "rewrote " << expected_path << ": review it before committing";
  }
  EXPECT_EQ(actual, korrin_test::read_file(expected_path));
}

INSTANTIATE_TEST_SUITE_P(Documents, ExampleDocumentTest, ::testing::ValuesIn(kDocuments),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                           return info.param;
                         });

TEST(ExampleDocumentsTest, EveryExampleDocumentHasAnExpectedOutcome) {
  std::set<std::string> on_disk;
  for (const auto& file : std::filesystem::directory_iterator(kExamples + "/documents")) {
    if (file.path().extension() == ".json") {
      on_disk.insert(file.path().stem().string());
    }
  }
  EXPECT_EQ(on_disk, std::set<std::string>(kDocuments.begin(), kDocuments.end()));
  for (const auto& name : kDocuments) {
    EXPECT_TRUE(std::filesystem::exists(kData + "/" + name + ".expected")) << name;
  }
}

TEST(ExampleDocumentsTest, FleetDocumentCoversWhatItIsMeantToShow) {
  JsonTree fleet =
      korrin_test::parse_json(korrin_test::read_example_document("headset_fleet.json"));
  ASSERT_TRUE(fleet);
  const cJSON* tmpl = cJSON_GetObjectItem(fleet.get(), "templateConfiguration");
  const cJSON* common = cJSON_GetObjectItem(tmpl, "commonSettings");
  std::set<std::string> accesses;
  std::set<int> ids;
  int string_ids = 0;
  int follow_user_pairs = 0;
  const cJSON* entry = nullptr;
  cJSON_ArrayForEach(entry, common) {
    accesses.insert(cJSON_GetObjectItem(entry, "access")->valuestring);
    const cJSON* id = cJSON_GetObjectItem(entry, "usageId");
    if (cJSON_IsString(id)) {
      ++string_ids;
    }
    ids.insert(cJSON_IsString(id) ? std::atoi(id->valuestring) : id->valueint);
    const cJSON* value = cJSON_GetObjectItem(entry, "value");
    const std::string name = cJSON_GetObjectItem(entry, "name")->valuestring;
    if (string_ends_with(name, "_Admin") &&
        ((cJSON_IsNumber(value) && value->valueint == 255) ||
         (cJSON_IsString(value) && std::string(value->valuestring) == "255"))) {
      ++follow_user_pairs;
    }
  }
  EXPECT_GE(ids.size(), 40u);
  EXPECT_GE(string_ids, 5);
  EXPECT_GE(follow_user_pairs, 3);
  for (const char* access :
       {"Admin", "admin", "ADMIN", "User", "user", "Owner", "Both", "BOTH", "both"}) {
    EXPECT_EQ(accesses.count(access), 1u) << access;
  }
  EXPECT_GE(cJSON_GetArraySize(cJSON_GetObjectItem(tmpl, "modelSpecificSettings")), 4);
}

}  // namespace
