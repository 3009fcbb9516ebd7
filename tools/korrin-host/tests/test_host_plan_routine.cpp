// The records a plan does not count as warnings although they look like
// problems: each is produced here by the real library on in-memory host
// components in an ordinary run, so the list stays true to what the library
// logs. Records of the same look in other circumstances keep counting.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "korrin/config_manager.h"
#include "korrin/host/lock_factory.h"
#include "korrin/host/log_sink.h"
#include "korrin/metrics.h"
#include "korrin/plugins.h"
#include "korrin_host/accessory.h"
#include "korrin_host/device_calls.h"
#include "korrin_host/document_network.h"
#include "korrin_host/inline_dispatcher.h"
#include "korrin_host/log_capture.h"
#include "korrin_host/system_info.h"
#include "korrin_plan/warnings.h"

namespace {

using korrin_host::AccessoryFacts;
using korrin_host::LogRecord;

// The library installed on in-memory components for one test.
class InMemoryHost {
 public:
  InMemoryHost() : network_("{}"), system_info_(host_facts()) {
    korrin::Plugins table{&log_, &network_, &device_, &system_info_, &dispatcher_, &locks_};
    korrin::init(table);
  }
  InMemoryHost(const InMemoryHost&) = delete;
  InMemoryHost& operator=(const InMemoryHost&) = delete;
  ~InMemoryHost() {
    // No task may outlive the library's state: a queued configure request
    // holds a configuration object that needs the plugin table to go.
    dispatcher_.run_queued();
    korrin::config::delete_config_manager();
    korrin::globals::plugins = korrin::Plugins();
  }

  korrin_host::LogCapture& log() { return log_; }
  korrin_host::InlineDispatcher& dispatcher() { return dispatcher_; }
  const korrin_host::DocumentNetwork& network() const { return network_; }

 private:
  static korrin_host::HostFacts host_facts() {
    korrin_host::HostFacts facts;
    facts.client = "routine-records test";
    facts.host_os_version = "Test OS 1";
    facts.host_os_version_given = true;
    facts.inventory_url = "http://127.0.0.1:9/inventory";
    return facts;
  }

  korrin_host::LogCapture log_;
  korrin_host::DocumentNetwork network_;
  korrin_host::DeviceCallLog device_;
  korrin_host::SystemInfo system_info_;
  korrin_host::InlineDispatcher dispatcher_;
  korrin::host::LockFactory locks_;
};

AccessoryFacts headset(const std::string& dock_serial, const std::string& dock_model) {
  AccessoryFacts facts;
  facts.id = "hs-routine-01";
  facts.type = 1;
  facts.vendor = "Zelor";
  facts.model = "Zelor H-5";
  facts.serial_number = "ZH5B2231907";
  facts.firmware_version = "2-3-1";
  facts.dock_serial_number = dock_serial;
  facts.dock_model = dock_model;
  facts.connection_type = "USB";
  facts.connection_status = "connected";
  return facts;
}

korrin_host::Accessory accessory_of(const AccessoryFacts& facts) {
  return korrin_host::Accessory(std::make_shared<const AccessoryFacts>(facts),
                                korrin_host::Accessory::Clock::now(), 1.0);
}

// The records of one inventory send of `facts`, run to the end.
std::vector<LogRecord> inventory_records(const AccessoryFacts& facts) {
  InMemoryHost host;
  korrin_host::Accessory accessory = accessory_of(facts);
  korrin::metrics::MetricsInterface* metric = create_metric(&accessory);
  EXPECT_TRUE(metric->send());
  EXPECT_EQ(host.dispatcher().run_queued(), 1);
  delete_metric(metric);
  EXPECT_EQ(host.network().posts().size(), 1U);
  return host.log().records();
}

std::vector<std::string> texts_of(const std::vector<LogRecord>& records) {
  std::vector<std::string> texts;
  for (const LogRecord& record : records) {
    texts.push_back(std::string(korrin::host::level_name(record.level)) + " " + record.text);
  }
  return texts;
}

TEST(HostPlanRoutineRecords, ANewAccessorysLookupIsRoutine) {
  InMemoryHost host;
  const AccessoryFacts facts = headset("DK-77120", "Zelor Dock 5");
  korrin_host::Accessory accessory = accessory_of(facts);
  korrin::config::ConfigManagerImpl::get_instance()->initialize_accessory(facts.id, &accessory);
  const std::vector<LogRecord> records = host.log().records();

  const std::vector<std::string> routine = {
      "warning Lib::ConfigManagerImpl: get_config_object: Cannot find config object"};
  EXPECT_EQ(texts_of(korrin_plan::routine_records_of(records, facts)), routine);
  EXPECT_EQ(texts_of(korrin_plan::warnings_of(records, facts)), std::vector<std::string>());
  EXPECT_EQ(korrin_plan::routine_reason(records.at(1), facts),
            "logged for every new accessory: initialize_accessory() looks the id up before "
            "creating its configuration object");
}

TEST(HostPlanRoutineRecords, AnInventorySendOfADocklessAccessoryHasNoWarnings) {
  const AccessoryFacts facts = headset("", "");
  const std::vector<LogRecord> records = inventory_records(facts);

  const std::vector<std::string> routine = {
      "info InventoryMetric: send_metric[LIB-ERR]: ENTER",
      "info InventoryMetric: send_metric[LIB-ERR]: metric param cast done",
      "info InventoryMetric: send_metric[LIB-ERR]: metric object created",
      "error HeadsetInventoryMetricsImpl: build_dock_payload: Dock serial number is empty.",
      "error HeadsetInventoryMetricsImpl: assemble_metrics[LIB-ERR]: Building dock payload failed",
      "info InventoryMetric: send_metric[LIB-ERR]: metric sent",
  };
  EXPECT_EQ(texts_of(korrin_plan::routine_records_of(records, facts)), routine);
  EXPECT_EQ(texts_of(korrin_plan::warnings_of(records, facts)), std::vector<std::string>());
  // Without the classification every one of them would count.
  EXPECT_EQ(texts_of(korrin_plan::warnings_of(records)), routine);
}

TEST(HostPlanRoutineRecords, AnInventorySendWithADockLogsNoDockRecords) {
  const AccessoryFacts facts = headset("DK-77120", "Zelor Dock 5");
  const std::vector<LogRecord> records = inventory_records(facts);

  const std::vector<std::string> routine = {
      "info InventoryMetric: send_metric[LIB-ERR]: ENTER",
      "info InventoryMetric: send_metric[LIB-ERR]: metric param cast done",
      "info InventoryMetric: send_metric[LIB-ERR]: metric object created",
      "info InventoryMetric: send_metric[LIB-ERR]: metric sent",
  };
  EXPECT_EQ(texts_of(korrin_plan::routine_records_of(records, facts)), routine);
  EXPECT_EQ(texts_of(korrin_plan::warnings_of(records, facts)), std::vector<std::string>());
}

TEST(HostPlanRoutineRecords, ADockWithoutSerialNumberStillCounts) {
  // The host names a dock but no serial number for it: that is a problem of
  // the host's description, not the ordinary missing dock.
  const AccessoryFacts facts = headset("", "Zelor Dock 5");
  const std::vector<LogRecord> records = inventory_records(facts);

  const std::vector<std::string> warnings = {
      "error HeadsetInventoryMetricsImpl: build_dock_payload: Dock serial number is empty.",
      "error HeadsetInventoryMetricsImpl: assemble_metrics[LIB-ERR]: Building dock payload failed",
  };
  EXPECT_EQ(texts_of(korrin_plan::warnings_of(records, facts)), warnings);
}

TEST(HostPlanRoutineRecords, OnlyTheExactLevelAndTextAreRoutine) {
  const AccessoryFacts facts = headset("", "");
  const std::vector<LogRecord> still_warnings = {
      // Another level than the library's.
      {korrin::log::error, "InventoryMetric: send_metric[LIB-ERR]: ENTER"},
      // Another record of the same function.
      {korrin::log::error, "InventoryMetric: send_metric[LIB-ERR]: no task parameters"},
      {korrin::log::info, "InventoryMetric: send_metric[LIB-ERR]: metric IS NULL"},
      // The same words quoted inside another record.
      {korrin::log::error, "X: f: get_config_object: Cannot find config object"},
  };
  EXPECT_EQ(korrin_plan::warnings_of(still_warnings, facts), still_warnings);
  EXPECT_EQ(korrin_plan::routine_records_of(still_warnings, facts), std::vector<LogRecord>());
}

}  // namespace
