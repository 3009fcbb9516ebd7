// The configure flow driven through the fake dispatcher: queuing, the fetch
// and its outcomes, coalescing of pending accessories, retries, and the
// "no configuration in progress" paths.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "korrin/korrin.h"
#include "support/config_members.h"
#include "support/expected_records.h"
#include "support/fake_host.h"
#include "support/lines.h"
#include "support/lock_checks.h"

namespace {

using korrin::config::ConfigAccessoryParams;
using korrin::config::ConfigInterface;
using korrin::config::ConfigManagerImpl;
using korrin::config::HeadsetConfigImpl;
using korrin_test::AccessoryData;
using korrin_test::concat;
using korrin_test::ConfigMembers;
using korrin_test::FakeAccessory;
using korrin_test::FakeHost;
using Lines = std::vector<std::string>;

const std::string kName = "Lib::ConfigManagerImpl: ";
// The manager's records (objects log under other names).
const korrin_test::RecordsOf manager_log(kName);
const std::string kNotFound = manager_log.warning("get_config_object: Cannot find config object");
const std::string kCleanUp = manager_log.notice("clean_up_pending_config_requests: ENTER");
const std::string kSuccessExit = manager_log.notice("on_fetch_config_successExit");
const std::string kNoStampRecord =
    "log.info(HeadsetConfigImpl: is_config_required: No version timestamp to compare, proceed "
    "with configure)";
// What the task's clone (logger without a name) records while building the URL.
const Lines kUrlCalls = {"system_info.get_config_url_template()",
                         "log.info(: get_config_url: tokenized url: "
                         "http://{tftp}/config/{userid}.json)"};
std::string url_for(int attempt) {
  const char* servers[] = {"10.0.0.5", "10.0.0.6", "10.0.0.7"};
  return std::string("http://") + servers[attempt] + "/config/user-7.json";
}
// Host calls and records of building the URL and fetching it for `attempt`.
Lines fetch_calls(int attempt) {
  Lines out = kUrlCalls;
  out.push_back("system_info.get_config_server(" + std::to_string(attempt) + ")");
  out.push_back("system_info.get_user_id()");
  out.push_back("network.fetch(CONFIGMGR, " + url_for(attempt) + ")");
  return out;
}
// A headset configuration object whose document update is scripted and noted.
class ScriptedConfig : public HeadsetConfigImpl {
 public:
  ScriptedConfig(const std::string& id, const korrin::AccessoryInfoInterface* accessory,
                 Lines* updates)
      : HeadsetConfigImpl(id, accessory), updates_(updates) {}
  bool update_from_server(const std::string& document) override {
    updates_->push_back(get_accessory_id() + " <- " + document);
    return accepts;
  }
  bool accepts = true;

 private:
  Lines* updates_;
};

class ConfigureFlowTest : public ::testing::Test {
 protected:
  void SetUp() override {
    live_at_start_ = FakeAccessory::live();
    host.install();
    manager = ConfigManagerImpl::get_instance();
  }
  void TearDown() override {
    host.dispatcher.clear();
    korrin::config::delete_config_manager();
    accessories_.clear();
    EXPECT_EQ(host.mutexes.live(), 0) << "every create_mutex needs its destroy_mutex";
    EXPECT_EQ(host.mutexes.violations(), 0);
    EXPECT_EQ(korrin_test::FakeMutexFactory::held_by_this_thread(), 0);
    EXPECT_EQ(FakeAccessory::live(), live_at_start_) << "every accessory copy must be deleted";
    korrin_test::uninstall_plugins();
  }

  FakeAccessory* new_accessory() {
    AccessoryData data;
    data.type = 1;
    accessories_.push_back(host.accessory(data));
    return accessories_.back().get();
  }

  // Registers a scripted headset under `id`.
  ScriptedConfig* add(const std::string& id) {
    auto* config = new ScriptedConfig(id, new_accessory(), &updates);
    manager->add_config_object(id, config);
    return config;
  }

  // Makes `config` consider the stamp "v-1700000000" already taken.
  static void take_version(ConfigInterface* config) {
    dynamic_cast<korrin::config::ConfigImpl&>(*config).*ConfigMembers::last_updated_time =
        1700000000.0;
  }

  // A request for `id` that has run its task and awaits the host's answer.
  void await_answer(const std::string& id) {
    ASSERT_TRUE(manager->configure_accessory(id, ""));
    host.network.queue_fetch_answer(korrin::dispatcher::FETCH_PENDING);
    ASSERT_EQ(host.dispatcher.run_next(), korrin::TASK_RUN);
    ASSERT_TRUE(manager->is_configure_accessory_pending());
  }

  // The defer time of every add_task line, in order.
  std::vector<int> queued_defer_times() const {
    std::vector<int> out;
    for (const auto& line : host.calls.starting_with("task_dispatcher.add_task(")) {
      const std::size_t at = line.find("defer=");
      out.push_back(std::stoi(line.substr(at + 6)));
    }
    return out;
  }

  void reset_log() { host.calls.clear(); }

  FakeHost host;
  ConfigManagerImpl* manager = nullptr;
  Lines updates;
  int live_at_start_ = 0;
  std::vector<std::unique_ptr<FakeAccessory>> accessories_;
};

// ---- configure_accessory ---------------------------------------------------------

TEST_F(ConfigureFlowTest, ConfigureOfAnUnregisteredIdReturnsFalseAndQueuesNothing) {
  reset_log();
  EXPECT_FALSE(manager->configure_accessory("nope", ""));
  EXPECT_EQ(
      host.calls.excluding({"mutex"}),
      (Lines{manager_log.notice("configure_accessory: ENTER"), kNotFound,
             manager_log.notice("configure_accessory:nope"),
             manager_log.notice("configure_accessory: can't configure uninitialized accessory!")}));
  EXPECT_EQ(host.dispatcher.size(), 0u);
  EXPECT_FALSE(manager->is_configure_accessory_pending());
}

TEST_F(ConfigureFlowTest, NotRequiredWhileIdleJoinsThePendingSetAndReturnsFalse) {
  ScriptedConfig* config = add("acc-1");
  take_version(config);
  reset_log();
  EXPECT_FALSE(manager->configure_accessory("acc-1", "v-1700000000"));
  EXPECT_EQ(
      host.calls.excluding({"mutex"}),
      (Lines{manager_log.notice("configure_accessory: ENTER"),
             manager_log.notice("configure_accessory:acc-1"),
             "log.notice(HeadsetConfigImpl: is_config_required: Template updated time in epoch: "
             "1.7e+09)",
             "log.info(HeadsetConfigImpl: is_config_required: Config time: 1.7e+09, last updated "
             "time: 1.7e+09)",
             "log.notice(HeadsetConfigImpl: is_config_required: Version timestamp is same, do not "
             "configure)",
             manager_log.notice("configure_accessory: Config not required.")}));
  EXPECT_EQ(manager->get_number_of_pending_configs(), 1);
  EXPECT_EQ(manager->get_pending_config_object(0), config);
  EXPECT_EQ(host.dispatcher.size(), 0u);
  EXPECT_FALSE(manager->is_configure_accessory_pending());
}

TEST_F(ConfigureFlowTest, MalformedStampIsNotRequired) {
  add("acc-1");
  EXPECT_FALSE(manager->configure_accessory("acc-1", "12345"));
  EXPECT_EQ(host.dispatcher.size(), 0u);
  EXPECT_EQ(manager->get_number_of_pending_configs(), 1);
}

TEST_F(ConfigureFlowTest, FirstRequiredConfigureQueuesATaskWithTheExactSequence) {
  manager->create_accessory("acc-1", new_accessory());  // locks #3, #4
  reset_log();
  EXPECT_TRUE(manager->configure_accessory("acc-1", ""));
  EXPECT_EQ(host.calls.all(),
            (Lines{manager_log.notice("configure_accessory: ENTER"), "mutex.lock(#1)",
                   "mutex.unlock(#1)", manager_log.notice("configure_accessory:acc-1"),
                   "mutex.lock(#1)", "mutex.unlock(#1)", kNoStampRecord, "mutex.lock(#2)",
                   "mutex.unlock(#2)", "mutex.lock(#2)", "mutex.unlock(#2)",
                   // our clone for the parameters
                   "mutex_factory.create_mutex(0) -> #5", "accessory.clone()",
                   "mutex_factory.create_mutex(0) -> #6",
                   "task_dispatcher.add_task(type=0, defer=0, timeout=60)",
                   // the dispatcher's own clone of the parameters
                   "mutex_factory.create_mutex(0) -> #7", "accessory.clone()",
                   "mutex_factory.create_mutex(0) -> #8",
                   manager_log.notice("configure_accessory: added async task"),
                   // our parameters go out of scope with their clone
                   "mutex.lock(#5)", "mutex.unlock(#5)", "mutex_factory.destroy_mutex(#6)",
                   "mutex_factory.destroy_mutex(#5)"}));
  EXPECT_TRUE(manager->is_configure_accessory_pending());
  EXPECT_EQ(manager->get_number_of_pending_configs(), 1);
}

TEST_F(ConfigureFlowTest, QueuedTaskIsTheForwarderWithTheManagerAndAClone) {
  ScriptedConfig* config = add("acc-1");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  ASSERT_EQ(host.dispatcher.size(), 1u);
  const korrin_test::QueuedTask& task = host.dispatcher.at(0);
  EXPECT_EQ(task.function, &korrin::task_forwarder);
  EXPECT_EQ(task.context, static_cast<void*>(manager));
  auto* params = dynamic_cast<ConfigAccessoryParams*>(task.params.get());
  ASSERT_NE(params, nullptr);
  EXPECT_EQ(params->get_type(), 0);
  EXPECT_EQ(params->get_defer_time(), 0);
  EXPECT_EQ(params->get_timeout(), 60);
  ASSERT_NE(params->config_, nullptr);
  EXPECT_NE(params->config_, config);
  EXPECT_EQ(params->config_->get_accessory_id(), "acc-1");
}

TEST_F(ConfigureFlowTest, NotRequiredWhileQueuedJoinsThePendingSetWithoutANewTask) {
  add("acc-1");
  ScriptedConfig* second = add("acc-2");
  take_version(second);
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  reset_log();
  EXPECT_FALSE(manager->configure_accessory("acc-2", "v-1700000000"));
  EXPECT_EQ(manager_log.lines_among(host.calls.starting_with("log.")).back(),
            manager_log.notice("configure_accessory: Config not required."));
  EXPECT_EQ(host.dispatcher.size(), 1u);
  EXPECT_EQ(manager->get_number_of_pending_configs(), 2);
  EXPECT_TRUE(manager->is_configure_accessory_pending());
}

TEST_F(ConfigureFlowTest, RequiredWhileQueuedRidesOnTheRunningRequest) {
  add("acc-1");
  add("acc-2");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  reset_log();
  EXPECT_TRUE(manager->configure_accessory("acc-2", ""));
  EXPECT_EQ(
      host.calls.excluding({"mutex"}),
      (Lines{manager_log.notice("configure_accessory: ENTER"),
             manager_log.notice("configure_accessory:acc-2"), kNoStampRecord,
             manager_log.notice("configure_accessory: previous configure_accessory is in progress, "
                                "ignore this one")}));
  EXPECT_EQ(host.dispatcher.size(), 1u);
  EXPECT_EQ(manager->get_number_of_pending_configs(), 2);
}

TEST_F(ConfigureFlowTest, RequiredWhileAwaitingTheHostRidesOnTheRunningRequest) {
  add("acc-1");
  add("acc-2");
  await_answer("acc-1");
  EXPECT_TRUE(manager->configure_accessory("acc-2", ""));
  EXPECT_EQ(host.dispatcher.size(), 0u);
  EXPECT_EQ(manager->get_number_of_pending_configs(), 2);
  std::string document = "DOC";
  EXPECT_TRUE(manager->on_fetch_config_success(document));
  EXPECT_EQ(updates.size(), 2u);
}

TEST_F(ConfigureFlowTest, AStampMarksEveryRegisteredAccessoryUnderTheReentrantLock) {
  add("acc-1");
  add("acc-2");
  add("acc-3");
  reset_log();
  EXPECT_TRUE(manager->configure_accessory("acc-2", "v-5"));
  EXPECT_EQ(manager->get_number_of_pending_configs(), 3);
  const Lines records = manager_log.lines_among(host.calls.starting_with("log."));
  EXPECT_EQ(records, (Lines{manager_log.notice("configure_accessory: ENTER"),
                            manager_log.notice("configure_accessory:acc-2"),
                            manager_log.notice("configure_accessory for 3accessories"),
                            manager_log.notice("configure_accessory: added async task")}));
  // Marking and counting take the registry lock again while it is held.
  EXPECT_EQ(korrin_test::max_lock_depth(host.calls.all(), 1), 2);
  EXPECT_EQ(host.mutexes.violations(), 0);
  EXPECT_EQ(host.dispatcher.size(), 1u);
}

TEST_F(ConfigureFlowTest, AStampWhileQueuedStillMarksEveryone) {
  add("acc-1");
  add("acc-2");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  reset_log();
  EXPECT_TRUE(manager->configure_accessory("acc-1", "v-9"));
  EXPECT_EQ(manager->get_number_of_pending_configs(), 2);
  const Lines records = manager_log.lines_among(host.calls.starting_with("log."));
  EXPECT_EQ(records,
            (Lines{manager_log.notice("configure_accessory: ENTER"),
                   manager_log.notice("configure_accessory:acc-1"),
                   manager_log.notice("configure_accessory for 2accessories"),
                   manager_log.notice("configure_accessory: previous configure_accessory is in "
                                      "progress, ignore this one")}));
  EXPECT_EQ(host.dispatcher.size(), 1u);
}

// ---- the queued task ----------------------------------------------------------------

TEST_F(ConfigureFlowTest, AnAccessoryNotReadyIsAskedAgainAfterSixSeconds) {
  add("acc-1");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  accessories_[0]->data().config_ready = false;  // shared by every copy
  reset_log();
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_DEFER);
  EXPECT_EQ(host.calls.all(), Lines{"accessory.is_config_ready()"});
  ASSERT_EQ(host.dispatcher.size(), 1u);
  EXPECT_EQ(host.dispatcher.at(0).params->get_defer_time(), 6);
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_DEFER);
  accessories_[0]->data().config_ready = true;
  host.network.queue_fetch_answer(0, "DOC");
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_RUN);
  EXPECT_EQ(host.network.fetches().size(), 1u);
  EXPECT_EQ(updates, Lines{"acc-1 <- DOC"});
}

TEST_F(ConfigureFlowTest, ADroppedTaskLeavesTheRequestStuckUntilACleanUp) {
  add("acc-1");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  korrin::SystemInfoInterface* system_info = korrin::globals::plugins.system_info;
  korrin::globals::plugins.system_info = nullptr;
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_DROP);
  korrin::globals::plugins.system_info = system_info;
  EXPECT_EQ(host.dispatcher.size(), 0u);
  EXPECT_TRUE(manager->is_configure_accessory_pending());
  // Stuck: a new request rides on the dropped one.
  EXPECT_TRUE(manager->configure_accessory("acc-1", ""));
  EXPECT_EQ(host.dispatcher.size(), 0u);
  // Removing the last pending accessory ends it; the next request is queued.
  manager->remove_accessory("acc-1");
  EXPECT_FALSE(manager->is_configure_accessory_pending());
  add("acc-1");
  EXPECT_TRUE(manager->configure_accessory("acc-1", ""));
  EXPECT_EQ(host.dispatcher.size(), 1u);
}

TEST_F(ConfigureFlowTest, SynchronousFetchUpdatesEveryPendingObjectAndEndsTheRequest) {
  ScriptedConfig* config = add("acc-1");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  host.network.queue_fetch_answer(0, "{\"doc\":1}");
  reset_log();
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_RUN);
  EXPECT_EQ(host.calls.excluding({"mutex"}),
            concat({{"accessory.is_config_ready()",
                     manager_log.notice("configure_accessory_task id:acc-1")},
                    fetch_calls(0),
                    {kCleanUp, kSuccessExit}}));
  EXPECT_EQ(updates, Lines{"acc-1 <- {\"doc\":1}"});
  EXPECT_FALSE(manager->is_configure_accessory_pending());
  EXPECT_EQ(manager->get_number_of_pending_configs(), 0);
  EXPECT_EQ(config->get_config_retries(), 0);
  EXPECT_EQ(host.dispatcher.size(), 0u);
}

TEST_F(ConfigureFlowTest, TheFetchIsAGetAskedForByConfigmgr) {
  add("acc-1");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  host.dispatcher.run_next();
  ASSERT_EQ(host.network.fetches().size(), 1u);
  const korrin::dispatcher::RequestContext request = host.network.fetches()[0];
  EXPECT_EQ(request.url, url_for(0));
  EXPECT_EQ(request.method, "");
  EXPECT_EQ(request.requester, "CONFIGMGR");
  EXPECT_EQ(request.body, "");
  EXPECT_EQ(request.flags, 0);
  EXPECT_EQ(request.extra, "");
}

TEST_F(ConfigureFlowTest, UnavailableFetchReportsAFailureAndEndsWithoutRetry) {
  add("acc-1");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  host.network.queue_fetch_answer(korrin::dispatcher::FETCH_UNAVAILABLE);
  reset_log();
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_RUN);
  EXPECT_EQ(
      host.calls.excluding({"mutex"}),
      concat(
          {{"accessory.is_config_ready()", manager_log.notice("configure_accessory_task id:acc-1")},
           fetch_calls(0),
           {manager_log.notice("configure_accessory_task: currently unable to fetch config"),
            "device.report_config_failure(acc-1, 1)", kCleanUp}}));
  EXPECT_TRUE(updates.empty());
  EXPECT_FALSE(manager->is_configure_accessory_pending());
  EXPECT_EQ(manager->get_number_of_pending_configs(), 0);
  EXPECT_EQ(host.dispatcher.size(), 0u);
}

TEST_F(ConfigureFlowTest, PendingFetchReportsPendingAndKeepsTheRequest) {
  ScriptedConfig* config = add("acc-1");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  host.network.queue_fetch_answer(korrin::dispatcher::FETCH_PENDING);
  reset_log();
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_RUN);
  EXPECT_EQ(host.calls.excluding({"mutex"}),
            concat({{"accessory.is_config_ready()",
                     manager_log.notice("configure_accessory_task id:acc-1")},
                    fetch_calls(0),
                    {manager_log.notice("configure_accessory_task: pending fetch config"),
                     "device.report_config_pending(acc-1, 2)"}}));
  EXPECT_TRUE(manager->is_configure_accessory_pending());
  EXPECT_EQ(manager->get_number_of_pending_configs(), 1);
  // The attempt was counted on the task's copy, not on the registered object.
  EXPECT_EQ(config->get_config_retries(), 0);
}

TEST_F(ConfigureFlowTest, UnknownFetchStatusEndsTheRequestWithALogOnly) {
  for (int status : {3, -1, 42}) {
    add("acc-1");
    ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
    host.network.queue_fetch_answer(status, "ignored");
    reset_log();
    EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_RUN);
    EXPECT_EQ(
        host.calls.excluding({"mutex"}),
        concat({{"accessory.is_config_ready()",
                 manager_log.notice("configure_accessory_task id:acc-1")},
                fetch_calls(0),
                {manager_log.notice("configure_accessory_task: unknown status from fetch_config"),
                 kCleanUp}}))
        << status;
    EXPECT_FALSE(manager->is_configure_accessory_pending());
    EXPECT_TRUE(updates.empty());
    manager->remove_accessory("acc-1");
  }
}

TEST_F(ConfigureFlowTest, PendingFetchCompletedBySuccessUpdatesAndEndsTheRequest) {
  add("acc-1");
  await_answer("acc-1");
  reset_log();
  std::string document = "DOC";
  EXPECT_TRUE(manager->on_fetch_config_success(document));
  EXPECT_EQ(host.calls.excluding({"mutex"}), (Lines{kCleanUp, kSuccessExit}));
  EXPECT_EQ(updates, Lines{"acc-1 <- DOC"});
  EXPECT_FALSE(manager->is_configure_accessory_pending());
  EXPECT_EQ(manager->get_number_of_pending_configs(), 0);
}

TEST_F(ConfigureFlowTest, FailuresAreRetriedTwiceAgainstTheServerOfEachAttemptThenAbandoned) {
  ScriptedConfig* config = add("acc-1");
  for (int i = 0; i < 3; ++i) {
    host.network.queue_fetch_answer(korrin::dispatcher::FETCH_PENDING);
  }
  await_answer("acc-1");

  reset_log();
  EXPECT_TRUE(manager->on_fetch_config_failure(7));
  EXPECT_EQ(manager_log.lines_among(host.calls.starting_with("log.")),
            Lines{manager_log.notice("on_fetch_config_failure reason code: 7")});
  EXPECT_EQ(config->get_config_retries(), 1);
  ASSERT_EQ(host.dispatcher.size(), 1u);
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_RUN);

  EXPECT_TRUE(manager->on_fetch_config_failure(8));
  EXPECT_EQ(config->get_config_retries(), 2);
  ASSERT_EQ(host.dispatcher.size(), 1u);
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_RUN);

  const std::vector<int> defers = queued_defer_times();
  ASSERT_EQ(defers.size(), 2u);
  for (int defer : defers) {
    EXPECT_GE(defer, 30);
    EXPECT_LE(defer, 40);
  }
  EXPECT_EQ(host.calls.starting_with("system_info.get_config_server"),
            (Lines{"system_info.get_config_server(1)", "system_info.get_config_server(2)"}));

  reset_log();
  EXPECT_FALSE(manager->on_fetch_config_failure(9));
  EXPECT_EQ(
      host.calls.excluding({"mutex"}),
      (Lines{manager_log.notice("on_fetch_config_failure reason code: 9"),
             manager_log.error("on_fetch_config_failure : retry limit reached, abort"), kCleanUp}));
  EXPECT_FALSE(manager->is_configure_accessory_pending());
  EXPECT_EQ(manager->get_number_of_pending_configs(), 0);
  EXPECT_EQ(config->get_config_retries(), 0);
  EXPECT_EQ(host.dispatcher.size(), 0u);

  const auto fetches = host.network.fetches();
  ASSERT_EQ(fetches.size(), 3u);
  for (int attempt = 0; attempt < 3; ++attempt) {
    EXPECT_EQ(fetches[attempt].url, url_for(attempt));
  }
  EXPECT_TRUE(updates.empty());
}

TEST_F(ConfigureFlowTest, ARetryTaskIsQueuedLikeTheFirstWithTheCloneOfTheRegisteredObject) {
  add("acc-1");
  await_answer("acc-1");
  reset_log();
  EXPECT_TRUE(manager->on_fetch_config_failure(1));
  const Lines queued = host.calls.starting_with("task_dispatcher.");
  ASSERT_EQ(queued.size(), 1u);
  EXPECT_EQ(queued[0].rfind("task_dispatcher.add_task(type=0, defer=", 0), 0u);
  EXPECT_EQ(queued[0].substr(queued[0].size() - 13), ", timeout=60)");
  const korrin_test::QueuedTask& task = host.dispatcher.at(0);
  EXPECT_EQ(task.function, &korrin::task_forwarder);
  EXPECT_EQ(task.context, static_cast<void*>(manager));
  auto* params = dynamic_cast<ConfigAccessoryParams*>(task.params.get());
  ASSERT_NE(params, nullptr);
  EXPECT_EQ(params->config_->get_config_retries(), 1);
  EXPECT_TRUE(manager->is_configure_accessory_pending());
}

TEST_F(ConfigureFlowTest, ARetryThatSucceedsResetsTheCounter) {
  ScriptedConfig* config = add("acc-1");
  await_answer("acc-1");
  EXPECT_TRUE(manager->on_fetch_config_failure(1));
  host.network.queue_fetch_answer(0, "DOC");
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_RUN);
  EXPECT_EQ(updates, Lines{"acc-1 <- DOC"});
  EXPECT_EQ(config->get_config_retries(), 0);
  EXPECT_FALSE(manager->is_configure_accessory_pending());
}

TEST_F(ConfigureFlowTest, AnswersWithoutARequestInProgressAreDropped) {
  ScriptedConfig* config = add("acc-1");
  take_version(config);
  // Pending but no request in progress.
  ASSERT_FALSE(manager->configure_accessory("acc-1", "v-1700000000"));
  reset_log();
  std::string document = "DOC";
  EXPECT_FALSE(manager->on_fetch_config_success(document));
  EXPECT_FALSE(manager->on_fetch_config_failure(4));
  EXPECT_EQ(
      host.calls.excluding({"mutex"}),
      (Lines{manager_log.error("on_fetch_config_success: no configuration in progress, dropping "
                               "data"),
             manager_log.notice("on_fetch_config_failure reason code: 4"),
             manager_log.error("on_fetch_config_failure: no configuration in progress, dropping "
                               "data")}));
  EXPECT_TRUE(updates.empty());
  EXPECT_EQ(manager->get_number_of_pending_configs(), 1);
  EXPECT_EQ(config->get_config_retries(), 0);
  EXPECT_EQ(host.dispatcher.size(), 0u);
}

TEST_F(ConfigureFlowTest, RemovingTheLastPendingAccessoryEndsTheRequest) {
  add("acc-1");
  await_answer("acc-1");
  manager->remove_accessory("acc-1");
  EXPECT_FALSE(manager->is_configure_accessory_pending());
  std::string document = "DOC";
  EXPECT_FALSE(manager->on_fetch_config_success(document));
  EXPECT_FALSE(manager->on_fetch_config_failure(1));
  EXPECT_TRUE(updates.empty());
}

// ---- coalescing ---------------------------------------------------------------------

TEST_F(ConfigureFlowTest, AnAccessoryNotRequiredIsStillUpdatedByTheNextDocument) {
  ScriptedConfig* idle = add("acc-1");
  take_version(idle);
  ASSERT_FALSE(manager->configure_accessory("acc-1", "v-1700000000"));
  add("acc-2");
  ASSERT_TRUE(manager->configure_accessory("acc-2", ""));
  host.network.queue_fetch_answer(0, "DOC");
  host.dispatcher.run_next();
  EXPECT_EQ(updates.size(), 2u);
  EXPECT_NE(std::find(updates.begin(), updates.end(), "acc-1 <- DOC"), updates.end());
  EXPECT_NE(std::find(updates.begin(), updates.end(), "acc-2 <- DOC"), updates.end());
}

TEST_F(ConfigureFlowTest, PendingObjectsAreUpdatedInPointerOrder) {
  add("acc-1");
  add("acc-2");
  add("acc-3");
  ASSERT_TRUE(manager->configure_accessory("acc-1", "v-1"));
  std::vector<std::string> expected;
  for (int position = 0; position < 3; ++position) {
    expected.push_back(manager->get_pending_config_object(position)->get_accessory_id() + " <- D");
  }
  host.network.queue_fetch_answer(0, "D");
  host.dispatcher.run_next();
  EXPECT_EQ(updates, expected);
}

TEST_F(ConfigureFlowTest, TwoAccessoriesJoiningAQueuedRequestShareOneFetch) {
  add("acc-1");
  add("acc-2");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  ASSERT_TRUE(manager->configure_accessory("acc-2", ""));
  host.network.queue_fetch_answer(0, "DOC");
  reset_log();
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_RUN);
  EXPECT_EQ(host.calls.excluding({"mutex"}),
            concat({{"accessory.is_config_ready()",
                     manager_log.notice("configure_accessory_task2 pending accessories")},
                    fetch_calls(0),
                    {kCleanUp, kSuccessExit}}));
  EXPECT_EQ(host.network.fetches().size(), 1u);
  EXPECT_EQ(updates.size(), 2u);
  EXPECT_EQ(host.dispatcher.size(), 0u);
}

TEST_F(ConfigureFlowTest, CoalescedOutcomesAreReportedWithTheEmptyId) {
  const int statuses[] = {korrin::dispatcher::FETCH_UNAVAILABLE, korrin::dispatcher::FETCH_PENDING};
  const Lines expected[] = {{"device.report_config_failure(, 1)"},
                            {"device.report_config_pending(, 2)"}};
  for (int i = 0; i < 2; ++i) {
    add("acc-1");
    add("acc-2");
    ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
    ASSERT_TRUE(manager->configure_accessory("acc-2", ""));
    host.network.queue_fetch_answer(statuses[i]);
    reset_log();
    host.dispatcher.run_next();
    EXPECT_EQ(host.calls.starting_with("device."), expected[i]);
    manager->remove_accessory("acc-1");
    manager->remove_accessory("acc-2");
  }
}

TEST_F(ConfigureFlowTest, ADocumentRejectedByOneAccessoryIsReportedForItAlone) {
  add("acc-1");
  ScriptedConfig* rejecting = add("acc-2");
  rejecting->accepts = false;
  add("acc-3");
  ASSERT_TRUE(manager->configure_accessory("acc-1", "v-1"));
  reset_log();
  std::string document = "DOC";
  // Through the host's completion path this time.
  host.network.queue_fetch_answer(korrin::dispatcher::FETCH_PENDING);
  host.dispatcher.run_next();
  reset_log();
  EXPECT_TRUE(manager->on_fetch_config_success(document));
  EXPECT_EQ(
      host.calls.excluding({"mutex"}),
      (Lines{manager_log.error("on_fetch_config_success: unable to update config retrieved from "
                               "server in library"),
             "device.report_config_failure(acc-2, 1)", kCleanUp, kSuccessExit}));
  EXPECT_EQ(updates.size(), 3u);
  EXPECT_FALSE(manager->is_configure_accessory_pending());
}

TEST_F(ConfigureFlowTest, ObjectsAreUpdatedAndReportedUnderTheRegistryLock) {
  ScriptedConfig* rejecting = add("acc-1");
  rejecting->accepts = false;
  await_answer("acc-1");
  reset_log();
  std::string document = "DOC";
  manager->on_fetch_config_success(document);
  EXPECT_EQ(korrin_test::lines_under_lock(host.calls.all(), {"device."}, {1}),
            Lines{"device.report_config_failure(acc-1, 1)"});
  EXPECT_EQ(korrin_test::lines_under_lock(host.calls.all(), {"device.", "log."}, {2}), Lines{});
}

// ---- removal while queued, and unusual parameters -------------------------------------

TEST_F(ConfigureFlowTest, AnAccessoryRemovedWhileItsTaskIsQueuedDropsTheDocument) {
  add("acc-1");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  manager->remove_accessory("acc-1");
  EXPECT_FALSE(manager->is_configure_accessory_pending());
  host.network.queue_fetch_answer(0, "DOC");
  reset_log();
  // The task works on its own clone, which is still whole.
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_RUN);
  EXPECT_EQ(host.calls.excluding({"mutex"}),
            concat({{"accessory.is_config_ready()",
                     manager_log.notice("configure_accessory_task id:acc-1")},
                    fetch_calls(0),
                    {manager_log.error("on_fetch_config_success: no configuration in progress, "
                                       "dropping data")}}));
  EXPECT_TRUE(updates.empty());
}

TEST_F(ConfigureFlowTest, AnAccessoryRemovedWhileItsTaskIsQueuedStillHasAFailureReported) {
  add("acc-1");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  manager->remove_accessory("acc-1");
  host.network.queue_fetch_answer(korrin::dispatcher::FETCH_UNAVAILABLE);
  host.dispatcher.run_next();
  EXPECT_EQ(host.calls.starting_with("device."), Lines{"device.report_config_failure(acc-1, 1)"});
  EXPECT_FALSE(manager->is_configure_accessory_pending());
}

TEST_F(ConfigureFlowTest, ATaskWithoutParametersOnlyLogsAnError) {
  manager->set_configure_accessory_pending(true);
  reset_log();
  manager->configure_accessory_task(nullptr);
  EXPECT_EQ(host.calls.all(),
            Lines{manager_log.error("configure_accessory_task: no task parameters")});
  EXPECT_TRUE(manager->is_configure_accessory_pending());
}

TEST_F(ConfigureFlowTest, ATaskWithoutConfigurationObjectEndsTheRequest) {
  add("acc-1");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  ConfigAccessoryParams empty(nullptr, 0, 60);
  reset_log();
  manager->configure_accessory_task(&empty);
  EXPECT_EQ(host.calls.excluding({"mutex"}), Lines{kCleanUp});
  EXPECT_FALSE(manager->is_configure_accessory_pending());
  EXPECT_EQ(manager->get_number_of_pending_configs(), 0);
}

// Type 0 parameters that are not the library's own.
class ForeignParams : public korrin::TaskParametersInterface {
 public:
  TaskParametersInterface* clone() const override { return new ForeignParams(); }
  int get_type() const override { return 0; }
  int check_status() override { return korrin::TASK_RUN; }
  int get_timeout() const override { return 1; }
  int get_defer_time() const override { return 0; }
};

TEST_F(ConfigureFlowTest, ForeignTypeZeroParametersEndTheRequest) {
  add("acc-1");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  ForeignParams foreign;
  reset_log();
  korrin::task_forwarder(manager, &foreign);
  EXPECT_EQ(host.calls.excluding({"mutex"}), Lines{kCleanUp});
}

TEST_F(ConfigureFlowTest, TheForwarderRoutesTypeZeroToTheManagerInItsContext) {
  add("acc-1");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  std::unique_ptr<korrin::TaskParametersInterface> params(host.dispatcher.at(0).params->clone());
  host.network.queue_fetch_answer(0, "DOC");
  korrin::task_forwarder(manager, params.get());
  EXPECT_EQ(updates, Lines{"acc-1 <- DOC"});
}

TEST_F(ConfigureFlowTest, TheForwarderIgnoresTypeZeroWithoutAManager) {
  add("acc-1");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  std::unique_ptr<korrin::TaskParametersInterface> params(host.dispatcher.at(0).params->clone());
  reset_log();
  korrin::task_forwarder(nullptr, params.get());
  EXPECT_TRUE(host.calls.all().empty());
  EXPECT_TRUE(manager->is_configure_accessory_pending());
}

// ---- initialize_accessory through the whole flow ----------------------------------------

TEST_F(ConfigureFlowTest, InitializingACameraRegistersItAndReturnsTheIdOfTheQueuedRequest) {
  AccessoryData data;
  data.type = 2;
  auto accessory = host.accessory(data);
  reset_log();
  EXPECT_EQ(manager->initialize_accessory("cam-1", accessory.get()), "cam-1");
  EXPECT_NE(dynamic_cast<korrin::config::CameraConfigImpl*>(manager->get_config_object("cam-1")),
            nullptr);
  EXPECT_EQ(host.dispatcher.size(), 1u);
  EXPECT_EQ(manager_log.lines_among(host.calls.starting_with("log.")),
            (Lines{manager_log.notice("initialize_accessory: called for id: cam-1"), kNotFound,
                   "log.info(" + kName + "create_accessory: Creating Config object for id: cam-1)",
                   manager_log.notice("create_accessory: Config object created"),
                   manager_log.notice("configure_accessory: ENTER"),
                   manager_log.notice("configure_accessory:cam-1"),
                   manager_log.notice("configure_accessory: added async task")}));
  EXPECT_EQ(host.calls.starting_with("log.info(CameraConfigImpl"),
            Lines{"log.info(CameraConfigImpl: is_config_required: No version timestamp to "
                  "compare, proceed with configure)"});
}

TEST_F(ConfigureFlowTest, InitializingWhileARequestRunsReturnsTheIdToo) {
  add("acc-1");
  ASSERT_TRUE(manager->configure_accessory("acc-1", ""));
  auto accessory = host.accessory(AccessoryData{});
  EXPECT_EQ(manager->initialize_accessory("acc-2", accessory.get()), "acc-2");
  EXPECT_EQ(host.dispatcher.size(), 1u);
  EXPECT_EQ(manager->get_number_of_pending_configs(), 2);
}

TEST_F(ConfigureFlowTest, NoHostCallIsMadeUnderThePendingLockInAWholeFlow) {
  add("acc-1");
  add("acc-2");
  await_answer("acc-1");
  manager->configure_accessory("acc-2", "v-3");
  manager->on_fetch_config_failure(1);
  host.network.queue_fetch_answer(0, "DOC");
  host.dispatcher.run_all();
  EXPECT_EQ(korrin_test::lines_under_lock(host.calls.all(),
                                          {"log.", "device.", "network.", "task_dispatcher.",
                                           "system_info.", "mutex.lock(#1)"},
                                          {2}),
            Lines{});
  EXPECT_EQ(korrin_test::locks_left_held(host.calls.all()), std::vector<int>{});
}

}  // namespace
