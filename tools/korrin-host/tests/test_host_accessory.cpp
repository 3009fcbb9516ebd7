// Accessory descriptions from the accessories file: fields, clones,
// readiness over time, and the errors of malformed files.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host_support/input_error.h"
#include "korrin_host/accessory.h"
#include "korrin_host/input_files.h"
#include "korrin_host/json_input.h"

namespace {

using korrin_host::Accessory;
using korrin_host::AccessoryFacts;
using Clock = std::chrono::steady_clock;

std::string parse_error(const std::string& text) {
  return korrin_host_test::input_error_of(
      [&] { korrin_host::parse_accessories(text, "acc.json"); });
}

AccessoryFacts only(const std::string& entry) {
  const std::vector<AccessoryFacts> list =
      korrin_host::parse_accessories("[" + entry + "]", "acc.json");
  EXPECT_EQ(list.size(), 1u);
  return list.at(0);
}

Accessory connect(const AccessoryFacts& facts, double time_scale = 1.0) {
  return Accessory(std::make_shared<const AccessoryFacts>(facts), Clock::now(), time_scale);
}

TEST(HostAccessories, TheExampleFileIsReadCompletely) {
  const std::vector<AccessoryFacts> list =
      korrin_host::load_accessories(KORRIN_EXAMPLES_DIR "/accessories.json");
  std::vector<std::string> ids;
  for (const AccessoryFacts& facts : list) {
    ids.push_back(facts.id);
  }
  EXPECT_EQ(ids, (std::vector<std::string>{"hs-desk-01", "hs-pro-02", "hs-h9-03", "hs-h8-04",
                                           "hs-wireless-05", "cam-room-06", "hs-acme-07"}));
  const AccessoryFacts& docked = list.at(0);
  EXPECT_EQ(docked.type, 1);
  EXPECT_EQ(docked.vendor, "Zelor");
  EXPECT_EQ(docked.model, "Zelor H-5");
  EXPECT_EQ(docked.serial_number, "ZH5B2231907");
  EXPECT_EQ(docked.firmware_version, "2-3-1");
  EXPECT_EQ(docked.dock_serial_number, "DK-77120");
  EXPECT_EQ(docked.dock_model, "Zelor Dock 5");
  EXPECT_EQ(docked.connection_type, "USB");
  EXPECT_EQ(docked.connection_status, "connected");
  EXPECT_TRUE(docked.vendor_headset);
  EXPECT_TRUE(docked.config_ready.ever);
  EXPECT_TRUE(docked.inventory_ready.ever);
  const AccessoryFacts& wireless = list.at(4);
  EXPECT_EQ(wireless.dongle_model, "Zelor D-2");
  EXPECT_EQ(wireless.dongle_firmware_version, "3-0-9");
  EXPECT_EQ(wireless.connection_type, "Bluetooth");
  const AccessoryFacts& camera = list.at(5);
  EXPECT_EQ(camera.type, 2);
  EXPECT_FALSE(camera.vendor_headset);
  EXPECT_EQ(list.at(6).vendor, "Acme");
}

TEST(HostAccessories, TheInterfaceAnswersFromTheFacts) {
  const Accessory accessory = connect(only(R"({
      "id": "h", "type": 1, "vendor": "Zelor", "model": "Zelor H-9", "serial": "SN1",
      "firmware": "1-2", "dockSerial": "D1", "dockModel": "Dock", "dongleModel": "Dongle",
      "dongleFirmware": "3-4", "connectionType": "USB", "connectionStatus": "connected",
      "inventoryReady": true, "configReady": true, "vendorHeadset": false})"));
  EXPECT_EQ(accessory.get_accessory_type(), 1);
  EXPECT_EQ(accessory.get_vendor(nullptr), "Zelor");
  EXPECT_EQ(accessory.get_model(), "Zelor H-9");
  EXPECT_EQ(accessory.get_serial_number(nullptr), "SN1");
  EXPECT_EQ(accessory.get_firmware_version(), "1-2");
  EXPECT_EQ(accessory.get_dock_serial_number(), "D1");
  EXPECT_EQ(accessory.get_dock_model(), "Dock");
  EXPECT_EQ(accessory.get_dongle_model(), "Dongle");
  EXPECT_EQ(accessory.get_dongle_firmware_version(), "3-4");
  EXPECT_EQ(accessory.get_connection_type(), "USB");
  EXPECT_EQ(accessory.get_connection_status(), "connected");
  EXPECT_FALSE(accessory.is_vendor_headset());  // said so explicitly
  EXPECT_TRUE(accessory.is_config_ready());
  EXPECT_TRUE(accessory.is_inventory_ready());
}

TEST(HostAccessories, OnlyIdAndTypeAreRequired) {
  const AccessoryFacts facts = only(R"({"id": "a", "type": 2})");
  EXPECT_EQ(facts.model, "");
  EXPECT_EQ(facts.serial_number, "");
  EXPECT_EQ(facts.dongle_model, "");
  EXPECT_TRUE(facts.config_ready.ever);
  EXPECT_EQ(facts.config_ready.after_seconds, 0);
}

TEST(HostAccessories, TypesAreWordsOrIntegers) {
  EXPECT_EQ(only(R"({"id": "a", "type": "camera"})").type, 2);
  EXPECT_EQ(only(R"({"id": "a", "type": 3})").type, 3);
  EXPECT_EQ(korrin_host::accessory_type_name(1), "headset");
  EXPECT_EQ(korrin_host::accessory_type_name(2), "camera");
  EXPECT_EQ(korrin_host::accessory_type_name(3), "type 3");
}

TEST(HostAccessories, TheMakersHeadsetsAreRecognisedByVendorUnlessSaidOtherwise) {
  EXPECT_TRUE(only(R"({"id": "a", "type": "headset", "vendor": "ZELOR Inc"})").vendor_headset);
  EXPECT_FALSE(only(R"({"id": "a", "type": "headset", "vendor": "The Zelor"})").vendor_headset);
  EXPECT_FALSE(only(R"({"id": "a", "type": "camera", "vendor": "Zelor"})").vendor_headset);
  EXPECT_TRUE(only(R"({"id": "a", "type": "camera", "vendorHeadset": true})").vendor_headset);
}

TEST(HostAccessories, ClonesAreIndependentObjectsWithTheSameAnswers) {
  const int before = Accessory::live();
  {
    const Accessory accessory = connect(only(R"({"id": "a", "type": "headset", "model": "M"})"));
    std::unique_ptr<korrin::AccessoryInfoInterface> copy(accessory.clone());
    EXPECT_NE(copy.get(), &accessory);
    EXPECT_EQ(copy->get_model(), "M");
    EXPECT_EQ(copy->get_accessory_type(), 1);
    EXPECT_EQ(Accessory::live(), before + 2);
  }
  EXPECT_EQ(Accessory::live(), before);
}

TEST(HostAccessories, ReadinessCanBeNeverOrAfterAScaledDelay) {
  const AccessoryFacts never =
      only(R"({"id": "a", "type": 1, "configReady": false, "inventoryReady": false})");
  const Accessory unready = connect(never);
  EXPECT_FALSE(unready.is_config_ready());
  EXPECT_FALSE(unready.is_inventory_ready());

  const AccessoryFacts later =
      only(R"({"id": "b", "type": 1, "configReady": 10, "inventoryReady": true})");
  EXPECT_EQ(later.config_ready.after_seconds, 10);
  const Accessory accessory = connect(later, 0.01);  // 10 s of host time = 100 ms
  std::unique_ptr<korrin::AccessoryInfoInterface> clone(accessory.clone());
  EXPECT_FALSE(accessory.is_config_ready());
  EXPECT_FALSE(clone->is_config_ready());
  EXPECT_TRUE(accessory.is_inventory_ready());
  std::this_thread::sleep_for(std::chrono::milliseconds(150));
  EXPECT_TRUE(accessory.is_config_ready());
  EXPECT_TRUE(clone->is_config_ready());  // the clone keeps the connection time
}

TEST(HostAccessories, MalformedAccessoryFilesAreRejectedWithTheirPlace) {
  EXPECT_EQ(parse_error("{}"), "acc.json: expected a JSON array of accessories");
  EXPECT_EQ(parse_error(R"([{"type": 1}])"), "acc.json: accessory 1: \"id\" is missing");
  EXPECT_EQ(parse_error(R"([{"id": "a", "type": 1}, {"id": "b"}])"),
            "acc.json: accessory 2: \"type\" is missing");
  EXPECT_EQ(parse_error(R"([{"id": "a", "type": "speaker"}])"),
            "acc.json: accessory 1: \"type\" must be \"headset\", \"camera\" or an integer");
  EXPECT_EQ(parse_error(R"([{"id": "a", "type": 1.5}])"),
            "acc.json: accessory 1: \"type\" must be \"headset\", \"camera\" or an integer");
  EXPECT_EQ(parse_error(R"([{"id": "a", "type": 1}, {"id": "a", "type": 2}])"),
            "acc.json: accessory 2: \"id\" a is used twice");
  EXPECT_EQ(parse_error(R"([{"id": "a", "type": 1, "serialNumber": "x"}])"),
            "acc.json: accessory 1: \"serialNumber\" is not a known member");
  EXPECT_EQ(parse_error(R"([{"id": "a", "type": 1, "firmware": 5}])"),
            "acc.json: accessory 1: \"firmware\" must be a string");
  EXPECT_EQ(parse_error(R"([{"id": "a", "type": 1, "configReady": -1}])"),
            "acc.json: accessory 1: \"configReady\" must be true, false or a number of "
            "seconds >= 0");
  EXPECT_EQ(parse_error(R"([{"id": "a", "type": 1, "vendorHeadset": "yes"}])"),
            "acc.json: accessory 1: \"vendorHeadset\" must be true or false");
  EXPECT_EQ(parse_error("[1]"), "acc.json: accessory 1: expected a JSON object");
  EXPECT_EQ(parse_error("[\n  {\"id\": \"a\" \"type\": 1}\n]"),
            "acc.json:2:14: invalid JSON near '\"type\": 1}'");
}

TEST(HostAccessories, AnEmptyListIsAllowed) {
  EXPECT_TRUE(korrin_host::parse_accessories("[]", "acc.json").empty());
}

}  // namespace
