// Which library records a plan counts as warnings: those at warning level or
// above, and those carrying one of the library's error tags after the name
// of the function that logged them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "korrin/error_tags.h"
#include "korrin_plan/warnings.h"

namespace {

using korrin_host::LogRecord;
using korrin_plan::error_tag_of;
using korrin_plan::is_warning;

struct TagCase {
  std::string text;
  std::string tag;
};

TEST(HostPlanWarnings, FindsTheTagDirectlyAfterTheFunctionName) {
  const std::vector<TagCase> cases = {
      {"HeadsetConfigImpl: save_config_to_map[QELM-ERR]: Null Value for param x", "[QELM-ERR]"},
      {"CameraConfigImpl: upgrade_firmware[PARSING-ERR]: Model_firmware_settings do not exist",
       "[PARSING-ERR]"},
      {"HeadsetConfigImpl: save_common_settings_params[LIB-ERR]boom", "[LIB-ERR]"},
      {"HeadsetConfigImpl: get_config_url[PLUGIN-ERR] no config servers found, returning",
       "[PLUGIN-ERR]"},
      {"Lib::ConfigManagerImpl: fetch[NETWORK-ERR]: x", "[NETWORK-ERR]"},
      {"Lib::ConfigManagerImpl: start[SYSTEM-ERR]: x", "[SYSTEM-ERR]"},
      // A clone's logger has an empty name.
      {": is_config_required[QELM-ERR]: Version timestamp is incorrectly formatted.", "[QELM-ERR]"},
      // The factory writes its function name with a scope prefix.
      {"ConfigFactory: ::create_config[QELM-ERR]: x", "[QELM-ERR]"},
  };
  for (const TagCase& test : cases) {
    EXPECT_EQ(error_tag_of(test.text), test.tag) << test.text;
  }
}

TEST(HostPlanWarnings, ATagAnywhereElseDoesNotCount) {
  const std::vector<std::string> texts = {
      // Document text quoted after a parse error.
      "HeadsetConfigImpl: update_from_server: {\"name\": \"[QELM-ERR]\"",
      "HeadsetConfigImpl: save_config_to_map: 5, key: a[LIB-ERR], value: 1, access: Admin",
      "HeadsetConfigImpl: parse_remote_default_config Enter:",
      "no logger name at all [QELM-ERR]",
      "",
      "HeadsetConfigImpl: upgrade_firmware[QELM-ER",
      "HeadsetConfigImpl: upgrade_firmware[qelm-err]: lower case is another text",
  };
  for (const std::string& text : texts) {
    EXPECT_EQ(error_tag_of(text), "") << text;
  }
}

TEST(HostPlanWarnings, UsesTheLibrarysOwnTagConstants) {
  for (const std::string* tag :
       {&ERR_LIB, &ERR_QELM, &ERR_PARSING, &ERR_PLUGIN, &ERR_NETWORK, &ERR_SYSTEM}) {
    EXPECT_EQ(error_tag_of("Logger: function" + *tag + ": text"), *tag);
  }
}

TEST(HostPlanWarnings, LevelsFromWarningUpCountWhateverTheText) {
  EXPECT_TRUE(is_warning(LogRecord{korrin::log::critical, "A: b: c"}));
  EXPECT_TRUE(is_warning(LogRecord{korrin::log::error, "A: b: c"}));
  EXPECT_TRUE(is_warning(LogRecord{korrin::log::warning, "A: b: c"}));
  EXPECT_FALSE(is_warning(LogRecord{korrin::log::notice, "A: b: c"}));
  EXPECT_FALSE(is_warning(LogRecord{korrin::log::info, "A: b: c"}));
  EXPECT_FALSE(is_warning(LogRecord{korrin::log::debug, "A: b: c"}));
}

TEST(HostPlanWarnings, ATaggedRecordCountsAtAnyLevel) {
  EXPECT_TRUE(is_warning(LogRecord{korrin::log::debug, "A: b[QELM-ERR]: c"}));
  EXPECT_TRUE(is_warning(LogRecord{korrin::log::info, "A: b[PARSING-ERR]: c"}));
  EXPECT_TRUE(is_warning(LogRecord{korrin::log::notice, "A: b[LIB-ERR]: ENTER"}));
}

TEST(HostPlanWarnings, WarningsOfKeepsTheOrderOfTheRecords) {
  const std::vector<LogRecord> records = {
      {korrin::log::notice, "A: one: ENTER"},
      {korrin::log::notice, "A: two[QELM-ERR]: bad"},
      {korrin::log::info, "A: three: fine"},
      {korrin::log::error, "A: four: failed"},
  };
  const std::vector<LogRecord> expected = {records[1], records[3]};
  EXPECT_EQ(korrin_plan::warnings_of(records), expected);
}

}  // namespace
