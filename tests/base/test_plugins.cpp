// Installation of the plugin table, the request record and task forwarding.
#include <gtest/gtest.h>

#include <stdexcept>

#include "korrin/korrin.h"
#include "support/fake_host.h"
#include "support/plain_system_info.h"
#include "support/plugin_table.h"

namespace {

using korrin_test::FakeHost;

class PluginsTest : public ::testing::Test {
 protected:
  void TearDown() override { korrin_test::uninstall_plugins(); }
  FakeHost host;
};

void expect_table(const korrin::Plugins& expected) {
  const korrin::Plugins& installed = korrin::globals::plugins;
  EXPECT_EQ(installed.log, expected.log);
  EXPECT_EQ(installed.network, expected.network);
  EXPECT_EQ(installed.device, expected.device);
  EXPECT_EQ(installed.system_info, expected.system_info);
  EXPECT_EQ(installed.task_dispatcher, expected.task_dispatcher);
  EXPECT_EQ(installed.mutex_factory, expected.mutex_factory);
}

TEST_F(PluginsTest, GlobalTableStartsAllNull) {
  const korrin::Plugins& installed = korrin::globals::plugins;
  EXPECT_EQ(installed.log, nullptr);
  EXPECT_EQ(installed.network, nullptr);
  EXPECT_EQ(installed.device, nullptr);
  EXPECT_EQ(installed.system_info, nullptr);
  EXPECT_EQ(installed.task_dispatcher, nullptr);
  EXPECT_EQ(installed.mutex_factory, nullptr);
}

TEST_F(PluginsTest, InitCopiesEverySixPointersAndReturnsTrue) {
  korrin::Plugins table = host.table();
  EXPECT_TRUE(korrin::init(table));
  expect_table(table);
  // The library keeps its own copy: changing the caller's table changes nothing.
  table.log = nullptr;
  EXPECT_EQ(korrin::globals::plugins.log, &host.log);
}

TEST_F(PluginsTest, InitMakesNoHostCalls) {
  host.install();
  EXPECT_TRUE(host.calls.all().empty());
}

TEST_F(PluginsTest, EachNullMemberIsRejectedWithTheExactText) {
  for (int member = 0; member < korrin_test::kPluginTableMembers; ++member) {
    korrin::Plugins table = korrin_test::without_member(host.table(), member);
    try {
      korrin::init(table);
      FAIL() << "member " << member << " null was accepted";
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), "plugins is not initialized properly") << member;
    }
  }
}

TEST_F(PluginsTest, NullMutexFactoryLeavesThePreviousTableInForce) {
  host.install();
  FakeHost other;
  korrin::Plugins incomplete = other.table();
  incomplete.mutex_factory = nullptr;
  EXPECT_THROW(korrin::init(incomplete), std::runtime_error);
  expect_table(host.table());
}

TEST_F(PluginsTest, SecondInitReplacesTheTable) {
  host.install();
  FakeHost other;
  korrin::Plugins replacement = other.table();
  EXPECT_TRUE(korrin::init(replacement));
  expect_table(replacement);
}

TEST(RequestContextTest, StartsWithEmptyStringsAndZeroFlags) {
  korrin::dispatcher::RequestContext request;
  EXPECT_EQ(request.url, "");
  EXPECT_EQ(request.method, "");
  EXPECT_EQ(request.requester, "");
  EXPECT_EQ(request.body, "");
  EXPECT_EQ(request.flags, 0);
  EXPECT_EQ(request.extra, "");
}

// Task parameters that count the calls the forwarder makes on them.
class CountingParams : public korrin::TaskParametersInterface {
 public:
  explicit CountingParams(int type) : type_(type) {}
  korrin::TaskParametersInterface* clone() const override { return new CountingParams(type_); }
  int get_type() const override {
    ++type_queries;
    return type_;
  }
  int check_status() override {
    ++status_checks;
    return 1;
  }
  int get_timeout() const override { return 0; }
  int get_defer_time() const override { return 0; }
  mutable int type_queries = 0;
  int status_checks = 0;

 private:
  int type_;
};

TEST_F(PluginsTest, ForwarderIgnoresNullParameters) {
  host.install();
  korrin::task_forwarder(nullptr, nullptr);
  int context = 0;
  korrin::task_forwarder(&context, nullptr);
  EXPECT_TRUE(host.calls.all().empty());
}

TEST_F(PluginsTest, ForwarderIgnoresUnknownTypeWithoutCheckingStatus) {
  host.install();
  CountingParams params(7);
  korrin::task_forwarder(nullptr, &params);
  EXPECT_EQ(params.type_queries, 1);
  EXPECT_EQ(params.status_checks, 0);
  EXPECT_TRUE(host.calls.all().empty());
}

TEST(SystemInfoTest, DefaultHostOsVersionIsEmpty) {
  korrin_test::PlainSystemInfo info;
  korrin::SystemInfoInterface& as_interface = info;
  EXPECT_EQ(as_interface.get_host_os_version(), "");
}

TEST(SystemInfoTest, HostOverrideIsReachedThroughTheInterface) {
  korrin_test::CallLog calls;
  korrin_test::FakeSystemInfo info(&calls);
  info.host_os_version = "Linux 6.1";
  korrin::SystemInfoInterface& as_interface = info;
  EXPECT_EQ(as_interface.get_host_os_version(), "Linux 6.1");
}

}  // namespace
