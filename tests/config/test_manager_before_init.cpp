// The manager cannot be reached before the host has installed a complete
// plugin table.
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "korrin/korrin.h"
#include "support/fake_host.h"
#include "support/plugin_table.h"

namespace {

using korrin::config::ConfigManagerImpl;
using korrin_test::FakeHost;

// Runs `call` and returns the text of the std::runtime_error it throws ("" if none).
std::string runtime_error_of(const std::function<void()>& call) {
  try {
    call();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return std::string();
}

const std::string kNotInitialised = "plugins hasn't been initialized properly";

class ManagerBeforeInitTest : public ::testing::Test {
 protected:
  void TearDown() override {
    korrin::config::delete_config_manager();
    korrin_test::uninstall_plugins();
  }
  FakeHost host;
};

TEST_F(ManagerBeforeInitTest, CreateConfigManagerFailsWithAnAllNullTable) {
  EXPECT_EQ(runtime_error_of([] { korrin::config::create_config_manager(); }), kNotInitialised);
  EXPECT_EQ(runtime_error_of([] { ConfigManagerImpl::get_instance(); }), kNotInitialised);
  EXPECT_TRUE(host.calls.all().empty());
}

TEST_F(ManagerBeforeInitTest, EveryEntryPointIsUnreachableBeforeInit) {
  auto accessory = host.accessory(korrin_test::AccessoryData{});
  const std::function<void()> calls[] = {
      [&] { ConfigManagerImpl::get_instance()->initialize_accessory("a", accessory.get()); },
      [] { ConfigManagerImpl::get_instance()->configure_accessory("a", ""); },
      [] { ConfigManagerImpl::get_instance()->remove_accessory("a"); },
      [] {
        std::string data = "{}";
        ConfigManagerImpl::get_instance()->on_fetch_config_success(data);
      },
      [] { ConfigManagerImpl::get_instance()->on_fetch_config_failure(1); },
      [] { ConfigManagerImpl::get_instance()->reset_to_admin_defaults("a"); },
      [] { ConfigManagerImpl::get_instance()->retrieve_config("a"); },
      [] { ConfigManagerImpl::get_instance()->retrieve_config("a", 1); },
      [] { ConfigManagerImpl::get_instance()->update_config_from_host("a", "k", 1, "v"); },
  };
  for (const auto& call : calls) {
    EXPECT_EQ(runtime_error_of(call), kNotInitialised);
  }
  EXPECT_TRUE(host.calls.all().empty());
}

TEST_F(ManagerBeforeInitTest, ATableMissingOneMemberIsRejectedToo) {
  for (int member = 0; member < korrin_test::kPluginTableMembers; ++member) {
    korrin::Plugins table = korrin_test::without_member(host.table(), member);
    // init() refuses such a table, so the global copy is written directly.
    korrin::globals::plugins = table;
    EXPECT_EQ(runtime_error_of([] { korrin::config::create_config_manager(); }), kNotInitialised)
        << member;
  }
  EXPECT_TRUE(host.calls.all().empty());
}

TEST_F(ManagerBeforeInitTest, AfterInitTheManagerIsCreated) {
  EXPECT_THROW(korrin::config::create_config_manager(), std::runtime_error);
  host.install();
  EXPECT_NE(korrin::config::create_config_manager(), nullptr);
  EXPECT_EQ(host.mutexes.created(), 2);
}

}  // namespace
