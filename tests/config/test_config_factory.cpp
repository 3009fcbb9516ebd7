// The factory that picks the configuration object class from the accessory type.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/config_members.h"
#include "support/fake_host.h"

namespace {

using korrin::config::CameraConfigImpl;
using korrin::config::ConfigInterface;
using korrin::config::HeadsetConfigImpl;
using korrin_test::AccessoryData;
using korrin_test::ConfigMembers;
using korrin_test::FakeAccessory;
using korrin_test::FakeHost;
using Lines = std::vector<std::string>;

class ConfigFactoryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    live_at_start_ = FakeAccessory::live();
    host.install();
  }
  void TearDown() override {
    EXPECT_EQ(host.mutexes.live(), 0);
    EXPECT_EQ(FakeAccessory::live(), live_at_start_);
    korrin_test::uninstall_plugins();
  }
  FakeHost host;
  int live_at_start_ = 0;
};

TEST_F(ConfigFactoryTest, TypeOneMakesAHeadsetObject) {
  AccessoryData data;
  data.type = 1;
  auto accessory = host.accessory(data);
  ConfigInterface* config = create_config("acc-1", accessory.get());
  ASSERT_NE(config, nullptr);
  EXPECT_NE(dynamic_cast<HeadsetConfigImpl*>(config), nullptr);
  EXPECT_EQ(config->get_type(), 1);
  EXPECT_EQ(config->get_accessory_id(), "acc-1");
  EXPECT_EQ(dynamic_cast<korrin::config::ConfigImpl&>(*config).*ConfigMembers::logger_name,
            "HeadsetConfigImpl");
  EXPECT_EQ(host.calls.all(),
            (Lines{"accessory.get_accessory_type()", "mutex_factory.create_mutex(0) -> #1",
                   "mutex_factory.create_mutex(0) -> #2", "accessory.clone()"}));
  EXPECT_TRUE(host.log.records().empty());
  delete_config(config);
}

TEST_F(ConfigFactoryTest, TypeTwoMakesACameraObject) {
  AccessoryData data;
  data.type = 2;
  auto accessory = host.accessory(data);
  ConfigInterface* config = create_config("cam-1", accessory.get());
  ASSERT_NE(config, nullptr);
  EXPECT_NE(dynamic_cast<CameraConfigImpl*>(config), nullptr);
  EXPECT_EQ(config->get_type(), 2);
  EXPECT_EQ(config->get_accessory_id(), "cam-1");
  delete_config(config);
}

TEST_F(ConfigFactoryTest, OtherTypesGiveNullWithOneInfoRecord) {
  for (int type : {0, 3, -1, 7}) {
    AccessoryData data;
    data.type = type;
    auto accessory = host.accessory(data);
    host.calls.clear();
    host.log.clear();
    EXPECT_EQ(create_config("x", accessory.get()), nullptr) << type;
    EXPECT_EQ(host.calls.all(),
              (Lines{"accessory.get_accessory_type()",
                     "log.info(ConfigFactory: ::create_config: Unknown accessory type)"}))
        << type;
  }
  EXPECT_EQ(host.mutexes.created(), 0);
}

TEST_F(ConfigFactoryTest, DeleteConfigDestroysThroughTheVirtualDestructor) {
  AccessoryData data;
  data.type = 2;
  auto accessory = host.accessory(data);
  ConfigInterface* config = create_config("cam-1", accessory.get());
  const int live_with_object = FakeAccessory::live();
  delete_config(config);
  EXPECT_EQ(FakeAccessory::live(), live_with_object - 1);
  EXPECT_EQ(host.mutexes.destroyed(), 2);
}

TEST_F(ConfigFactoryTest, DeleteConfigAcceptsNull) {
  delete_config(nullptr);
  EXPECT_TRUE(host.calls.all().empty());
}

TEST_F(ConfigFactoryTest, AFailureInsideConstructionPropagatesWithoutLeaks) {
  auto accessory = host.accessory(AccessoryData{});
  host.calls.arm_fault("accessory.clone");
  EXPECT_THROW(create_config("acc-1", accessory.get()), korrin_test::InjectedFault);
}

}  // namespace
