// The configuration manager's singleton, registry, host operations on
// registered accessories and the pending-set primitives.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/config_members.h"
#include "support/config_param.h"
#include "support/expected_records.h"
#include "support/fake_host.h"
#include "support/lock_checks.h"

namespace {

using korrin::ConfigParam;
using korrin::config::CameraConfigImpl;
using korrin::config::ConfigImpl;
using korrin::config::ConfigInterface;
using korrin::config::ConfigManager;
using korrin::config::ConfigManagerImpl;
using korrin::config::HeadsetConfigImpl;
using korrin_test::AccessoryData;
using korrin_test::FakeAccessory;
using korrin_test::FakeHost;
using korrin_test::NotingAccessory;
using korrin_test::param;
using Lines = std::vector<std::string>;

const std::string kName = "Lib::ConfigManagerImpl: ";

const korrin_test::RecordsOf manager_log(kName);
const std::string kNotFound = manager_log.warning("get_config_object: Cannot find config object");

AccessoryData headset(const std::string& model = "Zelor H-5") {
  AccessoryData data;
  data.type = 1;
  data.model = model;
  return data;
}

AccessoryData camera() {
  AccessoryData data;
  data.type = 2;
  data.model = "Zelor C-1";
  return data;
}

// The manager's own records only (configuration objects log under other names).
Lines manager_lines(const FakeHost& host) {
  Lines out;
  for (const auto& line : host.calls.starting_with("log.")) {
    if (line.find("(" + kName) != std::string::npos) {
      out.push_back(line);
    }
  }
  return out;
}

// A manager whose configure_accessory is scripted, so initialize_accessory
// can be checked on its own (and shown to call it through the virtual table).
class ScriptedManager : public ConfigManagerImpl {
 public:
  bool configure_accessory(const std::string& id, std::string time) override {
    configure_calls.push_back(id + "|" + time);
    return answer;
  }
  std::vector<std::string> configure_calls;
  bool answer = true;
};

class ManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    live_at_start_ = FakeAccessory::live();
    host.install();
  }
  void TearDown() override {
    korrin::config::delete_config_manager();
    EXPECT_EQ(host.mutexes.live(), 0) << "every lock made must be destroyed";
    EXPECT_EQ(host.mutexes.violations(), 0);
    EXPECT_EQ(korrin_test::FakeMutexFactory::held_by_this_thread(), 0);
    EXPECT_EQ(FakeAccessory::live(), live_at_start_) << "every accessory copy must be deleted";
    korrin_test::uninstall_plugins();
  }

  ConfigManagerImpl* manager() { return ConfigManagerImpl::get_instance(); }

  FakeHost host;
  int live_at_start_ = 0;
};

// ---- singleton ------------------------------------------------------------------

TEST_F(ManagerTest, CreateMakesTheManagerWithAReentrantThenAnOrdinaryLock) {
  ConfigManager* created = korrin::config::create_config_manager();
  ASSERT_NE(created, nullptr);
  EXPECT_EQ(host.calls.all(),
            (Lines{"mutex_factory.create_mutex(1) -> #1", "mutex_factory.create_mutex(0) -> #2"}));
  EXPECT_TRUE(host.log.records().empty());
  EXPECT_EQ(dynamic_cast<ConfigManagerImpl*>(created), ConfigManagerImpl::get_instance());
}

TEST_F(ManagerTest, LaterCallsReturnTheSameManagerWithoutHostCalls) {
  ConfigManager* first = korrin::config::create_config_manager();
  host.calls.clear();
  EXPECT_EQ(korrin::config::create_config_manager(), first);
  EXPECT_EQ(ConfigManagerImpl::get_instance(), first);
  EXPECT_TRUE(host.calls.all().empty());
}

TEST_F(ManagerTest, DeleteReleasesTheRegistryUnderItsLockThenBothLocksInOrder) {
  korrin::config::create_config_manager();
  host.calls.clear();
  korrin::config::delete_config_manager();
  EXPECT_EQ(host.calls.all(),
            (Lines{"mutex.lock(#1)", "mutex.unlock(#1)", "mutex_factory.destroy_mutex(#1)",
                   "mutex_factory.destroy_mutex(#2)"}));
  EXPECT_EQ(host.mutexes.live(), 0);
}

TEST_F(ManagerTest, DeleteTwiceIsHarmlessAndCreateAfterwardsGivesANewEmptyManager) {
  ConfigManagerImpl* first = manager();
  auto accessory = host.accessory(headset());
  first->create_accessory("acc-1", accessory.get());
  ASSERT_EQ(first->get_number_of_configs(), 1);
  korrin::config::delete_config_manager();
  host.calls.clear();
  korrin::config::delete_config_manager();
  EXPECT_TRUE(host.calls.all().empty());

  ConfigManagerImpl* second = manager();
  EXPECT_EQ(host.calls.all(),
            (Lines{"mutex_factory.create_mutex(1) -> #5", "mutex_factory.create_mutex(0) -> #6"}));
  EXPECT_EQ(second->get_number_of_configs(), 0);
  EXPECT_EQ(second->get_config_object("acc-1"), nullptr);
  EXPECT_FALSE(second->is_configure_accessory_pending());
  EXPECT_EQ(second->get_number_of_pending_configs(), 0);
}

TEST_F(ManagerTest, DeletingTheManagerDeletesEveryObjectInKeyOrderUnderItsLock) {
  ConfigManagerImpl* m = manager();
  NotingAccessory accessory(headset(), &host.calls);
  m->create_accessory("b", &accessory);  // locks #3, #4
  m->create_accessory("a", &accessory);  // locks #5, #6
  m->mark_config_object_pending(m->get_config_object("b"));
  host.calls.clear();
  korrin::config::delete_config_manager();
  EXPECT_EQ(
      host.calls.all(),
      (Lines{"mutex.lock(#1)",
             // "a" first: its settings lock is #5
             "mutex.lock(#5)", "mutex.unlock(#5)", "accessory.destroyed",
             "mutex_factory.destroy_mutex(#6)", "mutex_factory.destroy_mutex(#5)", "mutex.lock(#3)",
             "mutex.unlock(#3)", "accessory.destroyed", "mutex_factory.destroy_mutex(#4)",
             "mutex_factory.destroy_mutex(#3)", "mutex.unlock(#1)",
             "mutex_factory.destroy_mutex(#1)", "mutex_factory.destroy_mutex(#2)"}));
}

TEST_F(ManagerTest, AFailingSecondLockReleasesTheFirstAndLeavesNoManager) {
  host.calls.arm_fault("mutex_factory.create_mutex", 2);
  EXPECT_THROW(korrin::config::create_config_manager(), korrin_test::InjectedFault);
  EXPECT_EQ(host.mutexes.live(), 0);
  host.calls.clear();
  ConfigManagerImpl* m = manager();
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(host.calls.all(),
            (Lines{"mutex_factory.create_mutex(1) -> #2", "mutex_factory.create_mutex(0) -> #3"}));
}

TEST_F(ManagerTest, AThrowingLockDoesNotStopTheManagerFromBeingDeleted) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  m->create_accessory("acc-1", accessory.get());
  host.calls.arm_fault("mutex.lock");
  korrin::config::delete_config_manager();
  EXPECT_EQ(host.calls.faults_thrown(), 1);
  // Object, locks and logger released all the same (checked in TearDown).
}

// ---- initialize_accessory ------------------------------------------------------

TEST_F(ManagerTest, InitializeRegistersACameraObjectForTypeTwo) {
  ScriptedManager m;
  auto accessory = host.accessory(camera());
  EXPECT_EQ(m.initialize_accessory("cam-1", accessory.get()), "cam-1");
  ConfigInterface* config = m.get_config_object("cam-1");
  ASSERT_NE(config, nullptr);
  EXPECT_NE(dynamic_cast<CameraConfigImpl*>(config), nullptr);
  EXPECT_EQ(config->get_type(), 2);
  EXPECT_EQ(m.get_number_of_configs(), 1);
}

TEST_F(ManagerTest, InitializeRegistersAHeadsetWithTheExactRecords) {
  ScriptedManager m;
  auto accessory = host.accessory(headset());
  host.calls.clear();
  EXPECT_EQ(m.initialize_accessory("acc-1", accessory.get()), "acc-1");
  EXPECT_NE(dynamic_cast<HeadsetConfigImpl*>(m.get_config_object("acc-1")), nullptr);
  EXPECT_EQ(manager_lines(host),
            (Lines{manager_log.notice("initialize_accessory: called for id: acc-1"), kNotFound,
                   manager_log.info("create_accessory: Creating Config object for id: acc-1"),
                   manager_log.notice("create_accessory: Config object created")}));
  EXPECT_EQ(m.configure_calls, Lines{"acc-1|"});
}

TEST_F(ManagerTest, InitializeCallsConfigureThroughTheVirtualTableAndEchoesItsAnswer) {
  ScriptedManager m;
  auto accessory = host.accessory(headset());
  m.answer = false;
  EXPECT_EQ(m.initialize_accessory("acc-1", accessory.get()), "");
  m.answer = true;
  EXPECT_EQ(m.initialize_accessory("acc-1", accessory.get()), "acc-1");
  EXPECT_EQ(m.configure_calls, (Lines{"acc-1|", "acc-1|"}));
}

TEST_F(ManagerTest, InitializeWithAnUnknownTypeRegistersNothingAndReturnsEmpty) {
  ScriptedManager m;
  auto known = host.accessory(headset());
  m.initialize_accessory("acc-1", known.get());
  AccessoryData data;
  data.type = 3;
  auto unknown = host.accessory(data);
  host.calls.clear();
  EXPECT_EQ(m.initialize_accessory("odd-1", unknown.get()), "");
  EXPECT_EQ(m.get_number_of_configs(), 1);
  EXPECT_EQ(m.get_config_object("odd-1"), nullptr);
  EXPECT_EQ(m.configure_calls, Lines{"acc-1|"});
  const Lines records = host.calls.starting_with("log.");
  EXPECT_EQ(Lines(records.begin(), records.begin() + 5),
            (Lines{manager_log.notice("initialize_accessory: called for id: odd-1"), kNotFound,
                   manager_log.info("create_accessory: Creating Config object for id: odd-1"),
                   "log.info(ConfigFactory: ::create_config: Unknown accessory type)",
                   manager_log.error("create_accessory: failed to create Config object")}));
}

TEST_F(ManagerTest, InitializeWithoutDescriptionLogsAndRegistersNothing) {
  ScriptedManager m;
  host.calls.clear();
  EXPECT_EQ(m.initialize_accessory("acc-1", nullptr), "");
  EXPECT_EQ(host.calls.all(),
            (Lines{manager_log.notice("initialize_accessory: called for id: acc-1"),
                   manager_log.error("initialize_accessoryno accessory info for id: acc-1")}));
  EXPECT_EQ(m.get_number_of_configs(), 0);
  EXPECT_TRUE(m.configure_calls.empty());
}

TEST_F(ManagerTest, InitializeTwiceKeepsOneObjectUpdatedWithTheNewDescription) {
  ScriptedManager m;
  auto first = host.accessory(headset("Zelor H-5"));
  m.initialize_accessory("acc-1", first.get());
  ConfigInterface* config = m.get_config_object("acc-1");
  config->set_config_retries(2);
  dynamic_cast<ConfigImpl*>(config)->set_map_entry(5, param(5, "volume", "7", "Admin"));
  auto second = host.accessory(headset("Zelor H-9"));
  const int live_before = FakeAccessory::live();
  host.calls.clear();
  EXPECT_EQ(m.initialize_accessory("acc-1", second.get()), "acc-1");
  EXPECT_EQ(m.get_config_object("acc-1"), config);
  EXPECT_EQ(m.get_number_of_configs(), 1);
  EXPECT_EQ(config->get_accessory()->get_model(), "Zelor H-9");
  EXPECT_EQ(config->get_config_retries(), 0);
  EXPECT_EQ(config->retrieve_config().size(), 1u);
  EXPECT_EQ(FakeAccessory::live(), live_before);
  EXPECT_EQ(manager_lines(host),
            Lines{manager_log.notice("initialize_accessory: called for id: acc-1")});
  EXPECT_EQ(m.configure_calls, (Lines{"acc-1|", "acc-1|"}));
}

// ---- registry primitives -------------------------------------------------------

TEST_F(ManagerTest, CreateAccessoryReturnsAndRegistersTheNewObject) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  ConfigInterface* config = m->create_accessory("acc-1", accessory.get());
  ASSERT_NE(config, nullptr);
  EXPECT_EQ(m->get_config_object("acc-1"), config);
  EXPECT_EQ(config->get_accessory_id(), "acc-1");
}

TEST_F(ManagerTest, AddConfigObjectOverwritesWithoutDeletingTheOldObject) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  ConfigInterface* old_object = create_config("acc-1", accessory.get());
  ConfigInterface* new_object = create_config("acc-1", accessory.get());
  m->add_config_object("acc-1", old_object);
  const int live_before = FakeAccessory::live();
  host.calls.clear();
  m->add_config_object("acc-1", new_object);
  EXPECT_EQ(host.calls.all(), (Lines{"mutex.lock(#1)", "mutex.unlock(#1)"}));
  EXPECT_EQ(FakeAccessory::live(), live_before);
  EXPECT_EQ(m->get_config_object("acc-1"), new_object);
  EXPECT_EQ(m->get_number_of_configs(), 1);
  delete_config(old_object);  // still ours: the manager never owned it after the overwrite
}

TEST_F(ManagerTest, LookUpOfAnUnknownIdWarnsAfterReleasingTheLock) {
  ConfigManagerImpl* m = manager();
  host.calls.clear();
  EXPECT_EQ(m->get_config_object("nope"), nullptr);
  EXPECT_EQ(host.calls.all(), (Lines{"mutex.lock(#1)", "mutex.unlock(#1)", kNotFound}));
}

TEST_F(ManagerTest, LookUpOfAKnownIdLogsNothing) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  ConfigInterface* config = m->create_accessory("acc-1", accessory.get());
  host.calls.clear();
  EXPECT_EQ(m->get_config_object("acc-1"), config);
  EXPECT_EQ(host.calls.all(), (Lines{"mutex.lock(#1)", "mutex.unlock(#1)"}));
}

TEST_F(ManagerTest, GetAccessoryLogsTheFind) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  ConfigInterface* config = m->create_accessory("acc-1", accessory.get());
  host.calls.clear();
  EXPECT_EQ(m->get_accessory("acc-1"), config);
  EXPECT_EQ(m->get_accessory("nope"), nullptr);
  EXPECT_EQ(manager_lines(host),
            (Lines{manager_log.notice("get_accessory: Found accessory config object for id: acc-1"),
                   kNotFound}));
}

TEST_F(ManagerTest, IdsAreCaseSensitive) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  m->create_accessory("Acc-1", accessory.get());
  EXPECT_EQ(m->get_config_object("acc-1"), nullptr);
}

TEST_F(ManagerTest, NumberOfConfigsCountsRegisteredObjectsUnderTheLock) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  EXPECT_EQ(m->get_number_of_configs(), 0);
  m->create_accessory("a", accessory.get());
  m->create_accessory("b", accessory.get());
  host.calls.clear();
  EXPECT_EQ(m->get_number_of_configs(), 2);
  EXPECT_EQ(host.calls.all(), (Lines{"mutex.lock(#1)", "mutex.unlock(#1)"}));
}

// ---- remove_accessory ------------------------------------------------------------

TEST_F(ManagerTest, RemovingAnUnknownIdLogsOnlyEnter) {
  ConfigManagerImpl* m = manager();
  m->set_configure_accessory_pending(true);
  host.calls.clear();
  m->remove_accessory("nope");
  EXPECT_EQ(host.calls.all(), (Lines{manager_log.notice("remove_accessory: ENTER"),
                                     "mutex.lock(#1)", "mutex.unlock(#1)"}));
  EXPECT_TRUE(m->is_configure_accessory_pending());
}

TEST_F(ManagerTest, RemovingTheOnlyPendingAccessoryClearsTheFlagInsideTheRegistryLock) {
  ConfigManagerImpl* m = manager();
  NotingAccessory accessory(headset(), &host.calls);
  ConfigInterface* config = m->create_accessory("acc-1", &accessory);  // locks #3, #4
  m->mark_config_object_pending(config);
  m->set_configure_accessory_pending(true);
  host.calls.clear();
  m->remove_accessory("acc-1");
  EXPECT_EQ(host.calls.all(),
            (Lines{manager_log.notice("remove_accessory: ENTER"), "mutex.lock(#1)",
                   manager_log.notice("remove_accessory: erased [1] pending config"),
                   "mutex.lock(#2)", "mutex.unlock(#2)", "mutex.lock(#3)", "mutex.unlock(#3)",
                   "accessory.destroyed", "mutex_factory.destroy_mutex(#4)",
                   "mutex_factory.destroy_mutex(#3)", "mutex.unlock(#1)"}));
  EXPECT_FALSE(m->is_configure_accessory_pending());
  EXPECT_EQ(m->get_number_of_configs(), 0);
  EXPECT_EQ(m->get_number_of_pending_configs(), 0);
}

TEST_F(ManagerTest, RemovingOnePendingAccessoryOfTwoKeepsTheRequestInProgress) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  m->mark_config_object_pending(m->create_accessory("a", accessory.get()));
  m->mark_config_object_pending(m->create_accessory("b", accessory.get()));
  m->set_configure_accessory_pending(true);
  m->remove_accessory("a");
  EXPECT_TRUE(m->is_configure_accessory_pending());
  EXPECT_EQ(m->get_number_of_pending_configs(), 1);
  EXPECT_EQ(m->get_pending_config_object(0), m->get_config_object("b"));
}

TEST_F(ManagerTest, RemovingANonPendingAccessoryErasesNothingFromThePendingSet) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  m->mark_config_object_pending(m->create_accessory("a", accessory.get()));
  m->create_accessory("b", accessory.get());
  m->set_configure_accessory_pending(true);
  host.calls.clear();
  m->remove_accessory("b");
  EXPECT_EQ(manager_lines(host),
            (Lines{manager_log.notice("remove_accessory: ENTER"),
                   manager_log.notice("remove_accessory: erased [0] pending config")}));
  EXPECT_TRUE(m->is_configure_accessory_pending());
  EXPECT_EQ(m->get_number_of_configs(), 1);
}

TEST_F(ManagerTest, RemovingWithAnEmptyPendingSetClearsTheFlag) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  m->create_accessory("a", accessory.get());
  m->set_configure_accessory_pending(true);
  m->remove_accessory("a");
  EXPECT_FALSE(m->is_configure_accessory_pending());
}

TEST_F(ManagerTest, PendingLockIsNeverTakenBeforeTheRegistryLockIsReleased) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  m->mark_config_object_pending(m->create_accessory("a", accessory.get()));
  m->set_configure_accessory_pending(true);
  host.calls.clear();
  m->remove_accessory("a");
  // #2 (pending) inside #1 (registry) is the allowed order; never #1 inside #2.
  EXPECT_EQ(korrin_test::lines_under_lock(host.calls.all(), {"mutex.lock(#1)"}, {2}), Lines{});
}

// ---- reset, retrieve, update from host --------------------------------------------

TEST_F(ManagerTest, ResetToAdminDefaultsResetsTheObject) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  auto* config = dynamic_cast<ConfigImpl*>(m->create_accessory("acc-1", accessory.get()));
  config->set_map_entry(5, param(5, "tone", "3", "User"));
  host.calls.clear();
  EXPECT_TRUE(m->reset_to_admin_defaults("acc-1"));
  EXPECT_EQ(host.calls.excluding({"mutex."}),
            (Lines{manager_log.notice("reset_to_admin_defaults: ENTER"),
                   "log.info(HeadsetConfigImpl: reset_config: Resetting config)",
                   "log.notice(HeadsetConfigImpl: apply_config_to_device: Apply type: RESET)",
                   "log.debug(HeadsetConfigImpl: apply_config_to_device: tone : (usage id: 5 , "
                   "value: 3))",
                   "device.apply_setting(acc-1, tone, 5, 3)"}));
}

// A configuration object whose reset answer is scripted.
class ScriptedResetConfig : public HeadsetConfigImpl {
 public:
  using HeadsetConfigImpl::HeadsetConfigImpl;
  bool reset_config() override { return answer; }
  bool update_from_host(const std::string& key, int usage_id, const std::string& value) override {
    if (key == "runtime") {
      throw std::runtime_error("no such setting " + value);
    }
    if (key == "logic") {
      throw std::logic_error("broken");
    }
    return HeadsetConfigImpl::update_from_host(key, usage_id, value);
  }
  bool answer = false;
};

TEST_F(ManagerTest, ResetToAdminDefaultsReturnsTheObjectsAnswer) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  auto* config = new ScriptedResetConfig("acc-1", accessory.get());
  m->add_config_object("acc-1", config);
  EXPECT_FALSE(m->reset_to_admin_defaults("acc-1"));
  config->answer = true;
  EXPECT_TRUE(m->reset_to_admin_defaults("acc-1"));
}

TEST_F(ManagerTest, ResetToAdminDefaultsOfAnUnknownIdIsFalse) {
  ConfigManagerImpl* m = manager();
  host.calls.clear();
  EXPECT_FALSE(m->reset_to_admin_defaults("nope"));
  EXPECT_EQ(host.calls.starting_with("log."),
            (Lines{manager_log.notice("reset_to_admin_defaults: ENTER"), kNotFound,
                   manager_log.notice(
                       "reset_to_admin_defaults: Config object of this type does not exist")}));
}

TEST_F(ManagerTest, RetrieveConfigReturnsACopyOfTheSettings) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  auto* config = dynamic_cast<ConfigImpl*>(m->create_accessory("acc-1", accessory.get()));
  config->set_map_entry(5, param(5, "volume", "7", "Admin"));
  config->set_map_entry(9, param(9, "ring", "255", "Both", "2"));
  host.calls.clear();
  std::map<int, ConfigParam> settings = m->retrieve_config("acc-1");
  ASSERT_EQ(settings.size(), 2u);
  EXPECT_EQ(settings.at(5).key, "volume");
  EXPECT_EQ(settings.at(9).user_value, "2");
  EXPECT_EQ(manager_lines(host), Lines{manager_log.notice("retrieve_config: ENTER")});
  settings[5].value = "changed";
  EXPECT_EQ(m->retrieve_config("acc-1").at(5).value, "7");
}

TEST_F(ManagerTest, RetrieveConfigOfAnUnknownIdIsEmptyWithAWarning) {
  ConfigManagerImpl* m = manager();
  host.calls.clear();
  EXPECT_TRUE(m->retrieve_config("nope").empty());
  EXPECT_EQ(host.calls.starting_with("log."),
            (Lines{manager_log.notice("retrieve_config: ENTER"), kNotFound,
                   manager_log.warning("retrieve_config: No config object")}));
}

TEST_F(ManagerTest, RetrieveOneSettingGivesItsValueAndLogsEnterTwice) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  auto* config = dynamic_cast<ConfigImpl*>(m->create_accessory("acc-1", accessory.get()));
  config->set_map_entry(5, param(5, "volume", "7", "Admin"));
  host.calls.clear();
  EXPECT_EQ(m->retrieve_config("acc-1", 5), "7");
  EXPECT_EQ(manager_lines(host), (Lines{manager_log.notice("retrieve_config: ENTER"),
                                        manager_log.notice("retrieve_config: ENTER")}));
}

TEST_F(ManagerTest, RetrieveAMissingUsageIdGivesAnEmptyString) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  auto* config = dynamic_cast<ConfigImpl*>(m->create_accessory("acc-1", accessory.get()));
  config->set_map_entry(5, param(5, "volume", "7", "Admin"));
  EXPECT_EQ(m->retrieve_config("acc-1", 9999), "");
  EXPECT_EQ(m->retrieve_config("nope", 5), "");
}

// The one-setting form goes through the virtual whole-map form.
class ScriptedRetrieveManager : public ConfigManagerImpl {
 public:
  using ConfigManagerImpl::retrieve_config;
  std::map<int, ConfigParam> retrieve_config(const std::string& id) override {
    std::map<int, ConfigParam> settings;
    settings[1] = param(1, "k", "from-override-" + id, "Admin");
    return settings;
  }
};

TEST_F(ManagerTest, RetrieveOneSettingUsesTheWholeMapThroughTheVirtualTable) {
  ScriptedRetrieveManager m;
  ConfigManager& as_interface = m;
  EXPECT_EQ(as_interface.retrieve_config("x", 1), "from-override-x");
  EXPECT_EQ(as_interface.retrieve_config("x", 2), "");
}

TEST_F(ManagerTest, UpdateConfigFromHostStoresTheSettingUnderItsUsageId) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  m->create_accessory("acc-1", accessory.get());
  host.calls.clear();
  EXPECT_TRUE(m->update_config_from_host("acc-1", "volume", 5, "7"));
  EXPECT_EQ(
      manager_lines(host),
      (Lines{manager_log.notice("update_config_from_host: ENTER"),
             manager_log.notice("get_accessory: Found accessory config object for id: acc-1")}));
  const auto settings = m->retrieve_config("acc-1");
  ASSERT_EQ(settings.count(5), 1u);
  EXPECT_EQ(settings.at(5).key, "volume");
  EXPECT_EQ(settings.at(5).value, "7");
}

TEST_F(ManagerTest, UpdateConfigFromHostOfAnUnknownIdIsFalse) {
  ConfigManagerImpl* m = manager();
  host.calls.clear();
  EXPECT_FALSE(m->update_config_from_host("nope", "volume", 5, "7"));
  EXPECT_EQ(host.calls.starting_with("log."),
            (Lines{manager_log.notice("update_config_from_host: ENTER"), kNotFound}));
}

TEST_F(ManagerTest, UpdateConfigFromHostTurnsARuntimeErrorIntoFalse) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  m->add_config_object("acc-1", new ScriptedResetConfig("acc-1", accessory.get()));
  host.calls.clear();
  EXPECT_FALSE(m->update_config_from_host("acc-1", "runtime", 5, "x"));
  EXPECT_EQ(manager_lines(host),
            (Lines{manager_log.notice("update_config_from_host: ENTER"),
                   manager_log.notice("get_accessory: Found accessory config object for id: acc-1"),
                   manager_log.error("update_config_from_host: no such setting x")}));
}

TEST_F(ManagerTest, UpdateConfigFromHostLetsOtherExceptionsThrough) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  m->add_config_object("acc-1", new ScriptedResetConfig("acc-1", accessory.get()));
  EXPECT_THROW(m->update_config_from_host("acc-1", "logic", 5, "x"), std::logic_error);
}

// ---- pending set and flag ---------------------------------------------------------

TEST_F(ManagerTest, MarkingTheSameObjectTwiceKeepsOneEntry) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  ConfigInterface* config = m->create_accessory("a", accessory.get());
  host.calls.clear();
  m->mark_config_object_pending(config);
  m->mark_config_object_pending(config);
  EXPECT_EQ(m->get_number_of_pending_configs(), 1);
  EXPECT_EQ(host.calls.all(), (Lines{"mutex.lock(#1)", "mutex.unlock(#1)", "mutex.lock(#1)",
                                     "mutex.unlock(#1)", "mutex.lock(#1)", "mutex.unlock(#1)"}));
}

TEST_F(ManagerTest, PendingObjectsAreReachedByPositionInPointerOrder) {
  ConfigManagerImpl* m = manager();
  auto accessory = host.accessory(headset());
  EXPECT_EQ(m->get_pending_config_object(0), nullptr);
  std::vector<ConfigInterface*> objects = {m->create_accessory("a", accessory.get()),
                                           m->create_accessory("b", accessory.get()),
                                           m->create_accessory("c", accessory.get())};
  for (ConfigInterface* config : objects) {
    m->mark_config_object_pending(config);
  }
  std::sort(objects.begin(), objects.end(), std::less<ConfigInterface*>());
  EXPECT_EQ(m->get_pending_config_object(0), objects[0]);
  EXPECT_EQ(m->get_pending_config_object(1), objects[1]);
  EXPECT_EQ(m->get_pending_config_object(2), objects[2]);
  EXPECT_EQ(m->get_pending_config_object(3), nullptr);
  EXPECT_EQ(m->get_pending_config_object(100), nullptr);
  EXPECT_EQ(m->get_pending_config_object(-1), nullptr);
}

TEST_F(ManagerTest, InProgressFlagStartsFalseAndIsGuardedByThePendingLock) {
  ConfigManagerImpl* m = manager();
  host.calls.clear();
  EXPECT_FALSE(m->is_configure_accessory_pending());
  m->set_configure_accessory_pending(true);
  EXPECT_TRUE(m->is_configure_accessory_pending());
  m->set_configure_accessory_pending(false);
  EXPECT_FALSE(m->is_configure_accessory_pending());
  Lines expected;
  for (int call = 0; call < 5; ++call) {
    expected.push_back("mutex.lock(#2)");
    expected.push_back("mutex.unlock(#2)");
  }
  EXPECT_EQ(host.calls.all(), expected);
}

}  // namespace
