// A host program that defines functions with the library's own global names
// and signatures, each doing something else: a host's to_lower that does not
// lower, a get_seconds_to_wait that never waits, a delete_config that counts.
// The host's calls reach its own definitions; the library's calls keep
// reaching the library's, so every example document still has its expected
// outcome and the configure flow keeps its records, waits and deletions.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/example_files.h"
#include "support/example_outcomes.h"
#include "support/fake_host.h"

namespace {
// Calls that reached the host's definitions below.
int host_helper_calls = 0;
int host_delete_calls = 0;
}  // namespace

// The host's helpers: same names and signatures as the library's exported
// functions, deliberately different behaviour.
void to_lower(std::string& s) {
  ++host_helper_calls;
  s = "HOST";
}
bool equals_ignore_case(std::string /*a*/, std::string /*b*/) {
  ++host_helper_calls;
  return false;
}
bool is_alpha(const std::string& /*s*/) {
  ++host_helper_calls;
  return true;
}
bool is_naming_corrupted(const std::string& /*s*/) {
  ++host_helper_calls;
  return true;
}
bool string_ends_with(const std::string& /*s*/, const std::string& /*suffix*/) {
  ++host_helper_calls;
  return false;
}
std::string get_headset_model(const std::string& /*model*/, const std::string& /*serial*/) {
  ++host_helper_calls;
  return "host model";
}
std::string get_headset_model(const korrin::AccessoryInfoInterface* /*accessory*/) {
  ++host_helper_calls;
  return "host model";
}
bool isZelorHeadset(const korrin::AccessoryInfoInterface* /*accessory*/) {
  ++host_helper_calls;
  return false;
}
bool headset_support_downgrade(const korrin::AccessoryInfoInterface* /*accessory*/) {
  ++host_helper_calls;
  return false;
}
unsigned get_seconds_to_wait(unsigned /*minimum*/, unsigned /*spread*/) {
  ++host_helper_calls;
  return 0;
}
void sleep_for(unsigned /*seconds*/) { ++host_helper_calls; }
// The host's factory companions: they still delete, and count.
void delete_config(korrin::config::ConfigInterface* config) {
  ++host_delete_calls;
  delete config;
}
void delete_logger(korrin::log::Logger* logger) {
  ++host_delete_calls;
  delete logger;
}

namespace {

using korrin_test::FakeAccessory;
using korrin_test::FakeHost;
using Lines = std::vector<std::string>;

const std::string kData = KORRIN_TEST_DATA_DIR;

class HostNameClashTest : public ::testing::Test {
 protected:
  void SetUp() override {
    host_helper_calls = 0;
    host_delete_calls = 0;
  }
};

TEST_F(HostNameClashTest, TheHostsOwnCallsReachTheHostsDefinitions) {
  std::string text = "User";
  to_lower(text);
  EXPECT_EQ(text, "HOST");
  EXPECT_FALSE(equals_ignore_case("User", "user"));
  EXPECT_FALSE(string_ends_with("NameUser", "User"));
  EXPECT_EQ(get_headset_model("Zelor H-5", "ZH5B2231907"), "host model");
  EXPECT_EQ(get_seconds_to_wait(30, 10), 0u);
  sleep_for(5);
  EXPECT_EQ(host_helper_calls, 6);
  delete_config(nullptr);
  delete_logger(nullptr);
  EXPECT_EQ(host_delete_calls, 2);
}

class HostNameClashDocumentTest : public HostNameClashTest,
                                  public ::testing::WithParamInterface<std::string> {};

// "User" and "Both" settings, model-specific sections and firmware decisions
// all go through the library's string helpers.
TEST_P(HostNameClashDocumentTest, EveryExampleAccessoryKeepsItsExpectedOutcome) {
  const std::string document = korrin_test::read_example_document(GetParam() + ".json");
  ASSERT_FALSE(document.empty());
  EXPECT_EQ(korrin_test::example_outcomes(document),
            korrin_test::read_file(kData + "/" + GetParam() + ".expected"));
  EXPECT_EQ(host_helper_calls, 0);
}

INSTANTIATE_TEST_SUITE_P(Documents, HostNameClashDocumentTest,
                         ::testing::ValuesIn(korrin_test::example_document_names()),
                         [](const ::testing::TestParamInfo<std::string>& info) {
                           return info.param;
                         });

TEST_F(HostNameClashTest, RetriesWaitAndTheLibraryDeletesWhatItOwns) {
  FakeHost host;
  korrin::Plugins table = host.table();
  ASSERT_TRUE(korrin::init(table));
  const int live_at_start = FakeAccessory::live();
  korrin::config::ConfigManager* manager = korrin::config::create_config_manager();
  {
    const auto accessories = korrin_test::load_example_accessories();
    ASSERT_FALSE(accessories.empty());
    auto headset = host.accessory(accessories.front().data);
    EXPECT_EQ(manager->initialize_accessory(accessories.front().id, headset.get()),
              accessories.front().id);
  }
  for (int attempt = 0; attempt < 3; ++attempt) {
    host.network.queue_fetch_answer(korrin::dispatcher::FETCH_PENDING);
  }
  EXPECT_EQ(host.dispatcher.run_all(), 1);
  EXPECT_TRUE(manager->on_fetch_config_failure(1));
  EXPECT_EQ(host.dispatcher.run_all(), 1);
  EXPECT_TRUE(manager->on_fetch_config_failure(1));
  EXPECT_EQ(host.dispatcher.run_all(), 1);
  host.log.clear();
  EXPECT_FALSE(manager->on_fetch_config_failure(1));

  // The library draws its own back-off, whatever the host's function says.
  const Lines queued = host.calls.starting_with("task_dispatcher.add_task(");
  ASSERT_EQ(queued.size(), 3u);
  EXPECT_EQ(queued[0], "task_dispatcher.add_task(type=0, defer=0, timeout=60)");
  for (std::size_t retry = 1; retry < queued.size(); ++retry) {
    const int defer = std::stoi(queued[retry].substr(queued[retry].find("defer=") + 6));
    EXPECT_GE(defer, 30) << queued[retry];
    EXPECT_LE(defer, 40) << queued[retry];
  }
  EXPECT_EQ(host.log.texts(),
            (Lines{"Lib::ConfigManagerImpl: on_fetch_config_failure reason code: 1",
                   "Lib::ConfigManagerImpl: on_fetch_config_failure : retry limit reached, abort",
                   "Lib::ConfigManagerImpl: clean_up_pending_config_requests: ENTER"}));

  // The manager deletes its configuration objects and loggers with the
  // library's own functions: every accessory copy is gone, and none of the
  // host's deletes was called.
  manager->remove_accessory(korrin_test::load_example_accessories().front().id);
  host.dispatcher.clear();
  korrin::config::delete_config_manager();
  EXPECT_EQ(FakeAccessory::live(), live_at_start);
  EXPECT_EQ(host.mutexes.live(), 0);
  EXPECT_EQ(host_delete_calls, 0);
  EXPECT_EQ(host_helper_calls, 0);
  korrin_test::uninstall_plugins();
}

}  // namespace
