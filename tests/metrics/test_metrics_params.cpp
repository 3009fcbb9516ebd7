// Parameters of the inventory task: type, times, readiness and deep copies.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/fake_host.h"
#include "support/installed_host_test.h"

namespace {

using korrin::metrics::SendMetricsParams;
using korrin_test::AccessoryData;
using korrin_test::FakeAccessory;

class MetricsParamsTest : public korrin_test::InstalledHostTest {
 protected:
  // Parameters owning a fresh accessory recorded in host.calls.
  std::unique_ptr<SendMetricsParams> params_for(const AccessoryData& data, int defer = 0,
                                                int timeout = 120) {
    return std::make_unique<SendMetricsParams>(new FakeAccessory(data, &host.calls), defer,
                                               timeout);
  }
};

TEST_F(MetricsParamsTest, ReportsInventoryTypeAndTheGivenTimes) {
  auto params = params_for(AccessoryData{}, 0, 120);
  EXPECT_EQ(params->get_type(), 1);
  EXPECT_EQ(params->get_timeout(), 120);
  EXPECT_EQ(params->get_defer_time(), 0);
  auto other = params_for(AccessoryData{}, 9, 33);
  EXPECT_EQ(other->get_type(), 1);
  EXPECT_EQ(other->get_timeout(), 33);
  EXPECT_EQ(other->get_defer_time(), 9);
}

TEST_F(MetricsParamsTest, DestructorDeletesTheAccessory) {
  auto params = params_for(AccessoryData{});
  EXPECT_EQ(FakeAccessory::live(), live_at_start + 1);
  params.reset();
  EXPECT_EQ(FakeAccessory::live(), live_at_start);
}

TEST_F(MetricsParamsTest, NullAccessoryIsAllowed) {
  SendMetricsParams params(nullptr, 0, 120);
  EXPECT_EQ(params.accessory, nullptr);
  EXPECT_EQ(params.get_type(), 1);
}

TEST_F(MetricsParamsTest, CloneIsDeepAndIndependent) {
  auto params = params_for(AccessoryData{}, 4, 77);
  std::unique_ptr<korrin::TaskParametersInterface> copy(params->clone());
  EXPECT_EQ(host.calls.all(), (std::vector<std::string>{"accessory.clone()"}));
  auto* typed = dynamic_cast<SendMetricsParams*>(copy.get());
  ASSERT_NE(typed, nullptr);
  EXPECT_NE(typed->accessory, nullptr);
  EXPECT_NE(typed->accessory, params->accessory);
  EXPECT_EQ(typed->get_type(), 1);
  EXPECT_EQ(typed->get_defer_time(), 4);
  EXPECT_EQ(typed->get_timeout(), 77);
  EXPECT_EQ(FakeAccessory::live(), live_at_start + 2);

  // Deferring the copy leaves the original alone, and the copy outlives it.
  static_cast<FakeAccessory*>(typed->accessory)->data().inventory_ready = false;
  EXPECT_EQ(typed->check_status(), 2);
  EXPECT_EQ(params->get_defer_time(), 4);
  params.reset();
  EXPECT_EQ(FakeAccessory::live(), live_at_start + 1);
  EXPECT_EQ(typed->get_defer_time(), 6);
  copy.reset();
  EXPECT_EQ(FakeAccessory::live(), live_at_start);
}

TEST_F(MetricsParamsTest, CloneOfParametersWithoutAccessoryHasNone) {
  SendMetricsParams params(nullptr, 3, 5);
  std::unique_ptr<korrin::TaskParametersInterface> copy(params.clone());
  auto* typed = dynamic_cast<SendMetricsParams*>(copy.get());
  ASSERT_NE(typed, nullptr);
  EXPECT_EQ(typed->accessory, nullptr);
  EXPECT_EQ(typed->get_defer_time(), 3);
  EXPECT_EQ(typed->get_timeout(), 5);
}

TEST_F(MetricsParamsTest, ReadyAccessoryRunsWithoutChangingTheDeferTime) {
  auto params = params_for(AccessoryData{});
  EXPECT_EQ(params->check_status(), 1);
  EXPECT_EQ(params->get_defer_time(), 0);
  EXPECT_EQ(host.calls.all(), (std::vector<std::string>{"accessory.is_inventory_ready()"}));
}

TEST_F(MetricsParamsTest, NotReadyAccessoryDefersBySixSeconds) {
  AccessoryData data;
  data.inventory_ready = false;
  auto params = params_for(data);
  EXPECT_EQ(params->check_status(), 2);
  EXPECT_EQ(params->get_defer_time(), 6);
  // Asked again it keeps deferring, without limit.
  EXPECT_EQ(params->check_status(), 2);
  EXPECT_EQ(params->get_defer_time(), 6);
  EXPECT_EQ(params->get_timeout(), 120);
}

TEST_F(MetricsParamsTest, AccessoryBecomingReadyRunsOnTheNextCheck) {
  AccessoryData data;
  data.inventory_ready = false;
  auto params = params_for(data);
  EXPECT_EQ(params->check_status(), 2);
  static_cast<FakeAccessory*>(params->accessory)->data().inventory_ready = true;
  EXPECT_EQ(params->check_status(), 1);
}

TEST_F(MetricsParamsTest, MissingSystemInfoDropsWhateverTheAccessorySays) {
  korrin::globals::plugins.system_info = nullptr;
  for (bool ready : {true, false}) {
    AccessoryData data;
    data.inventory_ready = ready;
    auto params = params_for(data, 0);
    EXPECT_EQ(params->check_status(), 3) << ready;
    EXPECT_EQ(params->get_defer_time(), 0) << ready;
  }
  EXPECT_EQ(host.calls.count("accessory.is_inventory_ready()"), 0u);
}

TEST_F(MetricsParamsTest, OnlySystemInfoIsNeededToCheck) {
  korrin::Plugins only_system_info;
  only_system_info.system_info = &host.system_info;
  korrin::globals::plugins = only_system_info;
  auto params = params_for(AccessoryData{});
  EXPECT_EQ(params->check_status(), 1);
}

TEST_F(MetricsParamsTest, ParametersWithoutAccessoryAreDropped) {
  SendMetricsParams params(nullptr, 0, 120);
  EXPECT_EQ(params.check_status(), 3);
  EXPECT_EQ(params.get_defer_time(), 0);
}

TEST_F(MetricsParamsTest, CheckStatusMakesNoLogRecords) {
  AccessoryData data;
  data.inventory_ready = false;
  auto params = params_for(data);
  params->check_status();
  EXPECT_TRUE(host.log.records().empty());
}

}  // namespace
