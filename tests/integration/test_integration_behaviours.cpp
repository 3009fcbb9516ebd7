// Behaviours the library keeps on purpose that a host has to plan for, each
// with what the host sees (device calls, records) and the remedy the
// integration guide (docs/integrating.md, "Behaviours to plan for") gives.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/fake_host.h"

namespace {

using korrin::config::ConfigManager;
using korrin::config::ConfigManagerImpl;
using korrin::dispatcher::FETCH_DONE;
using korrin::dispatcher::FETCH_PENDING;
using korrin::dispatcher::FETCH_UNAVAILABLE;
using korrin_test::AccessoryData;
using korrin_test::FakeHost;
using Lines = std::vector<std::string>;

// A template with a time and a setting, but no "modelFirmware" for the
// headset's model: the firmware step fails, so the document is rejected.
const std::string kRejectedDocument = R"({"templateConfiguration": {
  "updatedTime": 1720000000,
  "commonSettings": [{"name": "ringerVolume", "usageId": 101, "value": 5, "access": "Admin"}],
  "modelSpecificSettings": [{"models": ["Zelor H-5"]}]}})";

// Two dual settings: 105 follows the user's own value, 106 is configured.
const std::string kDualDocument = R"({"templateConfiguration": {
  "updatedTime": 1730000000,
  "commonSettings": [
    {"name": "sidetone_Admin", "usageId": 105, "value": 255, "access": "Both"},
    {"name": "sidetone_User", "usageId": 105, "value": 2, "access": "Both"},
    {"name": "muteReminder_Admin", "usageId": 106, "value": 0, "access": "Both"},
    {"name": "muteReminder_User", "usageId": 106, "value": 1, "access": "Both"}],
  "modelSpecificSettings": [{"models": ["Zelor H-5"], "modelFirmware": [
    {"firmwareName": "h5", "firmwareVersion": "current", "firmwareParams": [
      {"name": "ringerVolume", "usageId": 101, "value": 5, "access": "Admin"}]}]}]}})";

AccessoryData headset(const std::string& serial) {
  AccessoryData data;
  data.serial_number = serial;
  data.dock_serial_number = "DK-1";
  data.dock_model = "Zelor Dock 5";
  return data;
}

class IntegrationBehaviourTest : public ::testing::Test {
 protected:
  void SetUp() override {
    korrin::Plugins table = host.table();
    ASSERT_TRUE(korrin::init(table));
    manager = korrin::config::create_config_manager();
  }
  void TearDown() override {
    host.dispatcher.clear();
    korrin::config::delete_config_manager();
    korrin_test::uninstall_plugins();
  }

  // Connects a headset; its configure request is queued, not yet run.
  void connect(const std::string& id, const std::string& serial = "SN0000001") {
    auto description = host.accessory(headset(serial));
    ASSERT_EQ(manager->initialize_accessory(id, description.get()), id);
  }

  Lines records_at(korrin::log::LogLevel level) const {
    Lines out;
    for (const auto& record : host.log.records()) {
      if (record.level == level) {
        out.push_back(record.text);
      }
    }
    return out;
  }

  FakeHost host;
  ConfigManager* manager = nullptr;
};

TEST_F(IntegrationBehaviourTest, ARejectedDocumentStillRecordsItsTimeAndThatStampIsSkipped) {
  connect("hs-1");
  host.network.queue_fetch_answer(FETCH_DONE, kRejectedDocument);
  EXPECT_EQ(host.dispatcher.run_all(), 1);
  EXPECT_EQ(host.calls.starting_with("device."), Lines{"device.report_config_failure(hs-1, 1)"});
  EXPECT_EQ(records_at(korrin::log::LogLevel::error),
            Lines{"Lib::ConfigManagerImpl: on_fetch_config_success: unable to update config "
                  "retrieved from server in library"});
  EXPECT_EQ(host.log.texts_containing("Parsing remote config failed"),
            Lines{"HeadsetConfigImpl: update_from_server: Parsing remote config failed."});

  // The host announces the version it was told about: the library skips it.
  host.calls.clear();
  host.log.clear();
  EXPECT_FALSE(manager->configure_accessory("hs-1", "v-1720000000"));
  EXPECT_EQ(host.dispatcher.size(), 0u);
  EXPECT_EQ(host.log.texts_containing("not"),
            (Lines{"HeadsetConfigImpl: is_config_required: Version timestamp is same, do not "
                   "configure",
                   "Lib::ConfigManagerImpl: configure_accessory: Config not required."}));

  // Remedy: an empty stamp always asks again, for this accessory alone.
  EXPECT_TRUE(manager->configure_accessory("hs-1", ""));
  EXPECT_EQ(host.dispatcher.size(), 1u);
  host.network.queue_fetch_answer(FETCH_UNAVAILABLE);  // ends the request
  EXPECT_EQ(host.dispatcher.run_all(), 1);

  // Refreshing the description forgets the time: the same stamp is asked again.
  auto description = host.accessory(headset("SN0000001"));
  EXPECT_EQ(manager->initialize_accessory("hs-1", description.get()), "hs-1");
  host.network.queue_fetch_answer(FETCH_UNAVAILABLE);  // ends the request
  EXPECT_EQ(host.dispatcher.run_all(), 1);
  EXPECT_TRUE(manager->configure_accessory("hs-1", "v-1720000000"));
}

TEST_F(IntegrationBehaviourTest, TheLastAsynchronousRetryEndsWithARecordOnly) {
  connect("hs-1");
  for (int attempt = 0; attempt < 3; ++attempt) {
    host.network.queue_fetch_answer(FETCH_PENDING);
  }
  EXPECT_EQ(host.dispatcher.run_all(), 1);
  EXPECT_TRUE(manager->on_fetch_config_failure(500));
  EXPECT_EQ(host.dispatcher.run_all(), 1);
  EXPECT_TRUE(manager->on_fetch_config_failure(500));
  EXPECT_EQ(host.dispatcher.run_all(), 1);
  host.log.clear();
  EXPECT_FALSE(manager->on_fetch_config_failure(500));

  // Three attempts, each reported pending; no failure report at the end.
  EXPECT_EQ(host.calls.starting_with("device."),
            (Lines{"device.report_config_pending(hs-1, 2)", "device.report_config_pending(hs-1, 2)",
                   "device.report_config_pending(hs-1, 2)"}));
  EXPECT_EQ(records_at(korrin::log::LogLevel::error),
            Lines{"Lib::ConfigManagerImpl: on_fetch_config_failure : retry limit reached, abort"});
  EXPECT_FALSE(ConfigManagerImpl::get_instance()->is_configure_accessory_pending());
}

TEST_F(IntegrationBehaviourTest, ASynchronousFailureIsReportedAtOnceAndNotRetried) {
  connect("hs-1");
  host.network.queue_fetch_answer(FETCH_UNAVAILABLE);
  EXPECT_EQ(host.dispatcher.run_all(), 1);
  EXPECT_EQ(host.calls.starting_with("device."), Lines{"device.report_config_failure(hs-1, 1)"});
  EXPECT_EQ(host.log.texts_containing("unable"),
            Lines{"Lib::ConfigManagerImpl: configure_accessory_task: currently unable to fetch "
                  "config"});
  EXPECT_EQ(host.dispatcher.size(), 0u);
  EXPECT_EQ(host.network.fetches().size(), 1u);
  EXPECT_FALSE(ConfigManagerImpl::get_instance()->is_configure_accessory_pending());
}

TEST_F(IntegrationBehaviourTest, WithOneServerARetryFetchesTheTemplateAsItStands) {
  host.system_info.config_servers = {"10.0.0.5"};
  connect("hs-1");
  host.network.queue_fetch_answer(FETCH_PENDING);
  host.network.queue_fetch_answer(FETCH_PENDING);
  EXPECT_EQ(host.dispatcher.run_all(), 1);
  EXPECT_TRUE(manager->on_fetch_config_failure(7));
  host.log.clear();
  EXPECT_EQ(host.dispatcher.run_all(), 1);

  const auto fetches = host.network.fetches();
  ASSERT_EQ(fetches.size(), 2u);
  EXPECT_EQ(fetches[0].url, "http://10.0.0.5/config/user-7.json");
  EXPECT_EQ(fetches[1].url, "http://{tftp}/config/{userid}.json");
  EXPECT_EQ(records_at(korrin::log::LogLevel::warning),
            Lines{": get_config_url[PLUGIN-ERR] no config servers found, returning"});
}

TEST_F(IntegrationBehaviourTest, FollowUserCallsNameNoAccessoryButTheStoredSettingsDo) {
  connect("hs-1", "SN0000001");
  connect("hs-2", "SN0000002");
  host.network.queue_fetch_answer(FETCH_DONE, kDualDocument);
  host.calls.clear();
  EXPECT_EQ(host.dispatcher.run_all(), 1);

  // Two accessories, the same two calls each: nothing tells them apart.
  EXPECT_EQ(host.calls.starting_with("device.set_follow_user_config"),
            (Lines{"device.set_follow_user_config(105, true)",
                   "device.set_follow_user_config(106, false)",
                   "device.set_follow_user_config(105, true)",
                   "device.set_follow_user_config(106, false)"}));
  // Remedy: each accessory's stored dual settings; 255 means "follows the user".
  for (const char* id : {"hs-1", "hs-2"}) {
    const auto settings = manager->retrieve_config(id);
    ASSERT_EQ(settings.size(), 3u) << id;
    EXPECT_EQ(settings.at(105).access, "Both");
    EXPECT_EQ(settings.at(105).value, "255");
    EXPECT_EQ(settings.at(106).access, "Both");
    EXPECT_EQ(settings.at(106).value, "0");
  }
}

TEST_F(IntegrationBehaviourTest, OperationsBeyondTheInterfaceAreOnTheSameManager) {
  ConfigManagerImpl* impl = ConfigManagerImpl::get_instance();
  EXPECT_EQ(static_cast<ConfigManager*>(impl), manager);
  connect("hs-1");
  EXPECT_TRUE(impl->is_configure_accessory_pending());
  EXPECT_EQ(impl->get_number_of_pending_configs(), 1);
  EXPECT_TRUE(impl->update_config_from_host("hs-1", "ringerVolume", 101, "4"));
  EXPECT_EQ(manager->retrieve_config("hs-1", 101), "4");
  EXPECT_FALSE(impl->update_config_from_host("hs-unknown", "ringerVolume", 101, "4"));
}

TEST_F(IntegrationBehaviourTest, SomeRecordsBelowWarningCarryAnErrorTag) {
  connect("hs-1");
  host.log.clear();
  EXPECT_FALSE(manager->configure_accessory("hs-1", "nodash"));
  EXPECT_EQ(records_at(korrin::log::LogLevel::info),
            Lines{"HeadsetConfigImpl: is_config_required[QELM-ERR]: Version timestamp is "
                  "incorrectly formatted. Do not configure."});

  // A successful inventory send logs its progress at info, tagged [LIB-ERR].
  host.dispatcher.clear();
  auto description = host.accessory(headset("SN0000001"));
  korrin::metrics::MetricsInterface* metric = create_metric(description.get());
  ASSERT_NE(metric, nullptr);
  metric->send();
  delete_metric(metric);
  host.log.clear();
  EXPECT_EQ(host.dispatcher.run_all(), 1);
  EXPECT_EQ(host.network.posts().size(), 1u);
  EXPECT_EQ(host.log.texts_containing("[LIB-ERR]"),
            (Lines{"InventoryMetric: send_metric[LIB-ERR]: ENTER",
                   "InventoryMetric: send_metric[LIB-ERR]: metric param cast done",
                   "InventoryMetric: send_metric[LIB-ERR]: metric object created",
                   "InventoryMetric: send_metric[LIB-ERR]: metric sent"}));
  EXPECT_TRUE(records_at(korrin::log::LogLevel::error).empty());
  EXPECT_TRUE(records_at(korrin::log::LogLevel::warning).empty());
}

}  // namespace
