// The inventory document: members, nesting and order, the maker's-accessory
// rule, every log record, and the failures that leave no document.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/fake_host.h"
#include "support/installed_host_test.h"
#include "support/inventory_json.h"
#include "support/library_handles.h"
#include "support/lines.h"
#include "support/plain_system_info.h"

namespace {

using korrin::metrics::InventoryMetric;
using korrin::metrics::MetricsInterface;
using korrin_test::AccessoryData;
using korrin_test::concat;
using korrin_test::FakeHost;
using korrin_test::flatten_members;
using korrin_test::JsonTree;
using korrin_test::MetricHandle;
using korrin_test::parse_json;
using Lines = std::vector<std::string>;

// ---- accessories of the four reference documents --------------------------

AccessoryData maker_headset_with_dock() {
  AccessoryData data;
  data.vendor = "Zelor";
  data.model = "Zelor H-9";
  data.serial_number = "ABCDEFG4X";  // eighth character 4: reported as the H-8
  data.firmware_version = "1-2-3";
  data.dock_serial_number = "DOCK-77";
  data.dock_model = "Zelor D-1";
  data.connection_type = "USB";
  data.connection_status = "connected";
  data.vendor_headset = true;
  return data;
}

AccessoryData maker_headset_without_dock() {
  AccessoryData data;
  data.vendor = "Zelor";
  data.model = "Zelor H-5";
  data.serial_number = "SN0000001";
  data.firmware_version = "2-0-1";
  data.connection_type = "Bluetooth";
  data.connection_status = "disconnected";
  data.vendor_headset = true;
  return data;
}

AccessoryData other_vendor_headset() {
  AccessoryData data;
  data.vendor = "Other Vendor";
  data.model = "Other H1";
  data.serial_number = "OV-123";
  data.firmware_version = "7.0";
  data.dock_serial_number = "DOCK-9";  // never reported for another vendor
  data.dock_model = "Other Dock";
  data.connection_type = "USB";
  data.connection_status = "connected";
  data.vendor_headset = false;
  return data;
}

AccessoryData maker_camera() {
  AccessoryData data;
  data.type = 2;
  data.vendor = "Zelor";
  data.model = "Zelor C-1";
  data.serial_number = "CAM000001";
  data.firmware_version = "3-3-0";
  data.connection_type = "Network";
  data.connection_status = "connected";
  data.vendor_headset = false;  // a maker's accessory by its vendor word alone
  return data;
}

const Lines kFullHost = {
    "value/host: object",
    "value/host/client: \"client-1\"",
    "value/host/serialNumber: \"HOST-SN-1\"",
    "value/host/deviceName: \"room-12\"",
    "value/host/model: \"Host Model\"",
    "value/host/firmwareVersion: \"5-1-0\"",
    "value/host/hostOSVersion: \"Debian 12\"",
    "value/host/userId: \"user-7\"",
};

// The root member "time" is a whole number of seconds within [before, after].
void expect_time_between(const cJSON* document, std::time_t before, std::time_t after) {
  const cJSON* time_item = cJSON_GetObjectItemCaseSensitive(document, "time");
  ASSERT_TRUE(cJSON_IsNumber(time_item));
  EXPECT_EQ(time_item->valuedouble, std::floor(time_item->valuedouble));
  EXPECT_GE(time_item->valuedouble, static_cast<double>(before));
  EXPECT_LE(time_item->valuedouble, static_cast<double>(after));
}

class InventoryDocumentTest : public korrin_test::InstalledHostTest {
 protected:
  // A metric made by the factory for `data`; host.calls is cleared afterwards.
  MetricHandle metric_for(const AccessoryData& data) {
    auto accessory = host.accessory(data);
    MetricHandle metric(create_metric(accessory.get()));
    host.calls.clear();
    host.log.clear();
    return metric;
  }
  static InventoryMetric& inventory(const MetricHandle& metric) {
    return dynamic_cast<InventoryMetric&>(*metric);
  }

  // The whole host sequence; returns the single posted body, timing the run.
  std::string post_inventory(const AccessoryData& data) {
    auto accessory = host.accessory(data);
    MetricsInterface* metric = create_metric(accessory.get());
    metric->send();
    delete_metric(metric);
    accessory.reset();
    host.calls.clear();
    host.log.clear();
    before = std::time(nullptr);
    EXPECT_EQ(host.dispatcher.run_next(), 1);
    after = std::time(nullptr);
    const auto posts = host.network.posts();
    EXPECT_EQ(posts.size(), 1u);
    return posts.empty() ? std::string() : posts.front().body;
  }

  std::time_t before = 0;
  std::time_t after = 0;
};

// ---- the four reference documents, as posted ------------------------------

TEST_F(InventoryDocumentTest, MakersHeadsetWithDockPostsHostDockAndHeadset) {
  JsonTree document = parse_json(post_inventory(maker_headset_with_dock()));
  ASSERT_NE(document, nullptr);
  EXPECT_EQ(flatten_members(document.get()),
            concat({{"time: number", "key: \"headsetInventory\"", "value: object"},
                    kFullHost,
                    {"value/dock: object", "value/dock/serialNumber: \"DOCK-77\"",
                     "value/dock/model: \"Zelor D-1\"", "value/headset: object",
                     "value/headset/serialNumber: \"ABCDEFG4X\"",
                     "value/headset/firmwareVersion: \"1-2-3\"", "value/headset/vendor: \"Zelor\"",
                     "value/headset/model: \"Zelor H-8\"", "value/headset/connectionType: \"USB\"",
                     "value/headset/connectionStatus: \"connected\""}}));
  expect_time_between(document.get(), before, after);
}

TEST_F(InventoryDocumentTest, MakersHeadsetWithoutDockPostsNoDockMember) {
  JsonTree document = parse_json(post_inventory(maker_headset_without_dock()));
  ASSERT_NE(document, nullptr);
  EXPECT_EQ(
      flatten_members(document.get()),
      concat({{"time: number", "key: \"headsetInventory\"", "value: object"},
              kFullHost,
              {"value/headset: object", "value/headset/serialNumber: \"SN0000001\"",
               "value/headset/firmwareVersion: \"2-0-1\"", "value/headset/vendor: \"Zelor\"",
               "value/headset/model: \"Zelor H-5\"", "value/headset/connectionType: \"Bluetooth\"",
               "value/headset/connectionStatus: \"disconnected\""}}));
  expect_time_between(document.get(), before, after);
  EXPECT_EQ(host.log.texts_containing("[LIB-ERR]: Building dock payload failed").size(), 1u);
}

TEST_F(InventoryDocumentTest, OtherVendorsAccessoryPostsOnlyTheUserIdOfTheHostAndNoDock) {
  JsonTree document = parse_json(post_inventory(other_vendor_headset()));
  ASSERT_NE(document, nullptr);
  EXPECT_EQ(
      flatten_members(document.get()),
      (Lines{"time: number", "key: \"headsetInventory\"", "value: object", "value/host: object",
             "value/host/userId: \"user-7\"", "value/headset: object",
             "value/headset/serialNumber: \"OV-123\"", "value/headset/firmwareVersion: \"7.0\"",
             "value/headset/vendor: \"Other Vendor\"", "value/headset/model: \"Other H1\"",
             "value/headset/connectionType: \"USB\"",
             "value/headset/connectionStatus: \"connected\""}));
  expect_time_between(document.get(), before, after);
  EXPECT_EQ(host.calls.count("accessory.get_dock_()"), 0u);
}

TEST_F(InventoryDocumentTest, CameraPostsCameraInventoryWithItsPayloadUnderHeadset) {
  JsonTree document = parse_json(post_inventory(maker_camera()));
  ASSERT_NE(document, nullptr);
  EXPECT_EQ(
      flatten_members(document.get()),
      concat({{"time: number", "key: \"cameraInventory\"", "value: object"},
              kFullHost,
              {"value/headset: object", "value/headset/serialNumber: \"CAM000001\"",
               "value/headset/firmwareVersion: \"3-3-0\"", "value/headset/vendor: \"Zelor\"",
               "value/headset/model: \"Zelor C-1\"", "value/headset/connectionType: \"Network\"",
               "value/headset/connectionStatus: \"connected\""}}));
  expect_time_between(document.get(), before, after);
}

TEST_F(InventoryDocumentTest, DocumentIsPrintedFormattedWithTabs) {
  const std::string body = post_inventory(maker_headset_with_dock());
  JsonTree document = parse_json(body);
  ASSERT_NE(document, nullptr);
  const cJSON* time_item = cJSON_GetObjectItemCaseSensitive(document.get(), "time");
  ASSERT_TRUE(cJSON_IsNumber(time_item));
  const std::string now = std::to_string(static_cast<std::int64_t>(time_item->valuedouble));
  EXPECT_EQ(body,
            "{\n"
            "\t\"time\":\t" +
                now +
                ",\n"
                "\t\"key\":\t\"headsetInventory\",\n"
                "\t\"value\":\t{\n"
                "\t\t\"host\":\t{\n"
                "\t\t\t\"client\":\t\"client-1\",\n"
                "\t\t\t\"serialNumber\":\t\"HOST-SN-1\",\n"
                "\t\t\t\"deviceName\":\t\"room-12\",\n"
                "\t\t\t\"model\":\t\"Host Model\",\n"
                "\t\t\t\"firmwareVersion\":\t\"5-1-0\",\n"
                "\t\t\t\"hostOSVersion\":\t\"Debian 12\",\n"
                "\t\t\t\"userId\":\t\"user-7\"\n"
                "\t\t},\n"
                "\t\t\"dock\":\t{\n"
                "\t\t\t\"serialNumber\":\t\"DOCK-77\",\n"
                "\t\t\t\"model\":\t\"Zelor D-1\"\n"
                "\t\t},\n"
                "\t\t\"headset\":\t{\n"
                "\t\t\t\"serialNumber\":\t\"ABCDEFG4X\",\n"
                "\t\t\t\"firmwareVersion\":\t\"1-2-3\",\n"
                "\t\t\t\"vendor\":\t\"Zelor\",\n"
                "\t\t\t\"model\":\t\"Zelor H-8\",\n"
                "\t\t\t\"connectionType\":\t\"USB\",\n"
                "\t\t\t\"connectionStatus\":\t\"connected\"\n"
                "\t\t}\n"
                "\t}\n"
                "}");
}

// ---- records and host queries of assemble_metrics -------------------------

TEST_F(InventoryDocumentTest, MakersHeadsetWithDockLogsAndQueriesInOrder) {
  MetricHandle metric = metric_for(maker_headset_with_dock());
  EXPECT_FALSE(inventory(metric).assemble_metrics().empty());
  EXPECT_EQ(host.calls.all(),
            (Lines{"log.notice(HeadsetInventoryMetricsImpl: assemble_metrics: Enter)",
                   "log.notice(HeadsetInventoryMetricsImpl: build_envelop: Enter)",
                   "accessory.is_vendor_headset()",
                   "log.notice(HeadsetInventoryMetricsImpl: build_host_payload: Enter)",
                   "system_info.get_client()",
                   "system_info.get_serial_number()",
                   "system_info.get_device_name()",
                   "system_info.get_model()",
                   "system_info.get_firmware_version()",
                   "system_info.get_host_os_version()",
                   "system_info.get_user_id()",
                   "log.info(HeadsetInventoryMetricsImpl: build_dock_payload: Enter)",
                   "accessory.get_dock_serial_number()",
                   "accessory.get_dock_model()",
                   "log.info(HeadsetInventoryMetricsImpl: build_accessory_payload: Enter)",
                   "accessory.get_serial_number()",
                   "accessory.get_firmware_version()",
                   "accessory.get_vendor()",
                   "accessory.get_model()",
                   "accessory.get_connection_type()",
                   "accessory.get_connection_status()",
                   "log.notice(HeadsetInventoryMetricsImpl: assemble_metrics: success)"}));
}

TEST_F(InventoryDocumentTest, OtherVendorsAccessoryLogsAndQueriesInOrder) {
  MetricHandle metric = metric_for(other_vendor_headset());
  EXPECT_FALSE(inventory(metric).assemble_metrics().empty());
  EXPECT_EQ(host.calls.all(),
            (Lines{"log.notice(HeadsetInventoryMetricsImpl: assemble_metrics: Enter)",
                   "log.notice(HeadsetInventoryMetricsImpl: build_envelop: Enter)",
                   "accessory.is_vendor_headset()", "accessory.get_vendor()",
                   "log.notice(HeadsetInventoryMetricsImpl: build_host_payload: Enter)",
                   "system_info.get_user_id()",
                   "log.info(HeadsetInventoryMetricsImpl: build_accessory_payload: Enter)",
                   "accessory.get_serial_number()", "accessory.get_firmware_version()",
                   "accessory.get_vendor()", "accessory.get_model()",
                   "accessory.get_connection_type()", "accessory.get_connection_status()",
                   "log.notice(HeadsetInventoryMetricsImpl: assemble_metrics: success)"}));
}

TEST_F(InventoryDocumentTest, MissingDockDropsOnlyTheDockAfterItsErrorRecords) {
  MetricHandle metric = metric_for(maker_headset_without_dock());
  JsonTree document = parse_json(inventory(metric).assemble_metrics());
  ASSERT_NE(document, nullptr);
  const cJSON* value = cJSON_GetObjectItemCaseSensitive(document.get(), "value");
  EXPECT_EQ(cJSON_GetObjectItemCaseSensitive(value, "dock"), nullptr);
  EXPECT_NE(cJSON_GetObjectItemCaseSensitive(value, "host"), nullptr);
  EXPECT_NE(cJSON_GetObjectItemCaseSensitive(value, "headset"), nullptr);
  EXPECT_EQ(host.calls.starting_with("log."),
            (Lines{"log.notice(HeadsetInventoryMetricsImpl: assemble_metrics: Enter)",
                   "log.notice(HeadsetInventoryMetricsImpl: build_envelop: Enter)",
                   "log.notice(HeadsetInventoryMetricsImpl: build_host_payload: Enter)",
                   "log.info(HeadsetInventoryMetricsImpl: build_dock_payload: Enter)",
                   "log.error(HeadsetInventoryMetricsImpl: build_dock_payload: Dock serial number "
                   "is empty.)",
                   "log.error(HeadsetInventoryMetricsImpl: assemble_metrics[LIB-ERR]: Building "
                   "dock payload failed)",
                   "log.info(HeadsetInventoryMetricsImpl: build_accessory_payload: Enter)",
                   "log.notice(HeadsetInventoryMetricsImpl: assemble_metrics: success)"}));
  // The dock model is not asked without a dock serial number.
  EXPECT_EQ(host.calls.count("accessory.get_dock_model()"), 0u);
}

TEST_F(InventoryDocumentTest, EmptySerialNumberGivesNoDocument) {
  AccessoryData data = maker_headset_with_dock();
  data.serial_number.clear();
  MetricHandle metric = metric_for(data);
  EXPECT_EQ(inventory(metric).assemble_metrics(), "");
  EXPECT_EQ(host.calls.starting_with("log."),
            (Lines{"log.notice(HeadsetInventoryMetricsImpl: assemble_metrics: Enter)",
                   "log.notice(HeadsetInventoryMetricsImpl: build_envelop: Enter)",
                   "log.notice(HeadsetInventoryMetricsImpl: build_host_payload: Enter)",
                   "log.info(HeadsetInventoryMetricsImpl: build_dock_payload: Enter)",
                   "log.info(HeadsetInventoryMetricsImpl: build_accessory_payload: Enter)",
                   "log.error(HeadsetInventoryMetricsImpl: build_accessory_payload: accessory "
                   "serial number is empty.)",
                   "log.error(HeadsetInventoryMetricsImpl: assemble_metrics[LIB-ERR]: Building "
                   "accessory payload failed)"}));
  // Nothing else of the accessory is asked once its serial number is missing.
  EXPECT_EQ(host.calls.count("accessory.get_firmware_version()"), 0u);
}

TEST_F(InventoryDocumentTest, CameraDocumentKeyAndLoggerName) {
  MetricHandle metric = metric_for(maker_camera());
  JsonTree document = parse_json(inventory(metric).assemble_metrics());
  ASSERT_NE(document, nullptr);
  const cJSON* key = cJSON_GetObjectItemCaseSensitive(document.get(), "key");
  ASSERT_TRUE(cJSON_IsString(key));
  EXPECT_STREQ(key->valuestring, "cameraInventory");
  const cJSON* value = cJSON_GetObjectItemCaseSensitive(document.get(), "value");
  EXPECT_NE(cJSON_GetObjectItemCaseSensitive(value, "headset"), nullptr);
  EXPECT_EQ(cJSON_GetObjectItemCaseSensitive(value, "camera"), nullptr);
  EXPECT_EQ(host.log.texts().front(), "CameraInventoryMetricsImpl: assemble_metrics: Enter");
  EXPECT_EQ(host.log.texts().back(), "CameraInventoryMetricsImpl: assemble_metrics: success");
}

// ---- the maker's-accessory rule ---------------------------------------------

// Whether the document for an accessory with this vendor (and its own answer)
// carries the full host description.
bool full_host_for(FakeHost& host, const std::string& vendor, bool vendor_headset) {
  AccessoryData data = other_vendor_headset();
  data.vendor = vendor;
  data.vendor_headset = vendor_headset;
  auto accessory = host.accessory(data);
  MetricHandle metric(create_metric(accessory.get()));
  JsonTree document = parse_json(dynamic_cast<InventoryMetric&>(*metric).assemble_metrics());
  const cJSON* value = cJSON_GetObjectItemCaseSensitive(document.get(), "value");
  const cJSON* host_payload = cJSON_GetObjectItemCaseSensitive(value, "host");
  return cJSON_GetObjectItemCaseSensitive(host_payload, "client") != nullptr;
}

TEST_F(InventoryDocumentTest, VendorWordInAnyCaseAtTheStartMakesAMakersAccessory) {
  EXPECT_TRUE(full_host_for(host, "ZELOR Inc", false));
  EXPECT_TRUE(full_host_for(host, "zelor", false));
  EXPECT_TRUE(full_host_for(host, "Zelor", false));
  // A prefix test, not an equality test.
  EXPECT_TRUE(full_host_for(host, "Zelorian Devices", false));
}

TEST_F(InventoryDocumentTest, VendorWordElsewhereOrCutShortDoesNotCount) {
  EXPECT_FALSE(full_host_for(host, "The Zelor", false));
  EXPECT_FALSE(full_host_for(host, " Zelor", false));
  EXPECT_FALSE(full_host_for(host, "Zel", false));
  EXPECT_FALSE(full_host_for(host, "", false));
  EXPECT_FALSE(full_host_for(host, "Other Vendor", false));
}

TEST_F(InventoryDocumentTest, AccessorysOwnAnswerMakesAMakersAccessoryWhateverTheVendor) {
  EXPECT_TRUE(full_host_for(host, "Other Vendor", true));
  EXPECT_TRUE(full_host_for(host, "", true));
}

TEST_F(InventoryDocumentTest, OwnAnswerTrueSkipsTheVendorQueryForTheDecision) {
  AccessoryData data = other_vendor_headset();
  data.vendor_headset = true;
  MetricHandle metric = metric_for(data);
  JsonTree document = parse_json(inventory(metric).assemble_metrics());
  ASSERT_NE(document, nullptr);
  // Asked once only, for the accessory payload.
  EXPECT_EQ(host.calls.count("accessory.get_vendor()"), 1u);
  // The dock of a maker's accessory is reported.
  EXPECT_EQ(flatten_members(cJSON_GetObjectItemCaseSensitive(
                cJSON_GetObjectItemCaseSensitive(document.get(), "value"), "dock")),
            (Lines{"serialNumber: \"DOCK-9\"", "model: \"Other Dock\""}));
}

// ---- values pass through ------------------------------------------------------

TEST_F(InventoryDocumentTest, EmptyHostAndAccessoryValuesAreSentAsEmptyStrings) {
  host.system_info.client.clear();
  host.system_info.serial_number.clear();
  host.system_info.device_name.clear();
  host.system_info.model.clear();
  host.system_info.firmware_version.clear();
  host.system_info.host_os_version.clear();
  host.system_info.user_id.clear();
  AccessoryData data = maker_headset_with_dock();
  data.firmware_version.clear();
  data.vendor_headset = true;
  data.vendor.clear();
  data.model.clear();
  data.dock_model.clear();
  data.connection_type.clear();
  data.connection_status.clear();
  MetricHandle metric = metric_for(data);
  JsonTree document = parse_json(inventory(metric).assemble_metrics());
  ASSERT_NE(document, nullptr);
  EXPECT_EQ(flatten_members(cJSON_GetObjectItemCaseSensitive(document.get(), "value")),
            (Lines{"host: object", "host/client: \"\"", "host/serialNumber: \"\"",
                   "host/deviceName: \"\"", "host/model: \"\"", "host/firmwareVersion: \"\"",
                   "host/hostOSVersion: \"\"", "host/userId: \"\"", "dock: object",
                   "dock/serialNumber: \"DOCK-77\"", "dock/model: \"\"", "headset: object",
                   "headset/serialNumber: \"ABCDEFG4X\"", "headset/firmwareVersion: \"\"",
                   "headset/vendor: \"\"", "headset/model: \"\"", "headset/connectionType: \"\"",
                   "headset/connectionStatus: \"\""}));
}

TEST_F(InventoryDocumentTest, HeadsetModelIsRefinedBySerialNumber) {
  AccessoryData data = maker_headset_without_dock();
  data.model = "Zelor H-9";
  data.serial_number = "ABCDEFG5X";
  MetricHandle metric = metric_for(data);
  cJSON* payload = inventory(metric).build_accessory_payload();
  ASSERT_NE(payload, nullptr);
  const cJSON* model = cJSON_GetObjectItemCaseSensitive(payload, "model");
  ASSERT_TRUE(cJSON_IsString(model));
  EXPECT_STREQ(model->valuestring, "Zelor H-9");
  cJSON_Delete(payload);
}

TEST_F(InventoryDocumentTest, HostWithoutOsVersionSendsAnEmptyOne) {
  korrin_test::PlainSystemInfo plain;
  korrin::Plugins table = host.table();
  table.system_info = &plain;
  korrin::init(table);
  MetricHandle metric = metric_for(maker_headset_without_dock());
  JsonTree payload(inventory(metric).build_host_payload(nullptr, true));
  ASSERT_NE(payload, nullptr);
  EXPECT_EQ(flatten_members(payload.get()),
            (Lines{"client: \"c\"", "serialNumber: \"s\"", "deviceName: \"d\"", "model: \"m\"",
                   "firmwareVersion: \"f\"", "hostOSVersion: \"\"", "userId: \"u\""}));
}

// ---- the builders on their own --------------------------------------------

TEST_F(InventoryDocumentTest, EnvelopHoldsTimeThenKeyAndLogsThroughTheGivenLogger) {
  MetricHandle metric = metric_for(maker_camera());
  korrin::log::Logger* caller = create_logger(&host.log, "Caller", true);
  const std::time_t start = std::time(nullptr);
  JsonTree envelope(inventory(metric).build_envelop(caller));
  const std::time_t end = std::time(nullptr);
  delete_logger(caller);
  ASSERT_NE(envelope, nullptr);
  EXPECT_EQ(flatten_members(envelope.get()), (Lines{"time: number", "key: \"cameraInventory\""}));
  expect_time_between(envelope.get(), start, end);
  EXPECT_EQ(host.calls.all(), (Lines{"log.notice(Caller: build_envelop: Enter)"}));
}

TEST_F(InventoryDocumentTest, HostPayloadOfAnotherVendorHoldsOnlyTheUserId) {
  MetricHandle metric = metric_for(maker_headset_with_dock());
  korrin::log::Logger* caller = create_logger(&host.log, "Caller", true);
  JsonTree payload(inventory(metric).build_host_payload(caller, false));
  delete_logger(caller);
  ASSERT_NE(payload, nullptr);
  EXPECT_EQ(flatten_members(payload.get()), (Lines{"userId: \"user-7\""}));
  EXPECT_EQ(host.calls.all(),
            (Lines{"log.notice(Caller: build_host_payload: Enter)", "system_info.get_user_id()"}));
}

TEST_F(InventoryDocumentTest, FullHostPayloadHoldsSevenMembersInOrder) {
  MetricHandle metric = metric_for(other_vendor_headset());
  JsonTree payload(inventory(metric).build_host_payload(nullptr, true));
  ASSERT_NE(payload, nullptr);
  EXPECT_EQ(flatten_members(payload.get()),
            (Lines{"client: \"client-1\"", "serialNumber: \"HOST-SN-1\"", "deviceName: \"room-12\"",
                   "model: \"Host Model\"", "firmwareVersion: \"5-1-0\"",
                   "hostOSVersion: \"Debian 12\"", "userId: \"user-7\""}));
  // Without a logger nothing is recorded.
  EXPECT_TRUE(host.log.records().empty());
}

TEST_F(InventoryDocumentTest, DockPayloadHoldsSerialNumberThenModel) {
  MetricHandle metric = metric_for(maker_headset_with_dock());
  JsonTree dock(inventory(metric).build_dock_payload());
  ASSERT_NE(dock, nullptr);
  EXPECT_EQ(flatten_members(dock.get()),
            (Lines{"serialNumber: \"DOCK-77\"", "model: \"Zelor D-1\""}));
  EXPECT_EQ(host.calls.all(),
            (Lines{"log.info(HeadsetInventoryMetricsImpl: build_dock_payload: "
                   "Enter)",
                   "accessory.get_dock_serial_number()", "accessory.get_dock_model()"}));
}

TEST_F(InventoryDocumentTest, DockPayloadWithoutSerialNumberIsNull) {
  MetricHandle metric = metric_for(maker_headset_without_dock());
  EXPECT_EQ(inventory(metric).build_dock_payload(), nullptr);
  EXPECT_EQ(host.calls.all(),
            (Lines{"log.info(HeadsetInventoryMetricsImpl: build_dock_payload: Enter)",
                   "accessory.get_dock_serial_number()",
                   "log.error(HeadsetInventoryMetricsImpl: build_dock_payload: Dock serial number "
                   "is empty.)"}));
}

TEST_F(InventoryDocumentTest, AccessoryPayloadWithoutSerialNumberIsNull) {
  AccessoryData data = maker_camera();
  data.serial_number.clear();
  MetricHandle metric = metric_for(data);
  EXPECT_EQ(inventory(metric).build_accessory_payload(), nullptr);
  EXPECT_EQ(host.calls.all(),
            (Lines{"log.info(CameraInventoryMetricsImpl: build_accessory_payload: Enter)",
                   "accessory.get_serial_number()",
                   "log.error(CameraInventoryMetricsImpl: build_accessory_payload: accessory "
                   "serial number is empty.)"}));
}

TEST_F(InventoryDocumentTest, MetricWithoutAccessoryBuildsNoDocument) {
  korrin::metrics::HeadsetInventoryMetrics metric(nullptr, "Bare");
  EXPECT_EQ(metric.assemble_metrics(), "");
  EXPECT_EQ(host.log.texts().back(),
            "Bare: assemble_metrics[LIB-ERR]: Building accessory payload failed");
}

// ---- allocation failures inside cJSON -------------------------------------

// cJSON allocation hooks that count live blocks and fail on demand.
struct CjsonFaults {
  static bool fail_next;
  static std::size_t fail_from_size;
  static int live;
  static int failures;
  static void* allocate(std::size_t size) {
    if (fail_next || size >= fail_from_size) {
      fail_next = false;
      ++failures;
      return nullptr;
    }
    void* block = std::malloc(size);
    if (block != nullptr) {
      ++live;
    }
    return block;
  }
  static void release(void* block) {
    if (block != nullptr) {
      --live;
    }
    std::free(block);
  }
};
bool CjsonFaults::fail_next = false;
std::size_t CjsonFaults::fail_from_size = SIZE_MAX;
int CjsonFaults::live = 0;
int CjsonFaults::failures = 0;

// Passes records on and makes the next cJSON allocation fail after `trigger`.
class ArmingLogSink : public korrin::log::HostLogInterface {
 public:
  ArmingLogSink(korrin::log::HostLogInterface* inner, std::string trigger)
      : inner_(inner), trigger_(std::move(trigger)) {}
  void write_record(korrin::log::LogLevel level, const std::string& text) override {
    inner_->write_record(level, text);
    if (text == trigger_) {
      CjsonFaults::fail_next = true;
    }
  }

 private:
  korrin::log::HostLogInterface* inner_;
  std::string trigger_;
};

class InventoryAllocationTest : public InventoryDocumentTest {
 protected:
  void SetUp() override {
    InventoryDocumentTest::SetUp();
    CjsonFaults::fail_next = false;
    CjsonFaults::fail_from_size = SIZE_MAX;
    CjsonFaults::live = 0;
    CjsonFaults::failures = 0;
    cJSON_Hooks hooks{&CjsonFaults::allocate, &CjsonFaults::release};
    cJSON_InitHooks(&hooks);
  }
  void TearDown() override {
    cJSON_InitHooks(nullptr);
    InventoryDocumentTest::TearDown();
  }
  // Routes the host's log sink through a sink that arms a failure after `trigger`.
  void fail_allocation_after(const std::string& trigger) {
    sink = std::make_unique<ArmingLogSink>(&host.log, trigger);
    korrin::Plugins table = host.table();
    table.log = sink.get();
    korrin::init(table);
  }
  std::unique_ptr<ArmingLogSink> sink;
};

TEST_F(InventoryAllocationTest, EnvelopeThatCannotBeCreatedGivesNoDocument) {
  fail_allocation_after("HeadsetInventoryMetricsImpl: build_envelop: Enter");
  MetricHandle metric = metric_for(maker_headset_with_dock());
  EXPECT_EQ(inventory(metric).assemble_metrics(), "");
  EXPECT_EQ(CjsonFaults::failures, 1);
  EXPECT_EQ(CjsonFaults::live, 0);
  EXPECT_EQ(host.calls.all(),
            (Lines{"log.notice(HeadsetInventoryMetricsImpl: assemble_metrics: Enter)",
                   "log.notice(HeadsetInventoryMetricsImpl: build_envelop: Enter)",
                   "log.error(HeadsetInventoryMetricsImpl: assemble_metrics[LIB-ERR]: Envelop "
                   "build failed)"}));
}

TEST_F(InventoryAllocationTest, HostPayloadThatCannotBeCreatedGivesNoDocumentAndFreesTheTree) {
  fail_allocation_after("HeadsetInventoryMetricsImpl: build_host_payload: Enter");
  MetricHandle metric = metric_for(maker_headset_with_dock());
  EXPECT_EQ(inventory(metric).assemble_metrics(), "");
  EXPECT_EQ(CjsonFaults::failures, 1);
  EXPECT_EQ(CjsonFaults::live, 0);
  EXPECT_EQ(host.calls.all(),
            (Lines{"log.notice(HeadsetInventoryMetricsImpl: assemble_metrics: Enter)",
                   "log.notice(HeadsetInventoryMetricsImpl: build_envelop: Enter)",
                   "accessory.is_vendor_headset()",
                   "log.notice(HeadsetInventoryMetricsImpl: build_host_payload: Enter)",
                   "log.error(HeadsetInventoryMetricsImpl: assemble_metrics[LIB-ERR]: Building "
                   "host payload failed)"}));
}

TEST_F(InventoryAllocationTest, PrintFailureGivesNoDocumentAndFreesTheTree) {
  MetricHandle metric = metric_for(maker_headset_with_dock());
  // Every node and string of the tree is small; the printer's first buffer is not.
  CjsonFaults::fail_from_size = 256;
  EXPECT_EQ(inventory(metric).assemble_metrics(), "");
  EXPECT_EQ(CjsonFaults::failures, 1);
  EXPECT_EQ(CjsonFaults::live, 0);
  const Lines records = host.calls.starting_with("log.");
  ASSERT_FALSE(records.empty());
  EXPECT_EQ(records.back(),
            "log.error(HeadsetInventoryMetricsImpl: assemble_metrics[LIB-ERR]: JSON was not "
            "formed correctly)");
  EXPECT_EQ(host.log.texts_containing("success").size(), 0u);
}

TEST_F(InventoryAllocationTest, FailedDocumentsFreeEveryPartialTree) {
  // Without a serial number the tree is built up to the accessory payload.
  AccessoryData data = maker_headset_with_dock();
  data.serial_number.clear();
  MetricHandle metric = metric_for(data);
  EXPECT_EQ(inventory(metric).assemble_metrics(), "");
  EXPECT_EQ(CjsonFaults::failures, 0);
  EXPECT_EQ(CjsonFaults::live, 0);
}

}  // namespace
