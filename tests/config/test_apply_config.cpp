// Applying stored settings to the accessory: CONFIGURE and RESET rules, the
// follow-user marker, order, and the settings lock around host calls.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/config_param.h"
#include "support/expected_records.h"
#include "support/fake_host.h"
#include "support/lock_checks.h"

namespace {

using korrin::ConfigParam;
using korrin::config::ApplyType;
using korrin::config::CONFIGURE;
using korrin::config::HeadsetConfigImpl;
using korrin::config::RESET;
using korrin_test::AccessoryData;
using korrin_test::FakeHost;
using korrin_test::InjectedFault;
using korrin_test::param;
using Lines = std::vector<std::string>;

// The records of the object's apply_config_to_device.
const korrin_test::RecordsOf applying("HeadsetConfigImpl: apply_config_to_device");
const std::string kConfigure = applying.notice(": Apply type: CONFIGURE");
const std::string kReset = applying.notice(": Apply type: RESET");

// A device that runs a hook after recording each apply_setting (to act as a
// host that changes settings while the library is calling it).
class HookedDevice : public korrin_test::FakeDevice {
 public:
  using FakeDevice::FakeDevice;
  void apply_setting(const std::string& accessory_id, const std::string& key, int usage_id,
                     const std::string& value) override {
    FakeDevice::apply_setting(accessory_id, key, usage_id, value);
    if (hook) {
      hook(usage_id);
    }
  }
  std::function<void(int)> hook;
};

class ApplyConfigTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host.install();
    accessory_ = host.accessory(AccessoryData{});
    config_ = std::make_unique<HeadsetConfigImpl>("acc-1", accessory_.get());
  }
  void TearDown() override {
    config_.reset();
    EXPECT_EQ(host.mutexes.violations(), 0);
    EXPECT_EQ(korrin_test::FakeMutexFactory::held_by_this_thread(), 0);
    korrin_test::uninstall_plugins();
  }

  // Stores the entries, then applies them with a clean call log.
  void apply(const std::vector<ConfigParam>& entries, ApplyType type) {
    for (const auto& entry : entries) {
      config_->set_map_entry(entry.usage_id, entry);
    }
    host.calls.clear();
    config_->apply_config_to_device(type);
  }

  Lines device_calls() const { return host.calls.starting_with("device."); }
  Lines without_locks() const { return host.calls.excluding({"mutex."}); }

  FakeHost host;
  std::unique_ptr<korrin_test::FakeAccessory> accessory_;
  std::unique_ptr<HeadsetConfigImpl> config_;
};

TEST_F(ApplyConfigTest, EmptyMapReleasesTheLockThenLogsAnErrorAndSendsNothing) {
  apply({}, CONFIGURE);
  EXPECT_EQ(host.calls.all(),
            (Lines{"mutex.lock(#1)", "mutex.unlock(#1)",
                   "log.error(HeadsetConfigImpl: apply_config_to_device: No config settings found "
                   "to apply to device)"}));
}

TEST_F(ApplyConfigTest, EmptyMapUnderResetIsTheSameError) {
  apply({}, RESET);
  EXPECT_EQ(without_locks(), (Lines{"log.error(HeadsetConfigImpl: apply_config_to_device: No "
                                    "config settings found to apply to device)"}));
}

TEST_F(ApplyConfigTest, ConfigureSendsAnAdminEntryWithItsExactSequence) {
  apply({param(5, "volume", "7", "Admin")}, CONFIGURE);
  EXPECT_EQ(host.calls.all(), (Lines{"mutex.lock(#1)", "mutex.unlock(#1)", kConfigure,
                                     applying.debug(": volume : (usage id: 5 , value: 7)"),
                                     "device.apply_setting(acc-1, volume, 5, 7)", "mutex.lock(#1)",
                                     "mutex.unlock(#1)"}));
}

TEST_F(ApplyConfigTest, ConfigureWithOnlyAUserEntryLogsTheNoticeAndSendsNothing) {
  apply({param(5, "tone", "3", "User")}, CONFIGURE);
  EXPECT_EQ(without_locks(), Lines{kConfigure});
}

TEST_F(ApplyConfigTest, ConfigureIgnoresAnUnknownAccessClassSilently) {
  apply({param(5, "tone", "3", "Owner"), param(6, "gain", "2", "")}, CONFIGURE);
  EXPECT_EQ(without_locks(), (Lines{kConfigure, kConfigure}));
}

TEST_F(ApplyConfigTest, ConfigureSkipsADualEntryThatFollowsTheUser) {
  apply({param(9, "ring", "255", "Both", "3")}, CONFIGURE);
  EXPECT_EQ(
      without_locks(),
      (Lines{kConfigure, "device.set_follow_user_config(9, true)",
             applying.debug(" : skip dual setting - ring : (usage id: 9) , which is set to follow "
                            "user config")}));
}

TEST_F(ApplyConfigTest, ConfigureSendsADualEntryWithItsOwnValue) {
  apply({param(9, "ring", "4", "Both", "3")}, CONFIGURE);
  EXPECT_EQ(without_locks(),
            (Lines{kConfigure, "device.set_follow_user_config(9, false)",
                   applying.debug(" : apply dual setting - ring : (usage id: 9 , value: 4)"),
                   "device.apply_setting(acc-1, ring, 9, 4)"}));
}

TEST_F(ApplyConfigTest, ResetSendsTheUserValueOfAFollowingDualEntryButLogsTheMarker) {
  apply({param(9, "ring", "255", "Both", "3")}, RESET);
  EXPECT_EQ(without_locks(), (Lines{kReset, applying.debug(": ring : (usage id: 9 , value: 255)"),
                                    "device.apply_setting(acc-1, ring, 9, 3)"}));
}

TEST_F(ApplyConfigTest, ResetLeavesAdminAndNonFollowingDualEntriesAlone) {
  apply({param(5, "volume", "7", "Admin"), param(9, "ring", "4", "Both", "3")}, RESET);
  EXPECT_EQ(without_locks(), (Lines{kReset, kReset}));
}

TEST_F(ApplyConfigTest, ResetSendsUserAndUnknownEntriesWithTheirConfiguredValue) {
  apply({param(5, "tone", "3", "User", "8"), param(6, "gain", "2", "Owner")}, RESET);
  EXPECT_EQ(without_locks(), (Lines{kReset, applying.debug(": tone : (usage id: 5 , value: 3)"),
                                    "device.apply_setting(acc-1, tone, 5, 3)", kReset,
                                    applying.debug(": gain : (usage id: 6 , value: 2)"),
                                    "device.apply_setting(acc-1, gain, 6, 2)"}));
}

TEST_F(ApplyConfigTest, AnyTypeOtherThanConfigureBehavesAsReset) {
  const std::vector<ConfigParam> entries = {param(5, "volume", "7", "Admin"),
                                            param(6, "tone", "3", "User"),
                                            param(9, "ring", "255", "Both", "1")};
  apply(entries, RESET);
  const Lines as_reset = host.calls.all();
  host.calls.clear();
  config_->apply_config_to_device(static_cast<ApplyType>(7));
  EXPECT_EQ(host.calls.all(), as_reset);
  EXPECT_EQ(host.calls.count("device.apply_setting"), 2u);
}

TEST_F(ApplyConfigTest, AccessClassesAreMatchedIgnoringCase) {
  apply({param(5, "volume", "7", "admin"), param(9, "ring", "4", "bOTH")}, CONFIGURE);
  EXPECT_EQ(device_calls(), (Lines{"device.apply_setting(acc-1, volume, 5, 7)",
                                   "device.set_follow_user_config(9, false)",
                                   "device.apply_setting(acc-1, ring, 9, 4)"}));
}

TEST_F(ApplyConfigTest, EntriesGoOutInAscendingUsageIdOrder) {
  apply({param(30, "c", "3", "Admin"), param(2, "a", "1", "Admin"), param(17, "b", "2", "Admin")},
        CONFIGURE);
  EXPECT_EQ(device_calls(),
            (Lines{"device.apply_setting(acc-1, a, 2, 1)", "device.apply_setting(acc-1, b, 17, 2)",
                   "device.apply_setting(acc-1, c, 30, 3)"}));
}

TEST_F(ApplyConfigTest, NegativeUsageIdsArePrintedInDecimalAndSentFirst) {
  apply({param(4, "b", "1", "Admin"), param(-3, "a", "0", "Admin")}, CONFIGURE);
  EXPECT_EQ(without_locks(), (Lines{kConfigure, applying.debug(": a : (usage id: -3 , value: 0)"),
                                    "device.apply_setting(acc-1, a, -3, 0)", kConfigure,
                                    applying.debug(": b : (usage id: 4 , value: 1)"),
                                    "device.apply_setting(acc-1, b, 4, 1)"}));
}

TEST_F(ApplyConfigTest, TheMapKeyIsSentNotTheRecordsOwnUsageId) {
  ConfigParam entry = param(99, "volume", "7", "Admin");
  config_->set_map_entry(5, entry);
  host.calls.clear();
  config_->apply_config_to_device(CONFIGURE);
  EXPECT_EQ(device_calls(), Lines{"device.apply_setting(acc-1, volume, 5, 7)"});
}

// The follow-user marker is read as strtol reads base-10 text.
struct MarkerCase {
  const char* name;
  std::string value;
  bool follows;
};

// Parameterised test names already say which row failed; print just that.
void PrintTo(const MarkerCase& row, std::ostream* out) { *out << row.name; }

class FollowMarkerTest : public ApplyConfigTest,
                         public ::testing::WithParamInterface<MarkerCase> {};

TEST_P(FollowMarkerTest, ConfigureDecidesFollowByTheIntegerReading) {
  const MarkerCase& c = GetParam();
  apply({param(9, "ring", c.value, "Both", "3")}, CONFIGURE);
  if (c.follows) {
    EXPECT_EQ(device_calls(), Lines{"device.set_follow_user_config(9, true)"});
  } else {
    EXPECT_EQ(device_calls(), (Lines{"device.set_follow_user_config(9, false)",
                                     "device.apply_setting(acc-1, ring, 9, " + c.value + ")"}));
  }
}

TEST_P(FollowMarkerTest, ResetSendsTheUserValueOnlyForTheMarker) {
  const MarkerCase& c = GetParam();
  apply({param(9, "ring", c.value, "Both", "3")}, RESET);
  if (c.follows) {
    EXPECT_EQ(without_locks(),
              (Lines{kReset, applying.debug(": ring : (usage id: 9 , value: " + c.value + ")"),
                     "device.apply_setting(acc-1, ring, 9, 3)"}));
  } else {
    EXPECT_EQ(without_locks(), Lines{kReset});
  }
}

INSTANTIATE_TEST_SUITE_P(
    Values, FollowMarkerTest,
    ::testing::Values(MarkerCase{"Plain", "255", true}, MarkerCase{"LeadingBlank", " 255", true},
                      MarkerCase{"LeadingTab", "\t255", true},
                      MarkerCase{"TrailingLetters", "255abc", true},
                      MarkerCase{"PlusSign", "+255", true}, MarkerCase{"LeadingZero", "0255", true},
                      MarkerCase{"Decimal", "255.9", true}, MarkerCase{"Letters", "abc", false},
                      MarkerCase{"Empty", "", false}, MarkerCase{"Negative", "-255", false},
                      MarkerCase{"Other", "254", false}, MarkerCase{"Hex", "0xff", false},
                      MarkerCase{"BlankInside", "25 5", false}),
    [](const ::testing::TestParamInfo<MarkerCase>& row) { return std::string(row.param.name); });

TEST_F(ApplyConfigTest, ANonNumericDualValueReadsAsZeroAndIsSentUnderConfigure) {
  apply({param(9, "ring", "abc", "Both", "3")}, CONFIGURE);
  EXPECT_EQ(without_locks(),
            (Lines{kConfigure, "device.set_follow_user_config(9, false)",
                   applying.debug(" : apply dual setting - ring : (usage id: 9 , value: abc)"),
                   "device.apply_setting(acc-1, ring, 9, abc)"}));
}

// ---- the settings lock ------------------------------------------------------

std::vector<ConfigParam> mixed_entries() {
  return {param(1, "volume", "7", "Admin"), param(2, "tone", "3", "User"),
          param(3, "ring", "255", "Both", "5"), param(4, "gain", "4", "Both", "6"),
          param(5, "led", "on", "Other")};
}

TEST_F(ApplyConfigTest, NoLogRecordOrHostCallIsMadeUnderTheSettingsLock) {
  for (ApplyType type : {CONFIGURE, RESET}) {
    apply(mixed_entries(), type);
    EXPECT_EQ(korrin_test::lines_under_lock(host.calls.all(), {"log.", "device."}), Lines{});
    EXPECT_EQ(korrin_test::locks_left_held(host.calls.all()), std::vector<int>{});
  }
  EXPECT_EQ(host.device.calls_under_lock(), 0);
}

TEST_F(ApplyConfigTest, TheLockIsTakenOnceToStartAndOnceForEveryStep) {
  apply(mixed_entries(), CONFIGURE);
  EXPECT_EQ(host.calls.count("mutex.lock(#1)"), 6u);
  EXPECT_EQ(host.calls.count("mutex.unlock(#1)"), 6u);
  EXPECT_EQ(host.calls.count("mutex.lock(#2)"), 0u);  // the firmware lock is not involved
}

TEST_F(ApplyConfigTest, AFailingHostCallPropagatesAndLeavesNoLockTaken) {
  for (const auto& entry : mixed_entries()) {
    config_->set_map_entry(entry.usage_id, entry);
  }
  host.calls.clear();
  host.calls.arm_fault("device.apply_setting");
  EXPECT_THROW(config_->apply_config_to_device(CONFIGURE), InjectedFault);
  EXPECT_EQ(korrin_test::locks_left_held(host.calls.all()), std::vector<int>{});
  EXPECT_EQ(korrin_test::FakeMutexFactory::held_by_this_thread(), 0);
  // The walk stopped at the failing entry.
  EXPECT_EQ(device_calls(), Lines{"device.apply_setting(acc-1, volume, 1, 7)!"});
  // The lock is free again: the settings can still be stored.
  config_->set_map_entry(7, param(7, "x", "y", "Admin"));
}

TEST_F(ApplyConfigTest, ASettingStoredDuringTheWalkIsPickedUpBySameWalk) {
  HookedDevice device(&host.calls);
  korrin::Plugins table = host.table();
  table.device = &device;
  korrin::init(table);
  device.hook = [this](int usage_id) {
    if (usage_id == 1) {
      config_->set_map_entry(3, param(3, "late", "9", "Admin"));
    }
  };
  apply({param(1, "volume", "7", "Admin"), param(5, "gain", "2", "Admin")}, CONFIGURE);
  EXPECT_EQ(device_calls(), (Lines{"device.apply_setting(acc-1, volume, 1, 7)",
                                   "device.apply_setting(acc-1, late, 3, 9)",
                                   "device.apply_setting(acc-1, gain, 5, 2)"}));
}

TEST_F(ApplyConfigTest, ApplyingDoesNotChangeTheStoredSettings) {
  apply(mixed_entries(), CONFIGURE);
  config_->apply_config_to_device(RESET);
  auto settings = config_->retrieve_config();
  ASSERT_EQ(settings.size(), 5u);
  EXPECT_EQ(settings.at(3).value, "255");
  EXPECT_EQ(settings.at(3).user_value, "5");
  EXPECT_EQ(settings.at(4).value, "4");
}

TEST_F(ApplyConfigTest, MixedMapUnderConfigureMatchesTheSummaryTable) {
  apply(mixed_entries(), CONFIGURE);
  EXPECT_EQ(device_calls(), (Lines{"device.apply_setting(acc-1, volume, 1, 7)",
                                   "device.set_follow_user_config(3, true)",
                                   "device.set_follow_user_config(4, false)",
                                   "device.apply_setting(acc-1, gain, 4, 4)"}));
}

TEST_F(ApplyConfigTest, MixedMapUnderResetMatchesTheSummaryTable) {
  apply(mixed_entries(), RESET);
  EXPECT_EQ(device_calls(), (Lines{"device.apply_setting(acc-1, tone, 2, 3)",
                                   "device.apply_setting(acc-1, ring, 3, 5)",
                                   "device.apply_setting(acc-1, led, 5, on)"}));
}

}  // namespace
