// Merging a settings array into the settings map: validation order and
// records, usage-id and value conversion, access normalisation, the "Both"
// merge and the carry-over of the working record.
#include <gtest/gtest.h>

#include <climits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/config_probe.h"
#include "support/json_tree.h"
#include "support/probe_config_test.h"

namespace {

using korrin_test::headset_records;
using korrin_test::JsonTree;
using korrin_test::ProbeConfig;

const char kMissingName[] =
    "save_config_to_map[QELM-ERR]: Parameter extracted has missing KEY name. Cannot identify "
    "which parameter.";

std::string summary(int saved, std::size_t size) {
  return "save_config_to_map: Saved " + std::to_string(saved) +
         " settings. current map size: " + std::to_string(size);
}

class SettingsEntriesTest : public korrin_test::ProbeConfigTest {
 protected:
  int save(const std::string& array_text) {
    JsonTree array = json(array_text);
    return config->save_config_to_map(array.get());
  }
};

TEST_F(SettingsEntriesTest, EmptyArrayLogsTheSummaryWithNothingSaved) {
  EXPECT_EQ(save("[]"), 0);
  EXPECT_EQ(host.log.texts(), headset_records({summary(0, 0)}));
  EXPECT_TRUE(config->retrieve_config().empty());
  EXPECT_EQ(host.calls.count("mutex."), 0u);
}

TEST_F(SettingsEntriesTest, NullArrayIsAnEmptyArray) {
  EXPECT_EQ(config->save_config_to_map(nullptr), 0);
  EXPECT_EQ(host.log.texts(), headset_records({summary(0, 0)}));
}

TEST_F(SettingsEntriesTest, AdminEntryIsStoredUnderTheLockWithItsRecords) {
  EXPECT_EQ(save(R"([{"name": "volume", "usageId": 5, "value": 7, "access": "Admin"}])"), 1);
  EXPECT_EQ(settings(),
            (std::vector<std::string>{"5 usage_id=5 key=volume value=7 access=Admin user_value="}));
  EXPECT_EQ(host.calls.all(),
            (std::vector<std::string>{
                "mutex.lock(#1)",
                "mutex.unlock(#1)",
                "log.debug(HeadsetConfigImpl: save_config_to_map: 5, key: volume, value: 7, "
                "access: Admin)",
                "log.debug(HeadsetConfigImpl: " + summary(1, 1) + ")",
            }));
}

TEST_F(SettingsEntriesTest, OtherMembersOfAnEntryAreIgnored) {
  EXPECT_EQ(save(R"([{"name": "volume", "usageId": 5, "value": "7", "access": "User",
                     "comment": "loud", "key": "other"}])"),
            1);
  EXPECT_EQ(settings(),
            (std::vector<std::string>{"5 usage_id=5 key=volume value=7 access=User user_value="}));
}

TEST_F(SettingsEntriesTest, MemberNamesAreLookedUpIgnoringCase) {
  EXPECT_EQ(save(R"([{"NAME": "volume", "usageid": 5, "Value": "7", "ACCESS": "User"}])"), 1);
  EXPECT_EQ(settings(),
            (std::vector<std::string>{"5 usage_id=5 key=volume value=7 access=User user_value="}));
}

struct RejectedEntry {
  const char* entry;
  std::string record;
};

TEST_F(SettingsEntriesTest, EachBadEntryLogsItsFirstFailureOnly) {
  const std::string tag = "save_config_to_map[QELM-ERR]: ";
  const std::vector<RejectedEntry> cases = {
      // "name": missing, null, empty, or not a string at all.
      {R"({"usageId": 1, "value": 1, "access": "User"})", kMissingName},
      {R"({"name": null, "usageId": 1, "value": 1, "access": "User"})", kMissingName},
      {R"({"name": "", "usageId": 1, "value": 1, "access": "User"})", kMissingName},
      {R"({"name": 12, "usageId": 1, "value": 1, "access": "User"})", kMissingName},
      {R"({"name": ["tone"], "usageId": 1, "value": 1, "access": "User"})", kMissingName},
      {R"({"name": {"a": "tone"}, "usageId": 1, "value": 1, "access": "User"})", kMissingName},
      {R"({"name": true, "usageId": 1, "value": 1, "access": "User"})", kMissingName},
      {R"({})", kMissingName},
      // The name is checked before everything else.
      {R"({"name": ""})", kMissingName},
      // "usageId" missing or null, before the value is looked at.
      {R"({"name": "tone", "value": 1, "access": "User"})", tag + "Null Usage ID for param tone"},
      {R"({"name": "tone", "usageId": null, "value": null})", tag + "Null Usage ID for param tone"},
      // "value" missing or null, before the access is looked at.
      {R"({"name": "tone", "usageId": 1, "access": "User"})", tag + "Null Value for param tone"},
      {R"({"name": "tone", "usageId": "x", "value": null})", tag + "Null Value for param tone"},
      // "access" missing, null, empty or not a string, before the usage id is converted.
      {R"({"name": "tone", "usageId": 1, "value": 1})",
       tag + "Invalid Access field for param tone"},
      {R"({"name": "tone", "usageId": "x", "value": 1, "access": null})",
       tag + "Invalid Access field for param tone"},
      {R"({"name": "tone", "usageId": 1, "value": 1, "access": ""})",
       tag + "Invalid Access field for param tone"},
      {R"({"name": "tone", "usageId": 1, "value": 1, "access": 3})",
       tag + "Invalid Access field for param tone"},
      {R"({"name": "tone", "usageId": 1, "value": 1, "access": ["Admin"]})",
       tag + "Invalid Access field for param tone"},
      // Usage id: strings of digits only, numbers; nothing else. Before the value.
      {R"({"name": "tone", "usageId": "4a", "value": true, "access": "User"})",
       tag + "Invalid Usage ID for param tone"},
      {R"({"name": "tone", "usageId": "-1", "value": 1, "access": "User"})",
       tag + "Invalid Usage ID for param tone"},
      {R"({"name": "tone", "usageId": " 42", "value": 1, "access": "User"})",
       tag + "Invalid Usage ID for param tone"},
      {R"({"name": "tone", "usageId": "42 ", "value": 1, "access": "User"})",
       tag + "Invalid Usage ID for param tone"},
      {R"({"name": "tone", "usageId": "", "value": 1, "access": "User"})",
       tag + "Invalid Usage ID for param tone"},
      {R"({"name": "tone", "usageId": "+4", "value": 1, "access": "User"})",
       tag + "Invalid Usage ID for param tone"},
      {R"({"name": "tone", "usageId": "4.2", "value": 1, "access": "User"})",
       tag + "Invalid Usage ID for param tone"},
      {R"({"name": "tone", "usageId": "0x10", "value": 1, "access": "User"})",
       tag + "Invalid Usage ID for param tone"},
      {R"({"name": "tone", "usageId": true, "value": 1, "access": "User"})",
       tag + "Invalid Usage ID for param tone"},
      {R"({"name": "tone", "usageId": [4], "value": 1, "access": "User"})",
       tag + "Invalid Usage ID for param tone"},
      {R"({"name": "tone", "usageId": {"id": 4}, "value": 1, "access": "User"})",
       tag + "Invalid Usage ID for param tone"},
      // Value: numbers and strings only.
      {R"({"name": "tone", "usageId": 1, "value": true, "access": "User"})",
       tag + "Invalid Value for param tone"},
      {R"({"name": "tone", "usageId": 1, "value": false, "access": "User"})",
       tag + "Invalid Value for param tone"},
      {R"({"name": "tone", "usageId": 1, "value": [1], "access": "User"})",
       tag + "Invalid Value for param tone"},
      {R"({"name": "tone", "usageId": 1, "value": {}, "access": "User"})",
       tag + "Invalid Value for param tone"},
  };
  for (const auto& rejected : cases) {
    SCOPED_TRACE(rejected.entry);
    forget_calls();
    EXPECT_EQ(save(std::string("[") + rejected.entry + "]"), 0);
    EXPECT_EQ(host.log.records(),
              (std::vector<korrin_test::LogRecord>{
                  {korrin::log::notice, "HeadsetConfigImpl: " + rejected.record},
                  {korrin::log::debug, "HeadsetConfigImpl: " + summary(0, 0)},
              }));
    EXPECT_TRUE(config->retrieve_config().empty());
    // Nothing is stored and the configuration URL is never asked for.
    EXPECT_EQ(host.calls.count("mutex."), 0u);
    EXPECT_EQ(host.calls.count("system_info."), 0u);
  }
}

TEST_F(SettingsEntriesTest, ElementsThatAreNotObjectsHaveNoName) {
  EXPECT_EQ(save(R"([1, "volume", null, true, [], [{"name": "x"}]])"), 0);
  EXPECT_EQ(host.log.texts(),
            headset_records({kMissingName, kMissingName, kMissingName, kMissingName, kMissingName,
                             kMissingName, summary(0, 0)}));
}

TEST_F(SettingsEntriesTest, BadEntriesCostOnlyThemselves) {
  EXPECT_EQ(save(R"([
      {"name": "volume", "usageId": 5, "value": 7, "access": "Admin"},
      {"name": "tone", "usageId": "5x", "value": 1, "access": "User"},
      {"name": "mute", "usageId": 6, "value": "on", "access": "User"}])"),
            2);
  EXPECT_EQ(host.log.texts(), headset_records({
                                  "save_config_to_map: 5, key: volume, value: 7, access: Admin",
                                  "save_config_to_map[QELM-ERR]: Invalid Usage ID for param tone",
                                  "save_config_to_map: 6, key: mute, value: on, access: User",
                                  summary(2, 2),
                              }));
}

struct UsageIdCase {
  const char* usage_id_json;
  int stored_under;
  int logged_as;
};

TEST_F(SettingsEntriesTest, UsageIdConversion) {
  // Numbers beyond int range saturate (cJSON's integer value); digit strings
  // beyond it saturate at INT_MAX the same way. The record shows cJSON's
  // integer value, which is 0 for a string.
  const std::vector<UsageIdCase> cases = {
      {"42", 42, 42},
      {R"("42")", 42, 0},
      {R"("007")", 7, 0},
      {R"("0")", 0, 0},
      {"42.7", 42, 42},
      {"-42.7", -42, -42},
      {"-1", -1, -1},
      {"0", 0, 0},
      {"2147483647", INT_MAX, INT_MAX},
      {"2147483648", INT_MAX, INT_MAX},
      {"-2147483648", INT_MIN, INT_MIN},
      {"-2147483649", INT_MIN, INT_MIN},
      {"1e300", INT_MAX, INT_MAX},
      {"-1e300", INT_MIN, INT_MIN},
      {"1e999", INT_MAX, INT_MAX},
      {R"("2147483647")", INT_MAX, 0},
      {R"("2147483648")", INT_MAX, 0},
      {R"("99999999999999999999999999999999")", INT_MAX, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.usage_id_json);
    config = std::make_unique<ProbeConfig>("acc-1", accessory.get());
    forget_calls();
    EXPECT_EQ(
        save(std::string(R"([{"name": "volume", "access": "Admin", "value": 1, "usageId": )") +
             c.usage_id_json + "}]"),
        1);
    const auto stored = config->retrieve_config();
    ASSERT_EQ(stored.size(), 1u);
    EXPECT_EQ(stored.begin()->first, c.stored_under);
    EXPECT_EQ(stored.begin()->second.usage_id, c.stored_under);
    EXPECT_EQ(host.log.texts().front(),
              "HeadsetConfigImpl: save_config_to_map: " + std::to_string(c.logged_as) +
                  ", key: volume, value: 1, access: Admin");
  }
}

TEST_F(SettingsEntriesTest, DigitStringAndNumberNameTheSameEntry) {
  EXPECT_EQ(save(R"([{"name": "volume", "usageId": "42", "value": 1, "access": "Admin"},
                     {"name": "volume", "usageId": 42, "value": 2, "access": "Admin"}])"),
            2);
  EXPECT_EQ(
      settings(),
      (std::vector<std::string>{"42 usage_id=42 key=volume value=2 access=Admin user_value="}));
}

struct ValueCase {
  const char* value_json;
  const char* stored;
};

TEST_F(SettingsEntriesTest, ValueConversion) {
  // Numbers keep their integer part only (cJSON's integer value, saturated
  // at the int range); strings are kept exactly.
  const std::vector<ValueCase> cases = {
      {"3.9", "3"},
      {"-3.9", "-3"},
      {"0", "0"},
      {"-0", "0"},
      {"120", "120"},
      {"1e3", "1000"},
      {"1e20", "2147483647"},
      {"-1e20", "-2147483648"},
      {"1e999", "2147483647"},
      {R"("3.9")", "3.9"},
      {R"("")", ""},
      {R"(" on ")", " on "},
      {R"("caf\u00e9")", "caf\xc3\xa9"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.value_json);
    forget_calls();
    EXPECT_EQ(
        save(std::string(R"([{"name": "volume", "access": "Admin", "usageId": 9, "value": )") +
             c.value_json + "}]"),
        1);
    EXPECT_EQ(config->retrieve_config().at(9).value, c.stored);
  }
}

struct AccessCase {
  const char* access;
  const char* stored;
};

TEST_F(SettingsEntriesTest, AccessIsNormalisedToUserUnlessAdminOrBoth) {
  const std::vector<AccessCase> cases = {
      {"Admin", "Admin"}, {"admin", "admin"}, {"ADMIN", "ADMIN"}, {"User", "User"},
      {"user", "User"},   {"USER", "User"},   {"Owner", "User"},  {" Admin", "User"},
      {"Admins", "User"}, {"Both", "Both"},   {"BOTH", "BOTH"},   {"bOtH", "bOtH"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.access);
    config = std::make_unique<ProbeConfig>("acc-1", accessory.get());
    forget_calls();
    EXPECT_EQ(save(std::string(R"([{"name": "tone_Admin", "usageId": 3, "value": 7, "access": ")") +
                   c.access + "\"}]"),
              1);
    const auto stored = config->retrieve_config();
    ASSERT_EQ(stored.size(), 1u);
    EXPECT_EQ(stored.at(3).access, c.stored);
    // A "Both" entry is named by the text before "_"; any other by its full name.
    const bool both = std::string(c.stored) != "User" && !equals_ignore_case("Admin", c.stored);
    EXPECT_EQ(stored.at(3).key, both ? "tone" : "tone_Admin");
  }
}

TEST_F(SettingsEntriesTest, UserPairHalfCreatesTheEntryAndAdminHalfCompletesItInPlace) {
  EXPECT_EQ(save(R"([{"name": "tone_User", "usageId": 5, "value": 3, "access": "Both"},
                     {"name": "tone_Admin", "usageId": 5, "value": 7, "access": "Both"}])"),
            1);
  EXPECT_EQ(settings(),
            (std::vector<std::string>{"5 usage_id=5 key=tone value=7 access=Both user_value=3"}));
  // The second half is not stored through the lock and not counted.
  EXPECT_EQ(host.calls.all(),
            (std::vector<std::string>{
                "mutex.lock(#1)",
                "mutex.unlock(#1)",
                "log.debug(HeadsetConfigImpl: save_config_to_map: 5, key: tone, value: 7, "
                "user_value:3, access: Both)",
                "log.debug(HeadsetConfigImpl: " + summary(1, 1) + ")",
            }));
}

TEST_F(SettingsEntriesTest, FirstPairHalfTakesTheValueTheWorkingRecordHeld) {
  // tone_User sets only the user value; its value is what "volume" left.
  EXPECT_EQ(save(R"([{"name": "volume", "usageId": 2, "value": 9, "access": "Admin"},
                     {"name": "tone_User", "usageId": 5, "value": 3, "access": "Both"}])"),
            2);
  EXPECT_EQ(settings(), (std::vector<std::string>{
                            "2 usage_id=2 key=volume value=9 access=Admin user_value=",
                            "5 usage_id=5 key=tone value=9 access=Both user_value=3",
                        }));
}

TEST_F(SettingsEntriesTest, AdminHalfFirstThenUserHalf) {
  EXPECT_EQ(save(R"([{"name": "ring_tone_Admin", "usageId": 8, "value": "7", "access": "both"},
                     {"name": "ring_tone_User", "usageId": 8, "value": "255", "access": "BOTH"}])"),
            1);
  // The key is the text before the first "_"; the spelling of the first half's access is kept.
  EXPECT_EQ(settings(),
            (std::vector<std::string>{"8 usage_id=8 key=ring value=7 access=both user_value=255"}));
  EXPECT_EQ(host.log.texts(),
            headset_records({"save_config_to_map: 8, key: ring, value: 7, user_value:255, "
                             "access: BOTH",
                             summary(1, 1)}));
}

TEST_F(SettingsEntriesTest, BothEntryForAnExistingIdChangesOnlyValueOrUserValue) {
  ASSERT_EQ(save(R"([{"name": "tone_Admin", "usageId": 5, "value": 7, "access": "Both"},
                     {"name": "tone_User", "usageId": 5, "value": 3, "access": "Both"}])"),
            1);
  forget_calls();
  // A later array: another name for the same id keeps key and access, and
  // the update runs without the lock.
  EXPECT_EQ(save(R"([{"name": "other_Admin", "usageId": 5, "value": 8, "access": "BOTH"},
                     {"name": "other_Other", "usageId": 5, "value": 9, "access": "Both"},
                     {"name": "otherUser", "usageId": 5, "value": 4, "access": "Both"}])"),
            0);
  EXPECT_EQ(settings(),
            (std::vector<std::string>{"5 usage_id=5 key=tone value=8 access=Both user_value=4"}));
  EXPECT_EQ(host.calls.count("mutex."), 0u);
  // "otherUser" has no "_": the URL is asked for before the existing entry is found.
  EXPECT_EQ(host.log.texts(),
            headset_records({
                "save_config_to_map: 5, key: tone, value: 8, user_value:3, access: BOTH",
                "save_config_to_map: 5, key: tone, value: 8, user_value:3, access: Both",
                "get_config_url: tokenized url: http://{tftp}/config/{userid}.json",
                "save_config_to_map: 5, key: tone, value: 8, user_value:4, access: Both",
                summary(0, 1),
            }));
}

TEST_F(SettingsEntriesTest, BothEntryOverExistingPlainEntryUpdatesItInPlace) {
  ASSERT_EQ(save(R"([{"name": "volume", "usageId": 5, "value": 7, "access": "Admin"}])"), 1);
  EXPECT_EQ(save(R"([{"name": "volume_User", "usageId": 5, "value": 2, "access": "Both"}])"), 0);
  EXPECT_EQ(
      settings(),
      (std::vector<std::string>{"5 usage_id=5 key=volume value=7 access=Admin user_value=2"}));
}

TEST_F(SettingsEntriesTest, PlainEntryReplacesAnExistingEntryEntirely) {
  ASSERT_EQ(save(R"([{"name": "tone_User", "usageId": 5, "value": 3, "access": "Both"}])"), 1);
  // The working record is new in this call, so user_value is empty again.
  EXPECT_EQ(save(R"([{"name": "tone", "usageId": 5, "value": 1, "access": "User"}])"), 1);
  EXPECT_EQ(settings(),
            (std::vector<std::string>{"5 usage_id=5 key=tone value=1 access=User user_value="}));
}

TEST_F(SettingsEntriesTest, BothEntryWithoutUnderscoreIsSkippedSilentlyOutsideTheDefaultFile) {
  EXPECT_EQ(save(R"([{"name": "toneAdmin", "usageId": 5, "value": 7, "access": "Both"}])"), 0);
  EXPECT_TRUE(config->retrieve_config().empty());
  EXPECT_EQ(host.calls.excluding({"mutex."}),
            (std::vector<std::string>{
                "system_info.get_config_url_template()",
                "log.info(HeadsetConfigImpl: get_config_url: tokenized url: "
                "http://{tftp}/config/{userid}.json)",
                "system_info.get_config_server(0)",
                "system_info.get_user_id()",
                "log.debug(HeadsetConfigImpl: " + summary(0, 0) + ")",
            }));
}

TEST_F(SettingsEntriesTest, BothEntryNotEndingInAdminOrUserIsSkippedSilentlyWhateverTheUrl) {
  for (const std::string url_template : {"http://{tftp}/x.json", ""}) {
    SCOPED_TRACE(url_template);
    host.system_info.config_url_template = url_template;
    forget_calls();
    EXPECT_EQ(save(R"([{"name": "tone_Other", "usageId": 5, "value": 7, "access": "Both"}])"), 0);
    EXPECT_TRUE(config->retrieve_config().empty());
    // The name holds "_", so the URL is not even asked for.
    EXPECT_EQ(host.calls.all(),
              (std::vector<std::string>{"log.debug(HeadsetConfigImpl: " + summary(0, 0) + ")"}));
  }
}

TEST_F(SettingsEntriesTest, BothEntryWithoutUnderscoreIsAUserSettingInTheDefaultFile) {
  // An empty template makes the configuration URL the default file name.
  host.system_info.config_url_template = "";
  EXPECT_EQ(save(R"([{"name": "volume", "usageId": 5, "value": 7, "access": "Both"}])"), 1);
  EXPECT_EQ(settings(),
            (std::vector<std::string>{"5 usage_id=5 key=volume value=7 access=User user_value="}));
  EXPECT_EQ(host.log.texts(), headset_records({
                                  "get_config_url: tokenized url: ",
                                  "save_config_to_map: 5, key: volume, value: 7, access: User",
                                  summary(1, 1),
                              }));
}

TEST_F(SettingsEntriesTest, DefaultFileNameIsComparedIgnoringCase) {
  host.system_info.config_url_template = "DefaultHeadsetConfig.JSON";
  EXPECT_EQ(save(R"([{"name": "toneAdmin", "usageId": 5, "value": 7, "access": "BOTH"}])"), 1);
  EXPECT_EQ(
      settings(),
      (std::vector<std::string>{"5 usage_id=5 key=toneAdmin value=7 access=User user_value="}));
}

TEST_F(SettingsEntriesTest, PairNamesInTheDefaultFileAreStillPairs) {
  host.system_info.config_url_template = "";
  EXPECT_EQ(save(R"([{"name": "tone_Admin", "usageId": 5, "value": 7, "access": "Both"}])"), 1);
  EXPECT_EQ(settings(),
            (std::vector<std::string>{"5 usage_id=5 key=tone value=7 access=Both user_value="}));
  EXPECT_EQ(host.calls.count("system_info."), 0u);
}

TEST_F(SettingsEntriesTest, PlainEntryAfterABothEntryCarriesItsUserValue) {
  EXPECT_EQ(save(R"([{"name": "tone_User", "usageId": 5, "value": 3, "access": "Both"},
                     {"name": "volume", "usageId": 6, "value": 7, "access": "Admin"},
                     {"name": "mute", "usageId": 4, "value": "off", "access": "User"}])"),
            3);
  EXPECT_EQ(settings(), (std::vector<std::string>{
                            "4 usage_id=4 key=mute value=off access=User user_value=3",
                            "5 usage_id=5 key=tone value= access=Both user_value=3",
                            "6 usage_id=6 key=volume value=7 access=Admin user_value=3",
                        }));
}

TEST_F(SettingsEntriesTest, SkippedBothEntryStillLeavesItsValueInTheWorkingRecord) {
  // "toneAdmin" sets the working value before it is dropped for lacking "_";
  // the next new pair half inherits it.
  EXPECT_EQ(save(R"([{"name": "toneAdmin", "usageId": 5, "value": 9, "access": "Both"},
                     {"name": "ring_User", "usageId": 6, "value": 1, "access": "Both"}])"),
            1);
  EXPECT_EQ(settings(),
            (std::vector<std::string>{"6 usage_id=6 key=ring value=9 access=Both user_value=1"}));
}

TEST_F(SettingsEntriesTest, RejectedEntriesLeaveTheWorkingRecordAlone) {
  EXPECT_EQ(save(R"([{"name": "tone_User", "usageId": 5, "value": 3, "access": "Both"},
                     {"name": "ring_User", "usageId": 6, "value": true, "access": "Both"},
                     {"name": "ring_Admin", "usageId": 6, "value": 4, "access": "Both"}])"),
            2);
  EXPECT_EQ(settings(), (std::vector<std::string>{
                            "5 usage_id=5 key=tone value= access=Both user_value=3",
                            "6 usage_id=6 key=ring value=4 access=Both user_value=3",
                        }));
}

TEST_F(SettingsEntriesTest, SummaryCountsTheWholeMap) {
  config->update_from_host("volume", 1, "3");
  forget_calls();
  EXPECT_EQ(save(R"([{"name": "mute", "usageId": 2, "value": 0, "access": "User"}])"), 1);
  EXPECT_EQ(host.log.texts().back(), "HeadsetConfigImpl: " + summary(1, 2));
}

TEST_F(SettingsEntriesTest, ObjectInPlaceOfAnArrayIsWalkedThroughItsMembers) {
  // cJSON's container walk: the members of an object are its elements.
  EXPECT_EQ(save(R"({"a": {"name": "volume", "usageId": 5, "value": 7, "access": "Admin"},
                     "b": 3})"),
            1);
  EXPECT_EQ(host.log.texts(), headset_records({
                                  "save_config_to_map: 5, key: volume, value: 7, access: Admin",
                                  kMissingName,
                                  summary(1, 1),
                              }));
}

TEST_F(SettingsEntriesTest, ScalarInPlaceOfAnArrayHasNoEntries) {
  EXPECT_EQ(save(R"("volume")"), 0);
  EXPECT_EQ(save("12"), 0);
  EXPECT_EQ(host.log.texts(), headset_records({summary(0, 0), summary(0, 0)}));
}

TEST_F(SettingsEntriesTest, HostFailureWhileStoringPropagates) {
  host.calls.arm_fault("mutex.lock");
  EXPECT_THROW(save(R"([{"name": "volume", "usageId": 5, "value": 7, "access": "Admin"}])"),
               korrin_test::InjectedFault);
  EXPECT_TRUE(config->retrieve_config().empty());
  EXPECT_EQ(host.mutexes.violations(), 0);
  EXPECT_EQ(korrin_test::FakeMutexFactory::held_by_this_thread(), 0);
}

TEST_F(SettingsEntriesTest, HundredThousandEntriesAreAllStored) {
  // A long array must be walked once; this would take minutes with indexed access.
  constexpr int kEntries = 100000;
  std::string text = "[";
  for (int i = 0; i < kEntries; ++i) {
    text += (i == 0 ? "" : ",");
    text += R"({"name":"setting)" + std::to_string(i) + R"(","usageId":)" + std::to_string(i) +
            R"(,"value":)" + std::to_string(i % 7) + R"(,"access":"Admin"})";
  }
  text += "]";
  EXPECT_EQ(save(text), kEntries);
  const auto stored = config->retrieve_config();
  ASSERT_EQ(stored.size(), static_cast<std::size_t>(kEntries));
  EXPECT_EQ(stored.at(99999).key, "setting99999");
  EXPECT_EQ(stored.at(99999).value, "4");  // 99999 % 7
  EXPECT_EQ(host.log.texts().back(), "HeadsetConfigImpl: " + summary(kEntries, kEntries));
}

}  // namespace
