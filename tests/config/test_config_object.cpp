// Life cycle of a configuration object: construction, copy, clone, update,
// destruction, the settings map and the firmware request.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "korrin/korrin.h"
#include "support/config_members.h"
#include "support/config_param.h"
#include "support/fake_host.h"

namespace {

using korrin::ConfigParam;
using korrin::config::CameraConfigImpl;
using korrin::config::ConfigImpl;
using korrin::config::ConfigInterface;
using korrin::config::HeadsetConfigImpl;
using korrin_test::AccessoryData;
using korrin_test::ConfigMembers;
using korrin_test::FakeAccessory;
using korrin_test::FakeHost;
using korrin_test::InjectedFault;
using korrin_test::NotingAccessory;
using korrin_test::param;
using Lines = std::vector<std::string>;

bool same_param(const ConfigParam& a, const ConfigParam& b) {
  return a.usage_id == b.usage_id && a.key == b.key && a.value == b.value && a.access == b.access &&
         a.user_value == b.user_value;
}

bool same_settings(const std::map<int, ConfigParam>& a, const std::map<int, ConfigParam>& b) {
  if (a.size() != b.size()) {
    return false;
  }
  for (const auto& entry : a) {
    auto other = b.find(entry.first);
    if (other == b.end() || !same_param(entry.second, other->second)) {
      return false;
    }
  }
  return true;
}

class ConfigObjectTest : public ::testing::Test {
 protected:
  void SetUp() override {
    live_at_start_ = FakeAccessory::live();
    host.install();
  }
  void TearDown() override {
    EXPECT_EQ(host.mutexes.violations(), 0);
    EXPECT_EQ(korrin_test::FakeMutexFactory::held_by_this_thread(), 0);
    korrin_test::uninstall_plugins();
  }

  AccessoryData headset_data() {
    AccessoryData data;
    data.type = 1;
    data.model = "Zelor H-5";
    data.firmware_version = "1-2-3";
    return data;
  }

  FakeHost host;
  int live_at_start_ = 0;
};

TEST_F(ConfigObjectTest, ConstructionTakesTwoOrdinaryLocksThenClonesTheDescription) {
  auto accessory = host.accessory(headset_data());
  HeadsetConfigImpl config("acc-1", accessory.get());
  EXPECT_EQ(host.calls.all(), (Lines{"mutex_factory.create_mutex(0) -> #1",
                                     "mutex_factory.create_mutex(0) -> #2", "accessory.clone()"}));
  // The first lock guards the settings, the second the requested firmware.
  config.set_map_entry(1, param(1, "k", "v", "User"));
  EXPECT_EQ(host.calls.starting_with("mutex."), (Lines{"mutex.lock(#1)", "mutex.unlock(#1)"}));
}

TEST_F(ConfigObjectTest, FreshHeadsetObjectHoldsItsInitialState) {
  auto accessory = host.accessory(headset_data());
  HeadsetConfigImpl config("acc-1", accessory.get());
  EXPECT_EQ(config.get_type(), 1);
  EXPECT_EQ(config.get_accessory_id(), "acc-1");
  EXPECT_EQ(config.get_config_retries(), 0);
  EXPECT_TRUE(config.retrieve_config().empty());
  EXPECT_EQ(config.*ConfigMembers::model_name, "");
  EXPECT_EQ(config.*ConfigMembers::last_updated_time, 0.0);
  EXPECT_EQ(config.*ConfigMembers::requested_firmware, "");
  EXPECT_EQ(config.*ConfigMembers::logger_name, "HeadsetConfigImpl");
  EXPECT_EQ((config.*ConfigMembers::logger)->name, "HeadsetConfigImpl");
  EXPECT_EQ((config.*ConfigMembers::logger)->host, &host.log);
  EXPECT_TRUE((config.*ConfigMembers::logger)->enabled);
  // The object keeps its own copy of the description, not the host's.
  ASSERT_NE(config.get_accessory(), nullptr);
  EXPECT_NE(config.get_accessory(), accessory.get());
  EXPECT_EQ(FakeAccessory::live(), live_at_start_ + 2);
}

TEST_F(ConfigObjectTest, CameraObjectHasTypeTwoAndItsOwnLoggerName) {
  AccessoryData data;
  data.type = 2;
  auto accessory = host.accessory(data);
  CameraConfigImpl config("cam-1", accessory.get());
  EXPECT_EQ(config.get_type(), 2);
  EXPECT_EQ(config.*ConfigMembers::logger_name, "CameraConfigImpl");
  config.reset_config();
  EXPECT_EQ(host.log.texts(),
            (Lines{"CameraConfigImpl: reset_config: Resetting config",
                   "CameraConfigImpl: apply_config_to_device: No config settings found to apply to "
                   "device"}));
}

TEST_F(ConfigObjectTest, TheHostsDescriptionMayGoAwayAfterConstruction) {
  auto accessory = host.accessory(headset_data());
  HeadsetConfigImpl config("acc-1", accessory.get());
  accessory.reset();
  EXPECT_EQ(config.get_accessory()->get_model(), "Zelor H-5");
  EXPECT_EQ(config.get_firmware_version(), "1-2-3");
}

TEST_F(ConfigObjectTest, DestructionClearsUnderTheLockThenReleasesDescriptionThenLocks) {
  NotingAccessory accessory(headset_data(), &host.calls);
  auto* config = new HeadsetConfigImpl("acc-1", &accessory);
  config->set_map_entry(5, param(5, "volume", "7", "Admin"));
  host.calls.clear();
  delete_config(config);
  EXPECT_EQ(host.calls.all(),
            (Lines{"mutex.lock(#1)", "mutex.unlock(#1)", "accessory.destroyed",
                   "mutex_factory.destroy_mutex(#2)", "mutex_factory.destroy_mutex(#1)"}));
  EXPECT_EQ(host.mutexes.live(), 0);
}

TEST_F(ConfigObjectTest, DeleteConfigOfNullDoesNothing) {
  delete_config(nullptr);
  EXPECT_TRUE(host.calls.all().empty());
}

TEST_F(ConfigObjectTest, EveryLockAndCopyIsReleasedAfterTheObjectIsDeleted) {
  {
    auto accessory = host.accessory(headset_data());
    ConfigInterface* config = new CameraConfigImpl("cam-1", accessory.get());
    ConfigInterface* copy = config->clone();
    delete_config(config);
    delete_config(copy);
  }
  EXPECT_EQ(host.mutexes.created(), 4);
  EXPECT_EQ(host.mutexes.destroyed(), 4);
  EXPECT_EQ(FakeAccessory::live(), live_at_start_);
}

TEST_F(ConfigObjectTest, FailedSecondLockReleasesTheFirstAndPropagates) {
  auto accessory = host.accessory(headset_data());
  host.calls.arm_fault("mutex_factory.create_mutex", 2);
  EXPECT_THROW(HeadsetConfigImpl("acc-1", accessory.get()), InjectedFault);
  EXPECT_EQ(host.mutexes.created(), 1);
  EXPECT_EQ(host.mutexes.destroyed(), 1);
  EXPECT_EQ(FakeAccessory::live(), live_at_start_ + 1);
}

TEST_F(ConfigObjectTest, FailedDescriptionCloneReleasesBothLocksAndPropagates) {
  auto accessory = host.accessory(headset_data());
  host.calls.arm_fault("accessory.clone");
  EXPECT_THROW(HeadsetConfigImpl("acc-1", accessory.get()), InjectedFault);
  EXPECT_EQ(host.mutexes.created(), 2);
  EXPECT_EQ(host.mutexes.live(), 0);
  EXPECT_EQ(FakeAccessory::live(), live_at_start_ + 1);
}

// ---- copy and clone ----------------------------------------------------------

class ConfigCloneTest : public ConfigObjectTest {
 protected:
  void SetUp() override {
    ConfigObjectTest::SetUp();
    accessory_ = host.accessory(headset_data());
    source_ = new HeadsetConfigImpl("acc-1", accessory_.get());
    source_->set_map_entry(9, param(9, "ring", "2", "Both", "4"));
    source_->set_map_entry(3, param(3, "mute", "1", "Admin"));
    source_->*ConfigMembers::model_name = "Zelor H-5";
    source_->*ConfigMembers::last_updated_time = 1700000000.5;
    source_->*ConfigMembers::requested_firmware = "fw-2-0-1";
    source_->set_config_retries(2);
    host.calls.clear();
    host.log.clear();
  }
  void TearDown() override {
    delete_config(source_);
    ConfigObjectTest::TearDown();
  }

  std::unique_ptr<FakeAccessory> accessory_;
  HeadsetConfigImpl* source_ = nullptr;
};

TEST_F(ConfigCloneTest, CloneTakesFreshLocksAndDescriptionInTheCopyOrder) {
  ConfigInterface* copy = source_->clone();
  EXPECT_EQ(host.calls.all(), (Lines{"mutex_factory.create_mutex(0) -> #3", "accessory.clone()",
                                     "mutex_factory.create_mutex(0) -> #4"}));
  delete_config(copy);
}

TEST_F(ConfigCloneTest, CloneCarriesTheSourceState) {
  ConfigInterface* copy = source_->clone();
  auto* impl = dynamic_cast<ConfigImpl*>(copy);
  ASSERT_NE(impl, nullptr);
  EXPECT_TRUE(same_settings(copy->retrieve_config(), source_->retrieve_config()));
  EXPECT_EQ(copy->get_type(), 1);
  EXPECT_EQ(copy->get_accessory_id(), "acc-1");
  EXPECT_EQ(copy->get_config_retries(), 2);
  EXPECT_EQ(impl->*ConfigMembers::model_name, "Zelor H-5");
  EXPECT_EQ(impl->*ConfigMembers::last_updated_time, 1700000000.5);
  EXPECT_EQ(impl->*ConfigMembers::requested_firmware, "fw-2-0-1");
  EXPECT_EQ(impl->*ConfigMembers::logger_name, "HeadsetConfigImpl");
  delete_config(copy);
}

TEST_F(ConfigCloneTest, CloneIsAPlainConfigImplWhateverTheSourceClass) {
  ConfigInterface* copy = source_->clone();
  EXPECT_TRUE(typeid(*copy) == typeid(ConfigImpl));
  EXPECT_EQ(dynamic_cast<HeadsetConfigImpl*>(copy), nullptr);
  delete_config(copy);
}

TEST_F(ConfigCloneTest, CloneSharesNoLockLoggerOrDescription) {
  ConfigInterface* copy = source_->clone();
  auto* impl = dynamic_cast<ConfigImpl*>(copy);
  ASSERT_NE(impl, nullptr);
  EXPECT_NE(impl->*ConfigMembers::settings_lock, source_->*ConfigMembers::settings_lock);
  EXPECT_NE(impl->*ConfigMembers::firmware_lock, source_->*ConfigMembers::firmware_lock);
  EXPECT_NE(impl->*ConfigMembers::logger, source_->*ConfigMembers::logger);
  EXPECT_NE(copy->get_accessory(), source_->get_accessory());
  delete_config(copy);
}

TEST_F(ConfigCloneTest, ClonesLoggerHasAnEmptyName) {
  ConfigInterface* copy = source_->clone();
  auto* impl = dynamic_cast<ConfigImpl*>(copy);
  ASSERT_NE(impl, nullptr);
  EXPECT_EQ((impl->*ConfigMembers::logger)->name, "");
  EXPECT_TRUE(copy->is_config_required(""));
  EXPECT_EQ(
      host.log.texts(),
      (Lines{": is_config_required: No version timestamp to compare, proceed with configure"}));
  delete_config(copy);
}

TEST_F(ConfigCloneTest, DeletingTheSourceLeavesTheCloneUsable) {
  ConfigInterface* copy = source_->clone();
  delete_config(source_);
  source_ = nullptr;
  host.calls.clear();
  copy->apply_config_to_device(korrin::config::CONFIGURE);
  EXPECT_EQ(
      host.calls.starting_with("device."),
      (Lines{"device.apply_setting(acc-1, mute, 3, 1)", "device.set_follow_user_config(9, false)",
             "device.apply_setting(acc-1, ring, 9, 2)"}));
  EXPECT_EQ(copy->get_accessory()->get_model(), "Zelor H-5");
  EXPECT_FALSE(copy->is_config_required("x-1700000000.5"));
  delete_config(copy);
  EXPECT_EQ(host.mutexes.live(), 0);
  EXPECT_EQ(FakeAccessory::live(), live_at_start_ + 1);
}

TEST_F(ConfigCloneTest, CloneIsASnapshot) {
  ConfigInterface* copy = source_->clone();
  auto* impl = dynamic_cast<ConfigImpl*>(copy);
  ASSERT_NE(impl, nullptr);
  source_->set_map_entry(3, param(3, "mute", "0", "User"));
  impl->set_map_entry(20, param(20, "led", "on", "Admin"));
  copy->set_config_retries(5);
  EXPECT_EQ(source_->retrieve_config().at(3).value, "0");
  EXPECT_EQ(copy->retrieve_config().at(3).value, "1");
  EXPECT_EQ(source_->retrieve_config().count(20), 0u);
  EXPECT_EQ(source_->get_config_retries(), 2);
  delete_config(copy);
}

TEST_F(ConfigCloneTest, CopyConstructionDoesNotTakeTheSourcesLock) {
  ConfigImpl copy(*source_);
  EXPECT_EQ(host.calls.starting_with("mutex."), Lines{});
}

TEST_F(ConfigCloneTest, FailedCloneOfTheDescriptionReleasesWhatTheCopyTook) {
  host.calls.arm_fault("accessory.clone");
  EXPECT_THROW(source_->clone(), InjectedFault);
  EXPECT_EQ(host.mutexes.live(), 2);  // the source's two locks only
  EXPECT_EQ(FakeAccessory::live(), live_at_start_ + 2);
  EXPECT_EQ(source_->retrieve_config().size(), 2u);
}

// ---- update, retries, settings map --------------------------------------------

TEST_F(ConfigObjectTest, UpdateRebindsToTheNewDescriptionAndKeepsSettings) {
  auto first = host.accessory(headset_data());
  HeadsetConfigImpl config("acc-1", first.get());
  config.set_map_entry(5, param(5, "volume", "7", "Admin"));
  config.*ConfigMembers::model_name = "Zelor H-5";
  config.*ConfigMembers::last_updated_time = 1700000000.0;
  config.*ConfigMembers::requested_firmware = "fw-1";
  config.set_config_retries(2);
  EXPECT_FALSE(config.is_config_required("x-1700000000"));

  AccessoryData replug = headset_data();
  replug.model = "Zelor H-9";
  auto second = host.accessory(replug);
  const int live_before = FakeAccessory::live();
  host.calls.clear();
  EXPECT_TRUE(config.update(second.get()));
  EXPECT_EQ(host.calls.all(), Lines{"accessory.clone()"});
  EXPECT_EQ(FakeAccessory::live(), live_before);  // old copy deleted, new one made
  EXPECT_EQ(config.get_accessory()->get_model(), "Zelor H-9");
  EXPECT_NE(config.get_accessory(), second.get());
  EXPECT_EQ(config.get_config_retries(), 0);
  EXPECT_TRUE(config.is_config_required("x-1700000000"));
  EXPECT_EQ(config.retrieve_config().size(), 1u);
  EXPECT_EQ(config.*ConfigMembers::model_name, "Zelor H-5");
  EXPECT_EQ(config.*ConfigMembers::requested_firmware, "fw-1");
}

// Counts set_config_retries calls, to show update() goes through the virtual call.
class CountingConfig : public ConfigImpl {
 public:
  CountingConfig(const std::string& id, const korrin::AccessoryInfoInterface* accessory)
      : ConfigImpl(id, accessory, "Counting") {}
  void set_config_retries(int retries) override {
    seen.push_back(retries);
    ConfigImpl::set_config_retries(retries);
  }
  std::vector<int> seen;
};

TEST_F(ConfigObjectTest, UpdateResetsTheRetryCounterThroughTheVirtualSetter) {
  auto accessory = host.accessory(headset_data());
  CountingConfig config("acc-1", accessory.get());
  config.set_config_retries(3);
  config.update(accessory.get());
  EXPECT_EQ(config.seen, (std::vector<int>{3, 0}));
}

TEST_F(ConfigObjectTest, RetryCounterIsStoredAndReturned) {
  auto accessory = host.accessory(headset_data());
  HeadsetConfigImpl config("acc-1", accessory.get());
  config.set_config_retries(2);
  EXPECT_EQ(config.get_config_retries(), 2);
  config.set_config_retries(-1);
  EXPECT_EQ(config.get_config_retries(), -1);
}

TEST_F(ConfigObjectTest, ResetTimestampsForgetsTheVersionTime) {
  auto accessory = host.accessory(headset_data());
  HeadsetConfigImpl config("acc-1", accessory.get());
  config.*ConfigMembers::last_updated_time = 42.0;
  config.reset_timestamps();
  EXPECT_EQ(config.*ConfigMembers::last_updated_time, 0.0);
}

TEST_F(ConfigObjectTest, SetMapEntryStoresUnderTheSettingsLock) {
  auto accessory = host.accessory(headset_data());
  HeadsetConfigImpl config("acc-1", accessory.get());
  host.calls.clear();
  config.set_map_entry(5, param(5, "volume", "7", "Admin"));
  EXPECT_EQ(host.calls.all(), (Lines{"mutex.lock(#1)", "mutex.unlock(#1)"}));
  auto settings = config.retrieve_config();
  ASSERT_EQ(settings.size(), 1u);
  EXPECT_TRUE(same_param(settings.at(5), param(5, "volume", "7", "Admin")));
}

TEST_F(ConfigObjectTest, SetMapEntryOnAnExistingIdReplacesAllFiveFields) {
  auto accessory = host.accessory(headset_data());
  HeadsetConfigImpl config("acc-1", accessory.get());
  config.set_map_entry(5, param(5, "volume", "7", "Admin"));
  config.set_map_entry(6, param(6, "tone", "1", "User"));
  config.set_map_entry(5, param(55, "gain", "9", "Both", "3"));
  auto settings = config.retrieve_config();
  ASSERT_EQ(settings.size(), 2u);
  // The record's own usage id is stored as given, even when it differs from the key.
  EXPECT_TRUE(same_param(settings.at(5), param(55, "gain", "9", "Both", "3")));
  EXPECT_TRUE(same_param(settings.at(6), param(6, "tone", "1", "User")));
}

TEST_F(ConfigObjectTest, RetrieveConfigIsACopyTakenWithoutTheLock) {
  auto accessory = host.accessory(headset_data());
  HeadsetConfigImpl config("acc-1", accessory.get());
  config.set_map_entry(5, param(5, "volume", "7", "Admin"));
  host.calls.clear();
  auto settings = config.retrieve_config();
  EXPECT_TRUE(host.calls.all().empty());
  settings[5].value = "changed";
  settings[8] = param(8, "x", "y", "User");
  EXPECT_EQ(config.retrieve_config().at(5).value, "7");
  EXPECT_EQ(config.retrieve_config().size(), 1u);
}

TEST_F(ConfigObjectTest, ResetConfigLogsAndAppliesTheResetRules) {
  auto accessory = host.accessory(headset_data());
  HeadsetConfigImpl config("acc-1", accessory.get());
  config.set_map_entry(5, param(5, "volume", "7", "Admin"));
  config.set_map_entry(6, param(6, "tone", "1", "User"));
  host.calls.clear();
  EXPECT_TRUE(config.reset_config());
  EXPECT_EQ(host.calls.excluding({"mutex."}),
            (Lines{"log.info(HeadsetConfigImpl: reset_config: Resetting config)",
                   "log.notice(HeadsetConfigImpl: apply_config_to_device: Apply type: RESET)",
                   "log.notice(HeadsetConfigImpl: apply_config_to_device: Apply type: RESET)",
                   "log.debug(HeadsetConfigImpl: apply_config_to_device: tone : (usage id: 6 , "
                   "value: 1))",
                   "device.apply_setting(acc-1, tone, 6, 1)"}));
}

TEST_F(ConfigObjectTest, ResetConfigIsTrueEvenWhenNothingCanBeReset) {
  auto accessory = host.accessory(headset_data());
  HeadsetConfigImpl config("acc-1", accessory.get());
  // An empty map: the device is asked nothing and the reset still reports true.
  EXPECT_TRUE(config.reset_config());
  config.set_map_entry(5, param(5, "volume", "7", "Admin"));
  EXPECT_TRUE(config.reset_config());
  EXPECT_EQ(host.calls.count("device."), 0u);
}

// Reset goes through the virtual apply_config_to_device.
class RecordingApplyConfig : public ConfigImpl {
 public:
  RecordingApplyConfig(const std::string& id, const korrin::AccessoryInfoInterface* accessory)
      : ConfigImpl(id, accessory, "Recording") {}
  void apply_config_to_device(korrin::config::ApplyType type) const override {
    applied.push_back(static_cast<int>(type));
  }
  mutable std::vector<int> applied;
};

TEST_F(ConfigObjectTest, ResetConfigCallsApplyWithResetThroughTheVirtualCall) {
  auto accessory = host.accessory(headset_data());
  RecordingApplyConfig config("acc-1", accessory.get());
  EXPECT_TRUE(config.reset_config());
  EXPECT_EQ(config.applied, std::vector<int>{korrin::config::RESET});
}

TEST_F(ConfigObjectTest, RequestUpgradePassesIdNameAndParamsAndReturnsTheHostsAnswer) {
  auto accessory = host.accessory(headset_data());
  HeadsetConfigImpl config("acc-1", accessory.get());
  host.calls.clear();
  host.device.upgrade_answer = true;
  EXPECT_TRUE(config.request_upgrade("2-0-1", "fw.bin"));
  host.device.upgrade_answer = false;
  EXPECT_FALSE(config.request_upgrade("2-0-2", "fw2.bin"));
  EXPECT_EQ(host.calls.all(), (Lines{"device.request_firmware_upgrade(acc-1, 2-0-1, fw.bin)",
                                     "device.request_firmware_upgrade(acc-1, 2-0-2, fw2.bin)"}));
}

TEST_F(ConfigObjectTest, FirmwareVersionIsWhatTheOwnDescriptionReports) {
  auto accessory = host.accessory(headset_data());
  HeadsetConfigImpl config("acc-1", accessory.get());
  accessory->data().firmware_version = "9-9-9";  // shared with the object's clone
  host.calls.clear();
  EXPECT_EQ(config.get_firmware_version(), "9-9-9");
  EXPECT_EQ(host.calls.all(), Lines{"accessory.get_firmware_version()"});
}

}  // namespace
