// The metrics factory, the metric kinds and their lifetime.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/fake_host.h"
#include "support/library_handles.h"
#include "support/plugin_table.h"

namespace {

using korrin::metrics::MetricsInterface;
using korrin_test::AccessoryData;
using korrin_test::FakeAccessory;
using korrin_test::FakeHost;
using korrin_test::MetricHandle;

AccessoryData headset_data() { return AccessoryData{}; }

AccessoryData camera_data() {
  AccessoryData data;
  data.type = 2;
  data.vendor = "Zelor";
  data.model = "Zelor C-1";
  data.serial_number = "CAM000001";
  data.vendor_headset = false;
  return data;
}

AccessoryData data_of_type(int type) {
  AccessoryData data;
  data.type = type;
  return data;
}

// The text create_metric throws for `type`, or "<no throw>".
std::string factory_error_for(FakeHost& host, int type) {
  auto accessory = host.accessory(data_of_type(type));
  try {
    MetricHandle metric(create_metric(accessory.get()));
    return "<no throw>";
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

class MetricsFactoryTest : public ::testing::Test {
 protected:
  void SetUp() override { live_at_start = FakeAccessory::live(); }
  void TearDown() override {
    korrin_test::uninstall_plugins();
    EXPECT_EQ(FakeAccessory::live(), live_at_start);
  }
  FakeHost host;
  int live_at_start = 0;
};

TEST_F(MetricsFactoryTest, HeadsetAccessoryYieldsHeadsetMetricOfTypeZero) {
  host.install();
  auto accessory = host.accessory(headset_data());
  MetricHandle metric(create_metric(accessory.get()));
  ASSERT_NE(metric, nullptr);
  EXPECT_NE(dynamic_cast<korrin::metrics::HeadsetInventoryMetrics*>(metric.get()), nullptr);
  EXPECT_EQ(metric->get_type(), 0);
  EXPECT_EQ(metric->get_inventory_base_key(), "headsetInventory");
  EXPECT_EQ(metric->get_inventory_accessory_key(), "headset");
}

TEST_F(MetricsFactoryTest, CameraAccessoryYieldsCameraMetricOfTypeOne) {
  host.install();
  auto accessory = host.accessory(camera_data());
  MetricHandle metric(create_metric(accessory.get()));
  ASSERT_NE(metric, nullptr);
  EXPECT_NE(dynamic_cast<korrin::metrics::CameraInventoryMetrics*>(metric.get()), nullptr);
  EXPECT_EQ(metric->get_type(), 1);
  EXPECT_EQ(metric->get_inventory_base_key(), "cameraInventory");
  // A camera keeps the accessory key of the base class.
  EXPECT_EQ(metric->get_inventory_accessory_key(), "headset");
}

TEST_F(MetricsFactoryTest, BaseClassAccessoryKeyIsHeadset) {
  host.install();
  auto accessory = host.accessory(camera_data());
  korrin::metrics::CameraInventoryMetrics camera(accessory.get(), "Camera");
  korrin::metrics::InventoryMetric& as_base = camera;
  EXPECT_EQ(as_base.InventoryMetric::get_inventory_accessory_key(), "headset");
}

TEST_F(MetricsFactoryTest, CreationAsksTheTypeOnceAndKeepsOneClone) {
  host.install();
  auto accessory = host.accessory(headset_data());
  MetricHandle metric(create_metric(accessory.get()));
  EXPECT_EQ(host.calls.all(),
            (std::vector<std::string>{"accessory.get_accessory_type()", "accessory.clone()"}));
  EXPECT_EQ(FakeAccessory::live(), live_at_start + 2);
  metric.reset();
  EXPECT_EQ(FakeAccessory::live(), live_at_start + 1);
}

TEST_F(MetricsFactoryTest, NullAccessoryThrowsAccessoryIsEmpty) {
  host.install();
  try {
    MetricHandle metric(create_metric(nullptr));
    FAIL() << "no exception";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "metrics factory: accessory is empty");
  }
  EXPECT_TRUE(host.calls.all().empty());
}

TEST_F(MetricsFactoryTest, TypeThreeThrowsTheMessageOffsetByThree) {
  host.install();
  EXPECT_EQ(factory_error_for(host, 3), "rics factory: Unsupported METRICS_TYPE: ");
}

TEST_F(MetricsFactoryTest, UnsupportedTypeIsAnOffsetIntoTheMessage) {
  host.install();
  const std::string literal = "metrics factory: Unsupported METRICS_TYPE: ";
  ASSERT_EQ(literal.size(), 43u);
  EXPECT_EQ(factory_error_for(host, 0), literal);
  EXPECT_EQ(factory_error_for(host, 4), "ics factory: Unsupported METRICS_TYPE: ");
  EXPECT_EQ(factory_error_for(host, 42), " ");
  EXPECT_EQ(factory_error_for(host, 43), "");
}

TEST_F(MetricsFactoryTest, TypeOutsideTheMessageGivesAnEmptyText) {
  host.install();
  for (int type : {44, 1000, INT_MAX, -1, -43, INT_MIN}) {
    EXPECT_EQ(factory_error_for(host, type), "") << type;
  }
}

TEST_F(MetricsFactoryTest, UnsupportedTypeClonesNothing) {
  host.install();
  auto accessory = host.accessory(data_of_type(3));
  EXPECT_THROW(create_metric(accessory.get()), std::runtime_error);
  EXPECT_EQ(host.calls.all(), (std::vector<std::string>{"accessory.get_accessory_type()"}));
  EXPECT_EQ(FakeAccessory::live(), live_at_start + 1);
}

TEST_F(MetricsFactoryTest, CreationBeforeInitThrowsAndLeaksNoClone) {
  auto accessory = host.accessory(headset_data());
  try {
    MetricHandle metric(create_metric(accessory.get()));
    FAIL() << "no exception";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "plugins hasn't been initialized properly");
  }
  EXPECT_EQ(FakeAccessory::live(), live_at_start + 1);
  EXPECT_TRUE(host.log.records().empty());
}

TEST_F(MetricsFactoryTest, EachMissingPluginMakesTheConstructorThrow) {
  auto accessory = host.accessory(camera_data());
  for (int member = 0; member < korrin_test::kPluginTableMembers; ++member) {
    korrin::Plugins table = korrin_test::without_member(host.table(), member);
    // init() refuses such a table; the guard must hold on its own as well.
    korrin::globals::plugins = table;
    try {
      korrin::metrics::CameraInventoryMetrics metric(accessory.get(), "Camera");
      ADD_FAILURE() << "member " << member << " null was accepted";
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), "plugins hasn't been initialized properly") << member;
    }
    EXPECT_EQ(FakeAccessory::live(), live_at_start + 1) << member;
  }
  EXPECT_TRUE(host.log.records().empty());
}

TEST_F(MetricsFactoryTest, MetricKeepsItsOwnCloneAfterTheHostDropsItsAccessory) {
  host.install();
  auto accessory = host.accessory(headset_data());
  MetricHandle metric(create_metric(accessory.get()));
  accessory.reset();
  auto* inventory = dynamic_cast<korrin::metrics::InventoryMetric*>(metric.get());
  ASSERT_NE(inventory, nullptr);
  cJSON* payload = inventory->build_accessory_payload();
  EXPECT_NE(payload, nullptr);
  cJSON_Delete(payload);
}

TEST_F(MetricsFactoryTest, EachKindLogsUnderItsOwnName) {
  host.install();
  auto headset = host.accessory(headset_data());
  auto camera = host.accessory(camera_data());
  MetricHandle headset_metric(create_metric(headset.get()));
  MetricHandle camera_metric(create_metric(camera.get()));
  EXPECT_TRUE(host.log.records().empty());  // creation itself is silent
  headset_metric->send();
  camera_metric->send();
  EXPECT_EQ(host.calls.starting_with("log."),
            (std::vector<std::string>{"log.notice(HeadsetInventoryMetricsImpl: send: Enter)",
                                      "log.notice(CameraInventoryMetricsImpl: send: Enter)"}));
  host.dispatcher.clear();
}

TEST_F(MetricsFactoryTest, DeleteMetricOfNullDoesNothing) {
  host.install();
  delete_metric(nullptr);
  EXPECT_TRUE(host.calls.all().empty());
}

TEST_F(MetricsFactoryTest, DeleteMetricReleasesTheClone) {
  host.install();
  auto accessory = host.accessory(camera_data());
  MetricsInterface* metric = create_metric(accessory.get());
  EXPECT_EQ(FakeAccessory::live(), live_at_start + 2);
  delete_metric(metric);
  EXPECT_EQ(FakeAccessory::live(), live_at_start + 1);
  EXPECT_TRUE(host.log.records().empty());
}

}  // namespace
