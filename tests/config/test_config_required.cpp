// Whether a configure request with a version stamp must be acted on.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/config_members.h"
#include "support/expected_records.h"
#include "support/fake_host.h"

namespace {

using korrin::config::HeadsetConfigImpl;
using korrin_test::AccessoryData;
using korrin_test::ConfigMembers;
using korrin_test::FakeHost;
using korrin_test::LogRecord;
using Records = std::vector<LogRecord>;

const std::string kName = "HeadsetConfigImpl: ";
const std::string kMalformed =
    kName +
    "is_config_required[QELM-ERR]: Version timestamp is incorrectly formatted. Do not "
    "configure.";

const korrin_test::RecordsOf headset(kName);

// The records of a stamp that parses to `shown` against a stored time shown as `stored`.
Records parsed(const std::string& shown, const std::string& stored, bool required) {
  return {
      headset.record(korrin::log::notice,
                     "is_config_required: Template updated time in epoch: " + shown),
      headset.record(korrin::log::info, "is_config_required: Config time: " + shown +
                                            ", last updated time: " + stored),
      headset.record(korrin::log::notice,
                     required ? "is_config_required: Version timestamp is different, proceed with "
                                "configure"
                              : "is_config_required: Version timestamp is same, do not configure")};
}

struct StampCase {
  const char* name;
  std::string stamp;
  double stored;
  bool required;
  Records records;
};

// Parameterised test names already say which row failed; print just that.
void PrintTo(const StampCase& row, std::ostream* out) { *out << row.name; }

class ConfigRequiredTest : public ::testing::TestWithParam<StampCase> {
 protected:
  void SetUp() override { host.install(); }
  void TearDown() override { korrin_test::uninstall_plugins(); }
  FakeHost host;
};

TEST_P(ConfigRequiredTest, DecidesAndLogsExactly) {
  const StampCase& c = GetParam();
  auto accessory = host.accessory(AccessoryData{});
  HeadsetConfigImpl config("acc-1", accessory.get());
  config.*ConfigMembers::last_updated_time = c.stored;
  EXPECT_EQ(config.is_config_required(c.stamp), c.required);
  EXPECT_EQ(host.log.records(), c.records);
}

const double kNan = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(
    Stamps, ConfigRequiredTest,
    ::testing::Values(
        StampCase{
            "EmptyStampAlwaysProceeds",
            "",
            1700000000.0,
            true,
            {headset.record(korrin::log::info,
                            "is_config_required: No version timestamp to compare, proceed with "
                            "configure")}},
        StampCase{"NoDashIsMalformed", "12345", 0.0, false, {{korrin::log::info, kMalformed}}},
        StampCase{"NothingAfterTheDashIsMalformed",
                  "abc-",
                  0.0,
                  false,
                  {{korrin::log::info, kMalformed}}},
        StampCase{"ZeroEqualsTheInitialTime", "abc-0", 0.0, false, parsed("0", "0", false)},
        StampCase{"ZeroDiffersFromAStoredTime", "abc-0", 1700000000.0, true,
                  parsed("0", "1.7e+09", true)},
        StampCase{"SameTimeIsNotRequired", "x-1700000000", 1700000000.0, false,
                  parsed("1.7e+09", "1.7e+09", false)},
        // Six significant digits in the records, the full value in the comparison.
        StampCase{"HalfSecondLaterIsRequired", "x-1700000000.5", 1700000000.0, true,
                  parsed("1.7e+09", "1.7e+09", true)},
        StampCase{"OnlyTheFirstDashSplits", "a-b-5", 5.0, true, parsed("0", "5", true)},
        StampCase{"OnlyTheFirstDashSplitsOnAFreshObject", "a-b-5", 0.0, false,
                  parsed("0", "0", false)},
        StampCase{"SecondDashStartsANegativeNumber", "a--5", -5.0, false,
                  parsed("-5", "-5", false)},
        StampCase{"DashFirstIsAllowed", "-42", 0.0, true, parsed("42", "0", true)},
        StampCase{"LeadingBlanksAreSkipped", "v- 42", 42.0, false, parsed("42", "42", false)},
        StampCase{"LongestNumericPrefixIsUsed", "v-42abc", 42.0, false, parsed("42", "42", false)},
        StampCase{"NoDigitsReadAsZero", "v-abc", 0.0, false, parsed("0", "0", false)},
        StampCase{"NanIsAlwaysDifferent", "v-nan", 0.0, true, parsed("nan", "0", true)},
        StampCase{"StoredNanIsAlwaysDifferent", "v-7", kNan, true, parsed("7", "nan", true)}),
    [](const ::testing::TestParamInfo<StampCase>& row) { return std::string(row.param.name); });

class ConfigTimeTest : public ::testing::Test {
 protected:
  void SetUp() override { host.install(); }
  void TearDown() override { korrin_test::uninstall_plugins(); }
  FakeHost host;
};

TEST_F(ConfigTimeTest, NumericOverloadComparesExactlyAndLogsBothTimes) {
  auto accessory = host.accessory(AccessoryData{});
  HeadsetConfigImpl config("acc-1", accessory.get());
  config.*ConfigMembers::last_updated_time = 12.5;
  EXPECT_FALSE(config.is_config_required(12.5));
  EXPECT_TRUE(config.is_config_required(12.500001));
  EXPECT_TRUE(config.is_config_required(kNan));
  EXPECT_EQ(
      host.log.records(),
      (Records{headset.record(korrin::log::info,
                              "is_config_required: Config time: 12.5, last updated time: 12.5"),
               headset.record(korrin::log::info,
                              "is_config_required: Config time: 12.5, last updated time: 12.5"),
               headset.record(korrin::log::info,
                              "is_config_required: Config time: nan, last updated time: 12.5")}));
}

TEST_F(ConfigTimeTest, DecisionMakesNoHostCallBesidesLogging) {
  auto accessory = host.accessory(AccessoryData{});
  HeadsetConfigImpl config("acc-1", accessory.get());
  host.calls.clear();
  config.is_config_required("x-1");
  EXPECT_EQ(host.calls.excluding({"log."}), std::vector<std::string>{});
}

TEST_F(ConfigTimeTest, StoredTimeMakesAnEqualStampNotRequiredUntilUpdate) {
  auto accessory = host.accessory(AccessoryData{});
  HeadsetConfigImpl config("acc-1", accessory.get());
  EXPECT_FALSE(config.is_config_required("abc-0"));
  config.*ConfigMembers::last_updated_time = 1700000000.0;
  EXPECT_TRUE(config.is_config_required("abc-0"));
  EXPECT_FALSE(config.is_config_required("x-1700000000"));
  config.update(accessory.get());
  EXPECT_TRUE(config.is_config_required("x-1700000000"));
}

}  // namespace
