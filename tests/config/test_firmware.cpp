// Firmware version parsing, the upgrade verdict (with and without downgrade
// support), and the firmware step that asks the host.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/config_probe.h"
#include "support/fake_host.h"
#include "support/json_tree.h"
#include "support/probe_config_test.h"

namespace {

using korrin_test::headset_records;
using korrin_test::JsonTree;
using korrin_test::LogRecord;
namespace level = korrin::log;

class FirmwareTest : public korrin_test::ProbeConfigTest {
 protected:
  // upgrade_firmware(cJSON*) on a model firmware list given as text.
  bool upgrade_from(const std::string& model_firmware, const std::string& current) {
    JsonTree tree = json(model_firmware);
    return config->upgrade_firmware(tree.get(), current);
  }
};

// The four records check_firmware_upgrade() always starts with.
std::vector<LogRecord> comparing(const std::string& candidate, const std::string& reported) {
  return {
      {level::info, "HeadsetConfigImpl: parse_firmware_version: Parsing: " + candidate},
      {level::notice,
       "HeadsetConfigImpl: check_firmware_upgrade: FW ver candidate from Configuration: " +
           candidate},
      {level::info, "HeadsetConfigImpl: parse_firmware_version: Parsing: " + reported},
      {level::notice,
       "HeadsetConfigImpl: check_firmware_upgrade: System info reported FW: " + reported},
  };
}

std::vector<LogRecord> plus(std::vector<LogRecord> records, const std::vector<LogRecord>& more) {
  records.insert(records.end(), more.begin(), more.end());
  return records;
}

// ---- parse_firmware_version ---------------------------------------------------

struct SplitCase {
  const char* version;
  std::vector<std::string> pieces;
};

TEST_F(FirmwareTest, VersionsSplitAtEveryDashKeepingEmptyPieces) {
  const std::vector<SplitCase> cases = {
      {"1-2-30", {"1", "2", "30"}},       {"abc", {"abc"}},     {"", {""}},
      {"1--2-", {"1", "", "2", ""}},      {"-", {"", ""}},      {"-1", {"", "1"}},
      {"2-1-beta3", {"2", "1", "beta3"}}, {"1_2.3", {"1_2.3"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.version);
    forget_calls();
    EXPECT_EQ(config->parse_firmware_version(c.version), c.pieces);
    EXPECT_EQ(host.log.records(),
              (std::vector<LogRecord>{
                  {level::info, std::string("HeadsetConfigImpl: parse_firmware_version: "
                                            "Parsing: ") +
                                    c.version}}));
  }
}

// ---- check_firmware_upgrade with the library's policy ------------------------

TEST_F(FirmwareTest, EqualVersionsNeedNoUpgrade) {
  EXPECT_EQ(config->check_firmware_upgrade("1-2-3", "1-2-3"), 0);
  EXPECT_EQ(
      host.log.records(),
      plus(comparing("1-2-3", "1-2-3"),
           {{level::info,
             "HeadsetConfigImpl: check_firmware_upgrade: versions are the same, do nothing"}}));
  EXPECT_EQ(config->policy_questions, 0);
}

TEST_F(FirmwareTest, EveryOtherWellNamedVersionIsInstalledOlderOnesIncluded) {
  EXPECT_EQ(config->check_firmware_upgrade("1-2-3", "1-2-4"), 1);
  EXPECT_EQ(host.log.records(), comparing("1-2-3", "1-2-4"));
  EXPECT_EQ(config->check_firmware_upgrade("1-2-5", "1-2-4"), 1);
  EXPECT_EQ(config->check_firmware_upgrade("1-2", "1-2-3"), 1);
  EXPECT_EQ(config->check_firmware_upgrade("2-1-beta3", "2-1-0"), 1);
  EXPECT_EQ(config->policy_questions, 4);
}

TEST_F(FirmwareTest, BadlyNamedCandidateIsRefused) {
  EXPECT_EQ(config->check_firmware_upgrade("1_2", "1-2"), 0);
  EXPECT_EQ(host.log.records(),
            plus(comparing("1_2", "1-2"),
                 {{level::warning,
                   "HeadsetConfigImpl: check_firmware_upgrade: naming format not supported, "
                   "candidate<1_2>, reported<1-2>"}}));
  EXPECT_EQ(config->policy_questions, 0);
}

TEST_F(FirmwareTest, BadlyNamedReportedVersionIsNotChecked) {
  EXPECT_EQ(config->check_firmware_upgrade("1-2", "1_2 (beta)"), 1);
}

TEST_F(FirmwareTest, EmptyVersionOnEitherSideIsItsOwnVerdict) {
  EXPECT_EQ(config->check_firmware_upgrade("", "1-2-3"), 3);
  EXPECT_EQ(host.log.records(),
            plus(comparing("", "1-2-3"),
                 {{level::info,
                   "HeadsetConfigImpl: check_firmware_upgrade: firmware version is "
                   "empty"}}));
  EXPECT_EQ(config->check_firmware_upgrade("1-2-3", ""), 3);
  EXPECT_EQ(config->check_firmware_upgrade("", ""), 3);
  EXPECT_EQ(config->policy_questions, 0);
}

// ---- check_firmware_upgrade without downgrade support -------------------------

struct VerdictCase {
  const char* candidate;
  const char* reported;
  int verdict;
  std::vector<LogRecord> after_comparison;
};

TEST_F(FirmwareTest, WithoutDowngradeSupportVersionsAreCompared) {
  config->downgrade_policy = false;
  const LogRecord formats{level::warning,
                          "HeadsetConfigImpl: check_firmware_upgrade: name formats do not match, "
                          "allow anyway"};
  const LogRecord dev{level::info,
                      "HeadsetConfigImpl: check_firmware_upgrade: switching between dev and "
                      "release, allow"};
  const std::vector<VerdictCase> cases = {
      {"1-2", "1-2-3", 1, {formats}},
      {"1-2-3-4", "1-2-3", 1, {formats}},
      {"1-2-dev", "1-2-3", 1, {dev}},
      {"1-2-3", "1-2-dev", 1, {dev}},
      {"1-2-3", "1-2-4", 2, {}},
      {"1-2-4", "1-2-3", 1, {}},
      {"1-10", "1-9", 1, {}},
      {"1-9", "1-10", 2, {}},
      {"2-0", "1-99", 1, {}},
      {"01-2", "1-2", 1, {}},
      {"1-2-3", "1-2-+", 1, {}},
      {"0-1", "+-1", 1, {}},
      {"1--2", "1-0-2", 1, {}},
      // Pieces beyond the range of long saturate instead of overflowing.
      {"99999999999999999999999-1", "1-1", 1, {}},
      {"1-1", "99999999999999999999999-1", 2, {}},
      {"99999999999999999999999-2", "99999999999999999998-1", 1, {}},
      // The naming and equality checks come before the policy.
      {"1_2",
       "1-2",
       0,
       {{level::warning,
         "HeadsetConfigImpl: check_firmware_upgrade: naming format not supported, "
         "candidate<1_2>, reported<1-2>"}}},
      {"1-2",
       "1-2",
       0,
       {{level::info,
         "HeadsetConfigImpl: check_firmware_upgrade: versions are the same, do "
         "nothing"}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.candidate) + " against " + c.reported);
    forget_calls();
    EXPECT_EQ(config->check_firmware_upgrade(c.candidate, c.reported), c.verdict);
    EXPECT_EQ(host.log.records(), plus(comparing(c.candidate, c.reported), c.after_comparison));
  }
}

// ---- upgrade_firmware(version, name, current) ---------------------------------

TEST_F(FirmwareTest, UpgradeIsRequestedAndRememberedUnderTheFirmwareLock) {
  config->upgrade_firmware("2-0-0", "H5 release", "1-2-3");
  EXPECT_EQ(config->requested_firmware(), "2-0-0");
  EXPECT_EQ(host.calls.excluding({"log.info", "log.notice(HeadsetConfigImpl: check_"}),
            (std::vector<std::string>{
                // settings_lock_ is #1, firmware_lock_ #2.
                "mutex.lock(#2)",
                "mutex.unlock(#2)",
                "log.notice(HeadsetConfigImpl: upgrade_firmware: Requesting upgrade to 2-0-0)",
                "device.request_firmware_upgrade(acc-1, 2-0-0, H5 release)",
                "log.debug(HeadsetConfigImpl: upgrade_firmware: Done)",
            }));
  EXPECT_EQ(host.device.calls_under_lock(), 0);
}

TEST_F(FirmwareTest, OlderConfiguredVersionIsRequestedUnderTheLibrarysPolicy) {
  config->upgrade_firmware("1-2-3", "H5 previous", "1-2-4");
  EXPECT_EQ(
      host.calls.starting_with("device."),
      (std::vector<std::string>{"device.request_firmware_upgrade(acc-1, 1-2-3, H5 previous)"}));
  EXPECT_EQ(config->requested_firmware(), "1-2-3");
  EXPECT_EQ(config->policy_questions, 1);
}

TEST_F(FirmwareTest, RefusedAnswerOfTheHostChangesNothing) {
  host.device.upgrade_answer = false;
  config->upgrade_firmware("2-0-0", "H5 release", "1-2-3");
  EXPECT_EQ(config->requested_firmware(), "2-0-0");
  EXPECT_EQ(host.log.texts().back(), "HeadsetConfigImpl: upgrade_firmware: Done");
}

TEST_F(FirmwareTest, SameVersionIsRememberedButNotRequested) {
  config->upgrade_firmware("1-2-3", "H5 release", "1-2-3");
  EXPECT_EQ(config->requested_firmware(), "1-2-3");
  EXPECT_EQ(host.calls.count("device."), 0u);
  EXPECT_EQ(host.log.records(),
            plus(comparing("1-2-3", "1-2-3"),
                 {
                     {level::info,
                      "HeadsetConfigImpl: check_firmware_upgrade: versions are the same, do "
                      "nothing"},
                     {level::notice,
                      "HeadsetConfigImpl: upgrade_firmware: No upgrade required. This firmware's "
                      "settings have been applied."},
                     {level::debug, "HeadsetConfigImpl: upgrade_firmware: Done"},
                 }));
}

TEST_F(FirmwareTest, RefusedDowngradeIsRememberedButNotRequested) {
  config->downgrade_policy = false;
  config->upgrade_firmware("1-2-3", "H5 release", "1-2-4");
  EXPECT_EQ(config->requested_firmware(), "1-2-3");
  EXPECT_EQ(host.calls.count("device."), 0u);
  const auto texts = host.log.texts();
  EXPECT_EQ(std::vector<std::string>(texts.end() - 2, texts.end()),
            headset_records({"upgrade_firmware: No support for firmware downgrade. Exiting.",
                             "upgrade_firmware: Done"}));
}

TEST_F(FirmwareTest, EmptyCandidateClearsTheRememberedVersionWithoutAMessage) {
  config->set_requested_firmware("2-0-0");
  config->upgrade_firmware("", "H5 release", "1-2-3");
  EXPECT_EQ(config->requested_firmware(), "");
  EXPECT_EQ(host.calls.count("device."), 0u);
  EXPECT_EQ(host.log.records(),
            plus(comparing("", "1-2-3"),
                 {
                     {level::info,
                      "HeadsetConfigImpl: check_firmware_upgrade: firmware version "
                      "is empty"},
                     {level::debug, "HeadsetConfigImpl: upgrade_firmware: Done"},
                 }));
}

TEST_F(FirmwareTest, RequestUpgradeReturnsTheHostsAnswer) {
  EXPECT_TRUE(config->request_upgrade("2-0-0", "fw"));
  host.device.upgrade_answer = false;
  EXPECT_FALSE(config->request_upgrade("2-0-1", "fw"));
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{"device.request_firmware_upgrade(acc-1, 2-0-0, fw)",
                                      "device.request_firmware_upgrade(acc-1, 2-0-1, fw)"}));
}

// ---- upgrade_firmware(model firmware list, current) ---------------------------

TEST_F(FirmwareTest, MissingModelFirmwareListFails) {
  EXPECT_FALSE(config->upgrade_firmware(nullptr, "1-2-3"));
  EXPECT_EQ(host.log.records(),
            (std::vector<LogRecord>{
                {level::notice,
                 "HeadsetConfigImpl: upgrade_firmware[PARSING-ERR]: Model_firmware_settings do "
                 "not exist"},
            }));
  EXPECT_EQ(host.calls.count("device."), 0u);
}

TEST_F(FirmwareTest, FirmwareNameIsRequired) {
  for (const char* list : {"[]", R"([{"firmwareVersion": "2-0-0"}])", "[5]", R"("LATEST")"}) {
    SCOPED_TRACE(list);
    forget_calls();
    EXPECT_FALSE(upgrade_from(list, "1-2-3"));
    const std::string count = std::string(list) == "[]" || list[0] == '"' ? "0" : "1";
    EXPECT_EQ(host.log.records(),
              (std::vector<LogRecord>{
                  {level::notice, "HeadsetConfigImpl: upgrade_firmware: received " + count +
                                      " entries for model firmware"},
                  {level::error,
                   "HeadsetConfigImpl: upgrade_firmware[QELM-ERR]: no/null firmare name in JSON"},
              }));
    EXPECT_EQ(host.calls.count("device."), 0u);
    EXPECT_EQ(config->requested_firmware(), "");
  }
}

TEST_F(FirmwareTest, NamedFirmwareIsRequestedWithTheWholeRecordSequence) {
  EXPECT_TRUE(
      upgrade_from(R"([{"firmwareName": "H5 release", "firmwareVersion": "2-0-0"}])", "1-2-3"));
  EXPECT_EQ(host.calls.excluding({"mutex."}),
            (std::vector<std::string>{
                "log.notice(HeadsetConfigImpl: upgrade_firmware: received 1 entries for model "
                "firmware)",
                "log.info(HeadsetConfigImpl: parse_firmware_version: Parsing: 2-0-0)",
                "log.notice(HeadsetConfigImpl: check_firmware_upgrade: FW ver candidate from "
                "Configuration: 2-0-0)",
                "log.info(HeadsetConfigImpl: parse_firmware_version: Parsing: 1-2-3)",
                "log.notice(HeadsetConfigImpl: check_firmware_upgrade: System info reported FW: "
                "1-2-3)",
                "log.notice(HeadsetConfigImpl: upgrade_firmware: Requesting upgrade to 2-0-0)",
                "device.request_firmware_upgrade(acc-1, 2-0-0, H5 release)",
                "log.debug(HeadsetConfigImpl: upgrade_firmware: Done)",
                "log.debug(HeadsetConfigImpl: upgrade_firmware: Success.)",
            }));
}

TEST_F(FirmwareTest, OnlyTheFirstOfSeveralEntriesIsUsed) {
  EXPECT_TRUE(upgrade_from(R"([{"firmwareName": "a", "firmwareVersion": "2-0-0"},
                               {"firmwareName": "b", "firmwareVersion": "3-0-0"},
                               {"firmwareName": "LATEST"}])",
                           "1-2-3"));
  EXPECT_EQ(host.log.texts().front(),
            "HeadsetConfigImpl: upgrade_firmware: received 3 entries for model firmware");
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{"device.request_firmware_upgrade(acc-1, 2-0-0, a)"}));
}

TEST_F(FirmwareTest, LatestInAnyCaseDelegatesToTheHostsDriver) {
  for (const char* name : {"LATEST", "latest", "LaTeSt"}) {
    SCOPED_TRACE(name);
    forget_calls();
    EXPECT_TRUE(upgrade_from(
        std::string(R"([{"firmwareName": ")") + name + R"(", "firmwareVersion": "2-0-0"}])",
        "1-2-3"));
    EXPECT_EQ(host.calls.excluding({"mutex."}),
              (std::vector<std::string>{
                  "log.notice(HeadsetConfigImpl: upgrade_firmware: received 1 entries for model "
                  "firmware)",
                  "log.notice(HeadsetConfigImpl: upgrade_firmware: Legacy Flow - delegate upgrade "
                  "to config driver)",
                  "device.delegate_upgrade(acc-1)",
                  "log.debug(HeadsetConfigImpl: upgrade_firmware: Success.)",
              }));
    // The legacy flow decides nothing itself.
    EXPECT_EQ(config->requested_firmware(), "");
  }
}

TEST_F(FirmwareTest, CurrentInAnyCaseKeepsTheRunningFirmware) {
  config->set_requested_firmware("1-0-0");
  for (const char* version : {"Current", "CURRENT", "current"}) {
    SCOPED_TRACE(version);
    forget_calls();
    EXPECT_TRUE(upgrade_from(
        std::string(R"([{"firmwareName": "H5", "firmwareVersion": ")") + version + "\"}]",
        "1-2-3"));
    EXPECT_EQ(host.calls.excluding({"mutex."}),
              (std::vector<std::string>{
                  "log.notice(HeadsetConfigImpl: upgrade_firmware: received 1 entries for model "
                  "firmware)",
                  "log.debug(HeadsetConfigImpl: upgrade_firmwarestay on current version, skip "
                  "upgrade)",
                  "log.debug(HeadsetConfigImpl: upgrade_firmware: Success.)",
              }));
    EXPECT_EQ(config->requested_firmware(), "1-0-0");
  }
}

TEST_F(FirmwareTest, MissingFirmwareVersionIsEmptyAndRequestsNothing) {
  config->set_requested_firmware("1-0-0");
  EXPECT_TRUE(upgrade_from(R"([{"firmwareName": "H5"}])", "1-2-3"));
  EXPECT_EQ(host.calls.count("device."), 0u);
  EXPECT_EQ(config->requested_firmware(), "");
}

TEST_F(FirmwareTest, NonStringFirmwareMembersReadAsEmptyTexts) {
  // A name that is not a string still counts as present, and reads as "".
  EXPECT_TRUE(upgrade_from(R"([{"firmwareName": 5, "firmwareVersion": "2-0-0"}])", "1-2-3"));
  EXPECT_TRUE(upgrade_from(R"([{"firmwareName": null, "firmwareVersion": "2-0-1"}])", "1-2-3"));
  EXPECT_TRUE(
      upgrade_from(R"([{"firmwareName": ["LATEST"], "firmwareVersion": "2-0-2"}])", "1-2-3"));
  // A version that is not a string reads as "" and so requests nothing.
  EXPECT_TRUE(upgrade_from(R"([{"firmwareName": "H5", "firmwareVersion": 200}])", "1-2-3"));
  EXPECT_TRUE(upgrade_from(R"([{"firmwareName": "H5", "firmwareVersion": {"v": "2"}}])", "1-2-3"));
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{
                "device.request_firmware_upgrade(acc-1, 2-0-0, )",
                "device.request_firmware_upgrade(acc-1, 2-0-1, )",
                "device.request_firmware_upgrade(acc-1, 2-0-2, )",
            }));
  EXPECT_EQ(config->requested_firmware(), "");
}

TEST_F(FirmwareTest, FirmwareMemberNamesAreLookedUpIgnoringCase) {
  EXPECT_TRUE(upgrade_from(R"([{"FIRMWARENAME": "H5", "firmwareversion": "2-0-0"}])", "1-2-3"));
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{"device.request_firmware_upgrade(acc-1, 2-0-0, H5)"}));
}

TEST_F(FirmwareTest, HostFailureWhileRequestingPassesToTheCallerWithNoLockHeld) {
  host.calls.arm_fault("device.request_firmware_upgrade");
  EXPECT_THROW(upgrade_from(R"([{"firmwareName": "H5", "firmwareVersion": "2-0-0"}])", "1-2-3"),
               korrin_test::InjectedFault);
  EXPECT_EQ(config->requested_firmware(), "2-0-0");
  EXPECT_EQ(korrin_test::FakeMutexFactory::held_by_this_thread(), 0);
  EXPECT_EQ(host.mutexes.violations(), 0);
}

}  // namespace
