// The simulated accessory store: what it records, its report and its JSON.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "korrin_host/device_store.h"

namespace {

using korrin_host::AccessoryRecord;
using korrin_host::AppliedSetting;
using korrin_host::DeviceStore;
using korrin_host::FirmwareRequest;

std::string printed(const DeviceStore& store) {
  cJSON* tree = store.to_json();
  char* text = cJSON_PrintUnformatted(tree);
  std::string result = text;
  cJSON_free(text);
  cJSON_Delete(tree);
  return result;
}

TEST(HostDeviceStore, RecordsSettingsInOrderAndWhatEachUsageIdNowCarries) {
  DeviceStore store;
  store.apply_setting("h1", "volume", 5, "7");
  store.apply_setting("h1", "tone", 12, "3");
  store.apply_setting("h1", "volume", 5, "9");
  const AccessoryRecord record = store.record("h1");
  EXPECT_EQ(record.applied, (std::vector<AppliedSetting>{
                                {"volume", 5, "7"}, {"tone", 12, "3"}, {"volume", 5, "9"}}));
  ASSERT_EQ(record.carried.size(), 2u);
  EXPECT_EQ(record.carried.at(5), (AppliedSetting{"volume", 5, "9"}));
  EXPECT_EQ(record.carried.at(12), (AppliedSetting{"tone", 12, "3"}));
}

TEST(HostDeviceStore, KeepsAccessoriesApart) {
  DeviceStore store;
  store.apply_setting("h1", "volume", 5, "7");
  store.apply_setting("c1", "zoom", 40, "2");
  EXPECT_EQ(store.record("h1").applied.size(), 1u);
  EXPECT_EQ(store.record("c1").applied, (std::vector<AppliedSetting>{{"zoom", 40, "2"}}));
  EXPECT_TRUE(store.record("other").applied.empty());
  EXPECT_EQ(store.accessory_ids(), (std::vector<std::string>{"c1", "h1"}));
}

TEST(HostDeviceStore, AnswersFirmwareRequestsAsConfiguredAndRecordsThem) {
  DeviceStore accepting;
  EXPECT_TRUE(accepting.request_firmware_upgrade("h1", "1-3-0", "fw.bin"));
  EXPECT_EQ(accepting.record("h1").firmware_requests,
            (std::vector<FirmwareRequest>{{"1-3-0", "fw.bin", true}}));
  DeviceStore refusing(false);
  EXPECT_FALSE(refusing.request_firmware_upgrade("h1", "1-3-0", "fw.bin"));
  EXPECT_EQ(refusing.record("h1").firmware_requests,
            (std::vector<FirmwareRequest>{{"1-3-0", "fw.bin", false}}));
}

TEST(HostDeviceStore, RecordsDelegationsReportsAndFollowUserFlags) {
  DeviceStore store;
  store.delegate_upgrade("h2");
  store.report_config_pending("", 2);
  store.report_config_failure("h2", 1);
  store.set_follow_user_config(12, true);
  store.set_follow_user_config(21, false);
  store.set_follow_user_config(12, false);
  EXPECT_EQ(store.record("h2").delegated_upgrades, 1);
  EXPECT_EQ(store.record("h2").config_failures, std::vector<int>{1});
  EXPECT_EQ(store.record("").config_pending, std::vector<int>{2});
  EXPECT_EQ(store.follow_user(), (std::map<int, bool>{{12, false}, {21, false}}));
  EXPECT_EQ(store.events(),
            (std::vector<std::string>{
                "delegate_upgrade(h2)", "report_config_pending(, 2)",
                "report_config_failure(h2, 1)", "set_follow_user_config(12, true)",
                "set_follow_user_config(21, false)", "set_follow_user_config(12, false)"}));
  EXPECT_EQ(store.activity(), 6u);
}

TEST(HostDeviceStore, DescribesTheFirmwareDecision) {
  AccessoryRecord record;
  EXPECT_EQ(korrin_host::describe_firmware(record), "no upgrade requested");
  record.delegated_upgrades = 1;
  EXPECT_EQ(korrin_host::describe_firmware(record), "upgrade delegated to the host's driver");
  record.delegated_upgrades = 2;
  record.firmware_requests.push_back({"1-3-0", "fw.bin", false});
  EXPECT_EQ(korrin_host::describe_firmware(record),
            "upgrade to 1-3-0 requested (firmware name fw.bin), host refused; upgrade delegated "
            "to the host's driver (2 times)");
}

TEST(HostDeviceStore, TheReportListsAccessoriesInTheGivenOrderThenTheRest) {
  DeviceStore store;
  store.apply_setting("h1", "volume", 5, "7");
  store.apply_setting("h1", "noiseCancelling", 20, "high");
  store.request_firmware_upgrade("h1", "1-3-0", "zelor-h9-1-3-0.bin");
  store.delegate_upgrade("h2");
  store.report_config_failure("", 1);
  store.report_config_pending("", 2);
  store.set_follow_user_config(12, true);
  store.set_follow_user_config(21, false);
  EXPECT_EQ(store.report({"h2", "c1", "h1"}),
            "Device state\n"
            "  h2\n"
            "    settings applied, in order: none\n"
            "    firmware: upgrade delegated to the host's driver\n"
            "  c1\n"
            "    settings applied, in order: none\n"
            "    firmware: no upgrade requested\n"
            "  h1\n"
            "    settings applied, in order:\n"
            "      volume (usage 5) = 7\n"
            "      noiseCancelling (usage 20) = high\n"
            "    firmware: upgrade to 1-3-0 requested (firmware name zelor-h9-1-3-0.bin), host "
            "accepted\n"
            "  (every waiting accessory)\n"
            "    configuration failure reported (code 1)\n"
            "    configuration pending reported (code 2)\n"
            "  follow-user flags: 12=user 21=configured\n");
}

TEST(HostDeviceStore, AnEmptyStoreReportsNoFlags) {
  DeviceStore store;
  EXPECT_EQ(store.report(), "Device state\n  follow-user flags: none\n");
  EXPECT_EQ(printed(store), "{\"accessories\":{},\"followUser\":[]}");
}

TEST(HostDeviceStore, TheJsonHoldsEveryRecord) {
  DeviceStore store;
  store.apply_setting("h1", "volume", 5, "7");
  store.apply_setting("h1", "volume", 5, "8");
  store.request_firmware_upgrade("h1", "1-3-0", "fw.bin");
  store.report_config_failure("h1", 1);
  store.report_config_pending("", 2);
  store.set_follow_user_config(12, true);
  EXPECT_EQ(printed(store),
            "{\"accessories\":{"
            "\"\":{\"appliedSettings\":[],\"settings\":[],\"firmwareRequests\":[],"
            "\"delegatedUpgrades\":0,\"configFailures\":[],\"configPending\":[2]},"
            "\"h1\":{\"appliedSettings\":[{\"key\":\"volume\",\"usageId\":5,\"value\":\"7\"},"
            "{\"key\":\"volume\",\"usageId\":5,\"value\":\"8\"}],"
            "\"settings\":[{\"key\":\"volume\",\"usageId\":5,\"value\":\"8\"}],"
            "\"firmwareRequests\":[{\"version\":\"1-3-0\",\"name\":\"fw.bin\",\"accepted\":true}],"
            "\"delegatedUpgrades\":0,\"configFailures\":[1],\"configPending\":[]}},"
            "\"followUser\":[{\"usageId\":12,\"follow\":true}]}");
}

TEST(HostDeviceStore, CallsFromManyThreadsAreAllRecorded) {
  DeviceStore store;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&store, t] {
      for (int i = 0; i < 250; ++i) {
        store.apply_setting("h" + std::to_string(t), "k", i, std::to_string(i));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (int t = 0; t < 4; ++t) {
    const AccessoryRecord record = store.record("h" + std::to_string(t));
    ASSERT_EQ(record.applied.size(), 250u);
    for (int i = 0; i < 250; ++i) {
      EXPECT_EQ(record.applied[static_cast<std::size_t>(i)].usage_id, i);
    }
  }
  EXPECT_EQ(store.events().size(), 1000u);
}

}  // namespace
