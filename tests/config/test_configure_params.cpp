// Parameters of a configure task: type, timing, deep copy and readiness check.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/fake_host.h"

namespace {

using korrin::config::ConfigAccessoryParams;
using korrin::config::ConfigInterface;
using korrin::config::HeadsetConfigImpl;
using korrin_test::AccessoryData;
using korrin_test::FakeAccessory;
using korrin_test::FakeHost;
using Lines = std::vector<std::string>;

// A configuration object that has lost its accessory description.
class WithoutDescription : public HeadsetConfigImpl {
 public:
  using HeadsetConfigImpl::HeadsetConfigImpl;
  const korrin::AccessoryInfoInterface* get_accessory() const override { return nullptr; }
};

class ConfigureParamsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    live_at_start_ = FakeAccessory::live();
    host.install();
    accessory_ = host.accessory(AccessoryData{});
  }
  void TearDown() override {
    accessory_.reset();
    EXPECT_EQ(host.mutexes.live(), 0);
    EXPECT_EQ(FakeAccessory::live(), live_at_start_);
    korrin_test::uninstall_plugins();
  }
  ConfigInterface* new_config() { return new HeadsetConfigImpl("acc-1", accessory_.get()); }

  FakeHost host;
  std::unique_ptr<FakeAccessory> accessory_;
  int live_at_start_ = 0;
};

TEST_F(ConfigureParamsTest, TypeIsZeroAndTimingIsWhatWasGiven) {
  ConfigAccessoryParams params(new_config(), 35, 60);
  EXPECT_EQ(params.get_type(), 0);
  EXPECT_EQ(params.get_defer_time(), 35);
  EXPECT_EQ(params.get_timeout(), 60);
}

TEST_F(ConfigureParamsTest, DestroyingTheParametersDeletesTheirObject) {
  const int live_before = FakeAccessory::live();
  {
    ConfigAccessoryParams params(new_config(), 0, 60);
    EXPECT_EQ(FakeAccessory::live(), live_before + 1);
  }
  EXPECT_EQ(FakeAccessory::live(), live_before);
  EXPECT_EQ(host.mutexes.live(), 0);
}

TEST_F(ConfigureParamsTest, ACloneIsDeepWithTheSameTiming) {
  ConfigAccessoryParams params(new_config(), 0, 60);
  params.config_->set_config_retries(2);
  params.defer_time_ = 37;
  host.calls.clear();
  std::unique_ptr<korrin::TaskParametersInterface> copy(params.clone());
  EXPECT_EQ(host.calls.all(), (Lines{"mutex_factory.create_mutex(0) -> #3", "accessory.clone()",
                                     "mutex_factory.create_mutex(0) -> #4"}));
  auto* typed = dynamic_cast<ConfigAccessoryParams*>(copy.get());
  ASSERT_NE(typed, nullptr);
  EXPECT_NE(typed->config_, params.config_);
  EXPECT_EQ(typed->config_->get_accessory_id(), "acc-1");
  EXPECT_EQ(typed->config_->get_config_retries(), 2);
  EXPECT_EQ(typed->get_defer_time(), 37);
  EXPECT_EQ(typed->get_timeout(), 60);
  EXPECT_EQ(typed->get_type(), 0);
}

TEST_F(ConfigureParamsTest, ACloneOutlivesItsSource) {
  std::unique_ptr<korrin::TaskParametersInterface> copy;
  {
    ConfigAccessoryParams params(new_config(), 0, 60);
    copy.reset(params.clone());
  }
  EXPECT_EQ(copy->check_status(), korrin::TASK_RUN);
  EXPECT_EQ(dynamic_cast<ConfigAccessoryParams&>(*copy).config_->get_accessory_id(), "acc-1");
}

TEST_F(ConfigureParamsTest, AReadyAccessoryRunsAndKeepsTheDeferTime) {
  ConfigAccessoryParams params(new_config(), 33, 60);
  host.calls.clear();
  EXPECT_EQ(params.check_status(), korrin::TASK_RUN);
  EXPECT_EQ(params.get_defer_time(), 33);
  EXPECT_EQ(host.calls.all(), Lines{"accessory.is_config_ready()"});
}

TEST_F(ConfigureParamsTest, AnAccessoryNotReadyIsAskedAgainInSixSeconds) {
  ConfigAccessoryParams params(new_config(), 33, 60);
  accessory_->data().config_ready = false;
  EXPECT_EQ(params.check_status(), korrin::TASK_DEFER);
  EXPECT_EQ(params.get_defer_time(), 6);
}

TEST_F(ConfigureParamsTest, AnObjectWithoutDescriptionIsAskedAgainInSixSeconds) {
  ConfigAccessoryParams params(new WithoutDescription("acc-1", accessory_.get()), 0, 60);
  EXPECT_EQ(params.check_status(), korrin::TASK_DEFER);
  EXPECT_EQ(params.get_defer_time(), 6);
}

TEST_F(ConfigureParamsTest, NoObjectMeansDrop) {
  ConfigAccessoryParams params(nullptr, 0, 60);
  EXPECT_EQ(params.check_status(), korrin::TASK_DROP);
  EXPECT_EQ(params.get_defer_time(), 0);
}

TEST_F(ConfigureParamsTest, NoSystemInformationMeansDropWithoutAskingTheAccessory) {
  ConfigAccessoryParams params(new_config(), 0, 60);
  korrin::SystemInfoInterface* system_info = korrin::globals::plugins.system_info;
  korrin::globals::plugins.system_info = nullptr;
  host.calls.clear();
  EXPECT_EQ(params.check_status(), korrin::TASK_DROP);
  korrin::globals::plugins.system_info = system_info;
  EXPECT_TRUE(host.calls.all().empty());
  EXPECT_EQ(params.get_defer_time(), 0);
}

}  // namespace
