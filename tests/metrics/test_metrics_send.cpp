// Sending an inventory: queuing by send(), the task body send_metric, the
// post made by send_task, and routing of inventory tasks by task_forwarder.
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/fake_host.h"
#include "support/installed_host_test.h"
#include "support/inventory_json.h"
#include "support/library_handles.h"
#include "support/lines.h"

namespace {

using korrin::metrics::InventoryMetric;
using korrin::metrics::MetricsInterface;
using korrin::metrics::SendMetricsParams;
using korrin_test::AccessoryData;
using korrin_test::concat;
using korrin_test::FakeAccessory;
using korrin_test::MetricHandle;
using Lines = std::vector<std::string>;

AccessoryData headset_with_dock() {
  AccessoryData data;
  data.dock_serial_number = "DOCK-1";
  data.dock_model = "Zelor D-1";
  return data;
}

// What the host sees while a maker's headset with a dock is assembled.
const Lines kAssembleCalls = {
    "log.notice(HeadsetInventoryMetricsImpl: assemble_metrics: Enter)",
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
    "log.notice(HeadsetInventoryMetricsImpl: assemble_metrics: success)",
};

// Type-1 parameters of another kind than the library's own.
class ForeignParams : public korrin::TaskParametersInterface {
 public:
  korrin::TaskParametersInterface* clone() const override { return new ForeignParams(); }
  int get_type() const override { return 1; }
  int check_status() override { return 1; }
  int get_timeout() const override { return 0; }
  int get_defer_time() const override { return 0; }
};

class MetricsSendTest : public korrin_test::InstalledHostTest {
 protected:
  void TearDown() override {
    host.dispatcher.clear();
    korrin_test::InstalledHostTest::TearDown();
  }
  // Parameters as send() makes them, owning an accessory that records into host.calls.
  std::unique_ptr<SendMetricsParams> params_for(const AccessoryData& data) {
    return std::make_unique<SendMetricsParams>(new FakeAccessory(data, &host.calls), 0, 120);
  }
};

// ---- send() -----------------------------------------------------------------

TEST_F(MetricsSendTest, SendReturnsTrueAndQueuesOneInventoryTask) {
  auto accessory = host.accessory(AccessoryData{});
  MetricHandle metric(create_metric(accessory.get()));
  host.calls.clear();

  EXPECT_TRUE(metric->send());
  EXPECT_EQ(host.calls.all(),
            (Lines{"log.notice(HeadsetInventoryMetricsImpl: send: Enter)", "accessory.clone()",
                   "task_dispatcher.add_task(type=1, defer=0, timeout=120)", "accessory.clone()"}));
  ASSERT_EQ(host.dispatcher.size(), 1u);
  const korrin_test::QueuedTask& task = host.dispatcher.at(0);
  EXPECT_EQ(task.function, &korrin::task_forwarder);
  EXPECT_EQ(task.context, static_cast<void*>(metric.get()));
  auto* params = dynamic_cast<SendMetricsParams*>(task.params.get());
  ASSERT_NE(params, nullptr);
  EXPECT_EQ(params->get_type(), 1);
  EXPECT_EQ(params->get_timeout(), 120);
  EXPECT_EQ(params->get_defer_time(), 0);
  EXPECT_NE(params->accessory, nullptr);
  // The host's accessory, the metric's clone and the queued clone: the stack
  // parameters of send() released theirs.
  EXPECT_EQ(FakeAccessory::live(), live_at_start + 3);
}

TEST_F(MetricsSendTest, EachSendQueuesItsOwnTask) {
  auto accessory = host.accessory(AccessoryData{});
  MetricHandle metric(create_metric(accessory.get()));
  EXPECT_TRUE(metric->send());
  EXPECT_TRUE(metric->send());
  EXPECT_EQ(host.dispatcher.size(), 2u);
  metric.reset();
  accessory.reset();
  EXPECT_EQ(host.dispatcher.run_all(), 2);
  EXPECT_EQ(host.network.posts().size(), 2u);
}

TEST_F(MetricsSendTest, MetricWithoutAccessoryQueuesATaskThatIsDropped) {
  korrin::metrics::HeadsetInventoryMetrics metric(nullptr, "Bare");
  EXPECT_TRUE(metric.send());
  EXPECT_EQ(host.calls.all(), (Lines{"log.notice(Bare: send: Enter)",
                                     "task_dispatcher.add_task(type=1, defer=0, timeout=120)"}));
  EXPECT_EQ(host.dispatcher.run_next(), 3);
  EXPECT_TRUE(host.network.posts().empty());
}

// ---- the whole host sequence ------------------------------------------------

TEST_F(MetricsSendTest, WholeHostSequencePostsOnceAndLeaksNothing) {
  auto accessory = host.accessory(headset_with_dock());
  MetricsInterface* metric = create_metric(accessory.get());
  EXPECT_TRUE(metric->send());
  delete_metric(metric);
  accessory.reset();  // every stage keeps its own clone

  EXPECT_EQ(host.dispatcher.run_next(), 1);
  EXPECT_EQ(host.dispatcher.size(), 0u);
  EXPECT_EQ(FakeAccessory::live(), live_at_start);

  const auto posts = host.network.posts();
  ASSERT_EQ(posts.size(), 1u);
  EXPECT_EQ(posts[0].requester, "INVENTORY");
  EXPECT_EQ(posts[0].method, "POST");
  EXPECT_EQ(posts[0].url, "https://10.0.0.5/inventory");
  EXPECT_EQ(posts[0].flags, 0);
  EXPECT_EQ(posts[0].extra, "");
  korrin_test::JsonTree document = korrin_test::parse_json(posts[0].body);
  ASSERT_NE(document, nullptr);
  const cJSON* key = cJSON_GetObjectItemCaseSensitive(document.get(), "key");
  ASSERT_TRUE(cJSON_IsString(key));
  EXPECT_STREQ(key->valuestring, "headsetInventory");

  EXPECT_EQ(host.calls.all(),
            concat({{"accessory.get_accessory_type()", "accessory.clone()",
                     "log.notice(HeadsetInventoryMetricsImpl: send: Enter)", "accessory.clone()",
                     "task_dispatcher.add_task(type=1, defer=0, timeout=120)", "accessory.clone()",
                     "accessory.is_inventory_ready()",
                     "log.info(InventoryMetric: send_metric[LIB-ERR]: ENTER)",
                     "log.info(InventoryMetric: send_metric[LIB-ERR]: metric param cast done)",
                     "accessory.get_accessory_type()", "accessory.clone()",
                     "log.info(InventoryMetric: send_metric[LIB-ERR]: metric object created)",
                     "log.info(HeadsetInventoryMetricsImpl: send_task: Enter)"},
                    kAssembleCalls,
                    {"system_info.get_inventory_url()",
                     "log.notice(HeadsetInventoryMetricsImpl: get_post_url tokenized url: "
                     "https://{qelm}/inventory)",
                     "system_info.get_config_servers()",
                     "log.info(HeadsetInventoryMetricsImpl: get_post_url target inventory url: "
                     "https://10.0.0.5/inventory)",
                     "network.post(POST, INVENTORY, https://10.0.0.5/inventory)",
                     "log.info(InventoryMetric: send_metric[LIB-ERR]: metric sent)"}}));
}

TEST_F(MetricsSendTest, CameraSequenceLogsUnderTheCameraAndTaskLoggers) {
  AccessoryData data;
  data.type = 2;
  data.model = "Zelor C-1";
  data.vendor_headset = false;
  auto accessory = host.accessory(data);
  MetricHandle metric(create_metric(accessory.get()));
  metric->send();
  metric.reset();
  accessory.reset();
  host.dispatcher.run_next();
  EXPECT_EQ(
      host.log.texts(),
      (Lines{"CameraInventoryMetricsImpl: send: Enter",
             "InventoryMetric: send_metric[LIB-ERR]: ENTER",
             "InventoryMetric: send_metric[LIB-ERR]: metric param cast done",
             "InventoryMetric: send_metric[LIB-ERR]: metric object created",
             "CameraInventoryMetricsImpl: send_task: Enter",
             "CameraInventoryMetricsImpl: assemble_metrics: Enter",
             "CameraInventoryMetricsImpl: build_envelop: Enter",
             "CameraInventoryMetricsImpl: build_host_payload: Enter",
             "CameraInventoryMetricsImpl: build_dock_payload: Enter",
             "CameraInventoryMetricsImpl: build_dock_payload: Dock serial number is empty.",
             "CameraInventoryMetricsImpl: assemble_metrics[LIB-ERR]: Building dock payload "
             "failed",
             "CameraInventoryMetricsImpl: build_accessory_payload: Enter",
             "CameraInventoryMetricsImpl: assemble_metrics: success",
             "CameraInventoryMetricsImpl: get_post_url tokenized url: https://{qelm}/inventory",
             "CameraInventoryMetricsImpl: get_post_url target inventory url: "
             "https://10.0.0.5/inventory",
             "InventoryMetric: send_metric[LIB-ERR]: metric sent"}));
  ASSERT_EQ(host.network.posts().size(), 1u);
  korrin_test::JsonTree document = korrin_test::parse_json(host.network.posts()[0].body);
  const cJSON* key = cJSON_GetObjectItemCaseSensitive(document.get(), "key");
  ASSERT_TRUE(cJSON_IsString(key));
  EXPECT_STREQ(key->valuestring, "cameraInventory");
}

TEST_F(MetricsSendTest, NotReadyAccessoryWaitsSixSecondsThenPosts) {
  auto accessory = host.accessory(AccessoryData{});
  MetricHandle metric(create_metric(accessory.get()));
  metric->send();
  metric.reset();

  EXPECT_EQ(host.dispatcher.run_next(), 1);  // ready: runs at once
  accessory->data().inventory_ready = false;
  MetricHandle second(create_metric(accessory.get()));
  second->send();
  EXPECT_EQ(host.dispatcher.run_next(), 2);
  ASSERT_EQ(host.dispatcher.size(), 1u);
  EXPECT_EQ(host.dispatcher.at(0).params->get_defer_time(), 6);
  EXPECT_EQ(host.network.posts().size(), 1u);
  accessory->data().inventory_ready = true;  // clones share the data
  EXPECT_EQ(host.dispatcher.run_next(), 1);
  EXPECT_EQ(host.network.posts().size(), 2u);
}

TEST_F(MetricsSendTest, MissingSystemInfoDropsTheQueuedTask) {
  auto accessory = host.accessory(AccessoryData{});
  MetricHandle metric(create_metric(accessory.get()));
  metric->send();
  host.calls.clear();
  korrin::globals::plugins.system_info = nullptr;
  EXPECT_EQ(host.dispatcher.run_next(), 3);
  EXPECT_EQ(host.dispatcher.size(), 0u);
  EXPECT_TRUE(host.calls.all().empty());
}

// ---- send_metric and send_task ------------------------------------------------

TEST_F(MetricsSendTest, SendMetricReturnsTrueAfterPosting) {
  auto params = params_for(headset_with_dock());
  EXPECT_TRUE(InventoryMetric::send_metric(params.get()));
  EXPECT_EQ(host.network.posts().size(), 1u);
  // Only the task's own metric clone was made and released.
  EXPECT_EQ(FakeAccessory::live(), live_at_start + 1);
}

TEST_F(MetricsSendTest, NullParametersAreReportedAndNothingElseHappens) {
  EXPECT_FALSE(InventoryMetric::send_metric(nullptr));
  EXPECT_EQ(host.calls.all(),
            (Lines{"log.info(InventoryMetric: send_metric[LIB-ERR]: ENTER)",
                   "log.error(InventoryMetric: send_metric[LIB-ERR]: no task parameters)"}));
}

TEST_F(MetricsSendTest, ForeignInventoryParametersCountAsMissing) {
  ForeignParams params;
  EXPECT_FALSE(InventoryMetric::send_metric(&params));
  EXPECT_EQ(host.calls.all(),
            (Lines{"log.info(InventoryMetric: send_metric[LIB-ERR]: ENTER)",
                   "log.error(InventoryMetric: send_metric[LIB-ERR]: no task parameters)"}));
}

TEST_F(MetricsSendTest, NoSerialNumberPostsNothingAndReturnsFalse) {
  AccessoryData data = headset_with_dock();
  data.serial_number.clear();
  auto params = params_for(data);
  EXPECT_FALSE(InventoryMetric::send_metric(params.get()));
  EXPECT_TRUE(host.network.posts().empty());
  EXPECT_EQ(host.calls.count("network."), 0u);
  EXPECT_EQ(host.calls.count("system_info.get_inventory_url()"), 0u);
  EXPECT_EQ(host.calls.starting_with("log."),
            (Lines{"log.info(InventoryMetric: send_metric[LIB-ERR]: ENTER)",
                   "log.info(InventoryMetric: send_metric[LIB-ERR]: metric param cast done)",
                   "log.info(InventoryMetric: send_metric[LIB-ERR]: metric object created)",
                   "log.info(HeadsetInventoryMetricsImpl: send_task: Enter)",
                   "log.notice(HeadsetInventoryMetricsImpl: assemble_metrics: Enter)",
                   "log.notice(HeadsetInventoryMetricsImpl: build_envelop: Enter)",
                   "log.notice(HeadsetInventoryMetricsImpl: build_host_payload: Enter)",
                   "log.info(HeadsetInventoryMetricsImpl: build_dock_payload: Enter)",
                   "log.info(HeadsetInventoryMetricsImpl: build_accessory_payload: Enter)",
                   "log.error(HeadsetInventoryMetricsImpl: build_accessory_payload: accessory "
                   "serial number is empty.)",
                   "log.error(HeadsetInventoryMetricsImpl: assemble_metrics[LIB-ERR]: Building "
                   "accessory payload failed)",
                   "log.warning(HeadsetInventoryMetricsImpl: send_task: building metrics failed)",
                   "log.info(InventoryMetric: send_metric[LIB-ERR]: metric sent)"}));
}

TEST_F(MetricsSendTest, MissingInventoryUrlIsPostedEmpty) {
  host.system_info.inventory_url.clear();
  auto params = params_for(headset_with_dock());
  EXPECT_TRUE(InventoryMetric::send_metric(params.get()));
  const auto posts = host.network.posts();
  ASSERT_EQ(posts.size(), 1u);
  EXPECT_EQ(posts[0].url, "");
  EXPECT_EQ(posts[0].method, "POST");
  EXPECT_EQ(posts[0].requester, "INVENTORY");
  EXPECT_NE(korrin_test::parse_json(posts[0].body), nullptr);
  EXPECT_EQ(host.calls.count("system_info.get_config_servers()"), 0u);
  const Lines records = host.calls.starting_with("log.");
  ASSERT_GE(records.size(), 3u);
  EXPECT_EQ(Lines(records.end() - 3, records.end()),
            (Lines{"log.notice(HeadsetInventoryMetricsImpl: get_post_url tokenized url: )",
                   "log.error(HeadsetInventoryMetricsImpl: get_post_url[PLUGIN-ERR] system info "
                   "has no url for inventory)",
                   "log.info(InventoryMetric: send_metric[LIB-ERR]: metric sent)"}));
}

TEST_F(MetricsSendTest, UnsupportedAccessoryTypeLeavesSendMetricByTheFactoryError) {
  AccessoryData data;
  data.type = 3;
  auto params = params_for(data);
  try {
    InventoryMetric::send_metric(params.get());
    FAIL() << "no exception";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "rics factory: Unsupported METRICS_TYPE: ");
  }
  EXPECT_EQ(host.calls.starting_with("log."),
            (Lines{"log.info(InventoryMetric: send_metric[LIB-ERR]: ENTER)",
                   "log.info(InventoryMetric: send_metric[LIB-ERR]: metric param cast done)"}));
  EXPECT_TRUE(host.network.posts().empty());
}

TEST_F(MetricsSendTest, ParametersWithoutAccessoryLeaveSendMetricByTheFactoryError) {
  SendMetricsParams params(nullptr, 0, 120);
  try {
    InventoryMetric::send_metric(&params);
    FAIL() << "no exception";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "metrics factory: accessory is empty");
  }
  EXPECT_TRUE(host.network.posts().empty());
}

TEST_F(MetricsSendTest, SendTaskPostsWithoutConsultingItsParameters) {
  auto accessory = host.accessory(headset_with_dock());
  MetricHandle metric(create_metric(accessory.get()));
  host.calls.clear();
  EXPECT_TRUE(metric->send_task(nullptr));
  EXPECT_EQ(host.calls.all(),
            concat({{"log.info(HeadsetInventoryMetricsImpl: send_task: Enter)"},
                    kAssembleCalls,
                    {"system_info.get_inventory_url()",
                     "log.notice(HeadsetInventoryMetricsImpl: get_post_url tokenized url: "
                     "https://{qelm}/inventory)",
                     "system_info.get_config_servers()",
                     "log.info(HeadsetInventoryMetricsImpl: get_post_url target inventory url: "
                     "https://10.0.0.5/inventory)",
                     "network.post(POST, INVENTORY, https://10.0.0.5/inventory)"}}));
}

TEST_F(MetricsSendTest, SendTaskWithoutDocumentReturnsFalse) {
  AccessoryData data;
  data.serial_number.clear();
  auto accessory = host.accessory(data);
  MetricHandle metric(create_metric(accessory.get()));
  EXPECT_FALSE(metric->send_task(nullptr));
  EXPECT_EQ(host.log.texts().back(),
            "HeadsetInventoryMetricsImpl: send_task: building metrics failed");
  EXPECT_EQ(host.log.records().back().level, korrin::log::warning);
  EXPECT_TRUE(host.network.posts().empty());
}

// ---- task_forwarder -------------------------------------------------------------

TEST_F(MetricsSendTest, ForwarderRoutesInventoryTasksWithNullContext) {
  auto params = params_for(headset_with_dock());
  korrin::task_forwarder(nullptr, params.get());
  ASSERT_EQ(host.network.posts().size(), 1u);
  EXPECT_EQ(host.network.posts()[0].requester, "INVENTORY");
  EXPECT_EQ(host.log.texts().front(), "InventoryMetric: send_metric[LIB-ERR]: ENTER");
}

TEST_F(MetricsSendTest, ForwarderIgnoresTheContextOfInventoryTasks) {
  int unrelated = 42;
  auto params = params_for(headset_with_dock());
  korrin::task_forwarder(&unrelated, params.get());
  EXPECT_EQ(host.network.posts().size(), 1u);
  EXPECT_EQ(unrelated, 42);
}

TEST_F(MetricsSendTest, ForwarderNeitherChecksNorDeletesTheParameters) {
  AccessoryData data = headset_with_dock();
  data.inventory_ready = false;  // the forwarder leaves readiness to the dispatcher
  auto params = params_for(data);
  korrin::task_forwarder(nullptr, params.get());
  EXPECT_EQ(host.calls.count("accessory.is_inventory_ready()"), 0u);
  EXPECT_EQ(host.network.posts().size(), 1u);
  // Still ours and intact.
  EXPECT_EQ(params->get_defer_time(), 0);
  EXPECT_EQ(FakeAccessory::live(), live_at_start + 1);
}

TEST_F(MetricsSendTest, ForwarderLetsTheFactoryErrorThrough) {
  AccessoryData data;
  data.type = 0;
  auto params = params_for(data);
  try {
    korrin::task_forwarder(nullptr, params.get());
    FAIL() << "no exception";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "metrics factory: Unsupported METRICS_TYPE: ");
  }
}

}  // namespace
