// Building the configuration URL from the host's template, the server of the
// current attempt and the user id.
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/expected_records.h"
#include "support/fake_host.h"

namespace {

using korrin::config::HeadsetConfigImpl;
using korrin_test::AccessoryData;
using korrin_test::FakeHost;
using Lines = std::vector<std::string>;

const std::string kTemplateCall = "system_info.get_config_url_template()";
const std::string kUserCall = "system_info.get_user_id()";
std::string server_call(int attempt) {
  return "system_info.get_config_server(" + std::to_string(attempt) + ")";
}
const korrin_test::RecordsOf get_config_url("HeadsetConfigImpl: get_config_url");
std::string tokenized(const std::string& url) {
  return get_config_url.info(": tokenized url: " + url);
}
const std::string kNoServer =
    get_config_url.warning("[PLUGIN-ERR] no config servers found, returning");

struct UrlCase {
  const char* name;
  std::string url_template;
  std::vector<std::string> servers;
  int attempt;
  std::string user;
  std::string expected;
  Lines calls;  // every host call and log record, in order
};

// Parameterised test names already say which row failed; print just that.
void PrintTo(const UrlCase& row, std::ostream* out) { *out << row.name; }

class ConfigUrlTest : public ::testing::TestWithParam<UrlCase> {
 protected:
  void SetUp() override { host.install(); }
  void TearDown() override { korrin_test::uninstall_plugins(); }
  FakeHost host;
};

TEST_P(ConfigUrlTest, BuildsTheUrlAskingTheHostExactly) {
  const UrlCase& c = GetParam();
  host.system_info.config_url_template = c.url_template;
  host.system_info.config_servers = c.servers;
  host.system_info.user_id = c.user;
  auto accessory = host.accessory(AccessoryData{});
  HeadsetConfigImpl config("acc-1", accessory.get());
  config.set_config_retries(c.attempt);
  host.calls.clear();
  EXPECT_EQ(config.get_config_url(), c.expected);
  EXPECT_EQ(host.calls.all(), c.calls);
}

const std::vector<std::string> kServers = {"10.0.0.5", "fe80::1", "host:69"};

INSTANTIATE_TEST_SUITE_P(
    Templates, ConfigUrlTest,
    ::testing::Values(
        UrlCase{
            "ServerAndUserAreFilledIn",
            "tftp://{tftp}/{userid}.json",
            {"10.0.0.5"},
            0,
            "u1",
            "tftp://10.0.0.5/u1.json",
            {kTemplateCall, tokenized("tftp://{tftp}/{userid}.json"), server_call(0), kUserCall}},
        UrlCase{
            "Ipv6ServerIsBracketed",
            "tftp://{tftp}/{userid}.json",
            {"fe80::1"},
            0,
            "u1",
            "tftp://[fe80::1]/u1.json",
            {kTemplateCall, tokenized("tftp://{tftp}/{userid}.json"), server_call(0), kUserCall}},
        UrlCase{
            "ServerWithPortIsBracketed",
            "tftp://{tftp}/{userid}.json",
            {"host:69"},
            0,
            "u1",
            "tftp://[host:69]/u1.json",
            {kTemplateCall, tokenized("tftp://{tftp}/{userid}.json"), server_call(0), kUserCall}},
        UrlCase{"OnlyTheFirstServerTokenIsReplaced",
                "http://{tftp}/{tftp}/cfg.json",
                {"10.0.0.5"},
                0,
                "u1",
                "http://10.0.0.5/{tftp}/cfg.json",
                {kTemplateCall, tokenized("http://{tftp}/{tftp}/cfg.json"), server_call(0)}},
        UrlCase{"OnlyTheFirstUserTokenIsReplaced",
                "http://s/{userid}/{userid}.json",
                {"10.0.0.5"},
                0,
                "u1",
                "http://s/u1/{userid}.json",
                {kTemplateCall, tokenized("http://s/{userid}/{userid}.json"), kUserCall}},
        UrlCase{"AttemptCounterPicksTheServer",
                "http://{tftp}/c.json",
                kServers,
                2,
                "u1",
                "http://[host:69]/c.json",
                {kTemplateCall, tokenized("http://{tftp}/c.json"), server_call(2)}},
        UrlCase{"SecondAttemptAsksForServerOne",
                "http://{tftp}/c.json",
                kServers,
                1,
                "u1",
                "http://[fe80::1]/c.json",
                {kTemplateCall, tokenized("http://{tftp}/c.json"), server_call(1)}},
        UrlCase{"EmptyTemplateGivesTheDefaultFileName",
                "",
                kServers,
                0,
                "u1",
                "defaultheadsetconfig.json",
                {kTemplateCall, tokenized("")}},
        UrlCase{
            "EmptyServerLeavesTheTemplateUnchanged",
            "http://{tftp}/{userid}.json",
            {},
            0,
            "u1",
            "http://{tftp}/{userid}.json",
            {kTemplateCall, tokenized("http://{tftp}/{userid}.json"), server_call(0), kNoServer}},
        UrlCase{
            "AttemptPastTheServerListIsNoServer",
            "http://{tftp}/{userid}.json",
            {"10.0.0.5"},
            1,
            "u1",
            "http://{tftp}/{userid}.json",
            {kTemplateCall, tokenized("http://{tftp}/{userid}.json"), server_call(1), kNoServer}},
        UrlCase{"WithoutServerTokenTheServerIsNeverAsked",
                "http://fixed/{userid}.json",
                kServers,
                0,
                "u1",
                "http://fixed/u1.json",
                {kTemplateCall, tokenized("http://fixed/{userid}.json"), kUserCall}},
        UrlCase{
            "EmptyUserIdRemovesTheToken",
            "http://{tftp}/{userid}.json",
            {"10.0.0.5"},
            0,
            "",
            "http://10.0.0.5/.json",
            {kTemplateCall, tokenized("http://{tftp}/{userid}.json"), server_call(0), kUserCall}},
        UrlCase{"TemplateWithoutTokensIsReturnedAsItIs",
                "http://fixed/config.json",
                kServers,
                0,
                "u1",
                "http://fixed/config.json",
                {kTemplateCall, tokenized("http://fixed/config.json")}},
        UrlCase{"TokensAreCaseSensitive",
                "http://{TFTP}/{UserId}.json",
                kServers,
                0,
                "u1",
                "http://{TFTP}/{UserId}.json",
                {kTemplateCall, tokenized("http://{TFTP}/{UserId}.json")}},
        UrlCase{"UserTokenBeforeServerTokenWorksToo",
                "{userid}@{tftp}",
                {"10.0.0.5"},
                0,
                "u1",
                "u1@10.0.0.5",
                {kTemplateCall, tokenized("{userid}@{tftp}"), server_call(0), kUserCall}}),
    [](const ::testing::TestParamInfo<UrlCase>& row) { return std::string(row.param.name); });

TEST(ConfigUrlClone, CloneAsksForTheServerOfItsOwnAttempt) {
  FakeHost host;
  host.install();
  auto accessory = host.accessory(AccessoryData{});
  {
    HeadsetConfigImpl config("acc-1", accessory.get());
    config.set_config_retries(1);
    korrin::config::ConfigInterface* copy = config.clone();
    copy->set_config_retries(2);
    host.calls.clear();
    EXPECT_EQ(copy->get_config_url(), "http://10.0.0.7/config/user-7.json");
    EXPECT_EQ(config.get_config_url(), "http://10.0.0.6/config/user-7.json");
    EXPECT_EQ(host.calls.starting_with("system_info.get_config_server"),
              (Lines{server_call(2), server_call(1)}));
    delete_config(copy);
  }
  korrin_test::uninstall_plugins();
}

}  // namespace
