// korrin::host::TaskDispatcher against the task contract: clone kept, defer
// time waited, check_status 1/2/3 honoured, clone deleted after running or
// dropping, orderly stop, tasks queued from inside a task.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "korrin/host/task_dispatcher.h"
#include "korrin/request.h"
#include "support/recording_log.h"

namespace {

using korrin::host::DispatcherOptions;
using korrin::host::StopPolicy;
using korrin::host::StopReport;
using korrin::host::TaskDispatcher;
using korrin::host::TaskEvent;
using korrin::host::TaskOutcome;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// What every parameters object of one test shares: the answers check_status
// gives in turn (the last one repeats), the calls seen, and live copies.
struct Script {
  std::mutex mutex;
  std::deque<int> answers;
  std::vector<std::string> calls;
  std::atomic<int> live{0};
  std::atomic<int> made{0};
  int defer_after_2 = 1;

  void note(const std::string& call) {
    std::lock_guard<std::mutex> guard(mutex);
    calls.push_back(call);
  }
  std::vector<std::string> seen() {
    std::lock_guard<std::mutex> guard(mutex);
    return calls;
  }
};

class ScriptedParams : public korrin::TaskParametersInterface {
 public:
  ScriptedParams(Script* script, int type, int defer, int timeout = 60)
      : script_(script), type_(type), defer_(defer), timeout_(timeout) {
    ++script_->live;
    ++script_->made;
  }
  ScriptedParams(const ScriptedParams& other)
      : korrin::TaskParametersInterface(),
        script_(other.script_),
        type_(other.type_),
        defer_(other.defer_),
        timeout_(other.timeout_) {
    ++script_->live;
    ++script_->made;
  }
  ~ScriptedParams() override { --script_->live; }
  korrin::TaskParametersInterface* clone() const override { return new ScriptedParams(*this); }
  int get_type() const override { return type_; }
  int check_status() override {
    int answer = 0;
    {
      std::lock_guard<std::mutex> guard(script_->mutex);
      answer = script_->answers.front();
      if (script_->answers.size() > 1) {
        script_->answers.pop_front();
      }
      script_->calls.push_back("check " + std::to_string(type_) + " -> " + std::to_string(answer));
    }
    if (answer == 2) {
      defer_ = script_->defer_after_2;
    }
    if (answer == 99) {
      throw std::runtime_error("status unknown");
    }
    return answer;
  }
  int get_timeout() const override { return timeout_; }
  int get_defer_time() const override { return defer_; }

 private:
  Script* script_;
  int type_;
  int defer_;
  int timeout_;
};

// Task function: notes the context it was given.
void note_task(void* context, korrin::TaskParametersInterface* params) {
  auto* script = static_cast<Script*>(context);
  script->note("run " + std::to_string(params->get_type()));
}

void throwing_task(void*, korrin::TaskParametersInterface*) { throw std::runtime_error("boom"); }

DispatcherOptions fast(kit_test::RecordingLog* log = nullptr) {
  DispatcherOptions options;
  options.second = milliseconds(20);
  options.log = log;
  return options;
}

TEST(KitTaskDispatcher, KeepsItsOwnCloneAndRunsTheTaskOnAnswerOne) {
  Script script;
  script.answers = {1};
  TaskDispatcher dispatcher(fast());
  {
    ScriptedParams params(&script, 0, 0);
    dispatcher.add_task(note_task, &script, &params);
  }  // the caller's object is gone before the task runs
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_EQ(script.seen(), (std::vector<std::string>{"check 0 -> 1", "run 0"}));
  EXPECT_EQ(script.made.load(), 2);  // the caller's object and one clone
  EXPECT_EQ(script.live.load(), 0);  // the clone was deleted after the run
  EXPECT_EQ(dispatcher.stats().accepted, 1u);
  EXPECT_EQ(dispatcher.stats().ran, 1u);
}

TEST(KitTaskDispatcher, WaitsTheDeferTimeBeforeTheFirstCheck) {
  Script script;
  script.answers = {1};
  std::vector<TaskEvent> events;
  std::mutex events_mutex;
  TaskDispatcher dispatcher(fast());
  dispatcher.set_observer([&](const TaskEvent& event) {
    std::lock_guard<std::mutex> guard(events_mutex);
    events.push_back(event);
  });
  ScriptedParams params(&script, 1, 5);  // 5 task seconds = 100 ms here
  const Clock::time_point added = Clock::now();
  dispatcher.add_task(note_task, &script, &params);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  std::lock_guard<std::mutex> guard(events_mutex);
  ASSERT_EQ(events.size(), 1u);
  EXPECT_GE(events[0].started - added, milliseconds(100));
  EXPECT_EQ(events[0].type, 1);
  EXPECT_EQ(events[0].status, 1);
  EXPECT_EQ(events[0].outcome, TaskOutcome::ran);
  EXPECT_LE(events[0].started, events[0].run_started);
  EXPECT_LE(events[0].run_started, events[0].run_finished);
  EXPECT_LE(events[0].run_finished, events[0].finished);
}

TEST(KitTaskDispatcher, AnswerTwoIsAskedAgainAfterTheNewDeferTime) {
  Script script;
  script.answers = {2, 2, 1};
  script.defer_after_2 = 3;  // 60 ms here
  std::vector<TaskEvent> events;
  std::mutex events_mutex;
  TaskDispatcher dispatcher(fast());
  dispatcher.set_observer([&](const TaskEvent& event) {
    std::lock_guard<std::mutex> guard(events_mutex);
    events.push_back(event);
  });
  ScriptedParams params(&script, 0, 0);
  dispatcher.add_task(note_task, &script, &params);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_EQ(script.seen(),
            (std::vector<std::string>{"check 0 -> 2", "check 0 -> 2", "check 0 -> 1", "run 0"}));
  std::lock_guard<std::mutex> guard(events_mutex);
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[0].outcome, TaskOutcome::deferred);
  EXPECT_EQ(events[1].outcome, TaskOutcome::deferred);
  EXPECT_EQ(events[2].outcome, TaskOutcome::ran);
  EXPECT_GE(events[1].started - events[0].finished, milliseconds(60));
  EXPECT_GE(events[2].started - events[1].finished, milliseconds(60));
  EXPECT_EQ(dispatcher.stats().deferred, 2u);
  EXPECT_EQ(script.live.load(), 1);  // only the test's own object
}

TEST(KitTaskDispatcher, AnswerThreeDropsTheTaskAndItsClone) {
  Script script;
  script.answers = {3};
  kit_test::RecordingLog log;
  TaskDispatcher dispatcher(fast(&log));
  ScriptedParams params(&script, 1, 0);
  dispatcher.add_task(note_task, &script, &params);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_EQ(script.seen(), std::vector<std::string>{"check 1 -> 3"});
  EXPECT_EQ(script.live.load(), 1);
  EXPECT_EQ(dispatcher.stats().dropped, 1u);
  EXPECT_EQ(dispatcher.stats().ran, 0u);
  EXPECT_EQ(log.lines_from("Host::TaskDispatcher: check_status"),
            std::vector<std::string>{
                "4 Host::TaskDispatcher: check_status: type 1 dropped by its parameters"});
}

TEST(KitTaskDispatcher, AnUnknownAnswerOrAThrowingCheckDropsTheTask) {
  Script script;
  script.answers = {7, 99};
  kit_test::RecordingLog log;
  TaskDispatcher dispatcher(fast(&log));
  ScriptedParams params(&script, 0, 0);
  dispatcher.add_task(note_task, &script, &params);
  dispatcher.add_task(note_task, &script, &params);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_EQ(script.seen(), (std::vector<std::string>{"check 0 -> 7", "check 0 -> 99"}));
  EXPECT_EQ(script.live.load(), 1);
  EXPECT_EQ(dispatcher.stats().dropped, 2u);
  EXPECT_EQ(log.lines_from("Host::TaskDispatcher: check_status"),
            (std::vector<std::string>{
                "2 Host::TaskDispatcher: check_status: type 0 answered unknown status 7; task "
                "dropped",
                "1 Host::TaskDispatcher: check_status: type 0 threw: status unknown; task "
                "dropped"}));
}

TEST(KitTaskDispatcher, ATaskThatThrowsIsLoggedAndItsCloneDeleted) {
  Script script;
  script.answers = {1};
  kit_test::RecordingLog log;
  TaskDispatcher dispatcher(fast(&log));
  ScriptedParams params(&script, 1, 0);
  dispatcher.add_task(throwing_task, nullptr, &params);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_EQ(script.live.load(), 1);
  EXPECT_EQ(dispatcher.stats().failed, 1u);
  EXPECT_EQ(log.lines_from("Host::TaskDispatcher: run: type 1 threw"),
            std::vector<std::string>{"1 Host::TaskDispatcher: run: type 1 threw: boom"});
}

TEST(KitTaskDispatcher, TasksDueTogetherRunInTheOrderTheyWereAdded) {
  Script script;
  script.answers = {1};
  TaskDispatcher dispatcher(fast());
  dispatcher.pause();
  for (int type = 0; type < 5; ++type) {
    ScriptedParams params(&script, type, 0);
    dispatcher.add_task(note_task, &script, &params);
  }
  EXPECT_EQ(dispatcher.queued(), 5u);
  dispatcher.resume();
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_EQ(script.seen(), (std::vector<std::string>{
                               "check 0 -> 1", "run 0", "check 1 -> 1", "run 1", "check 2 -> 1",
                               "run 2", "check 3 -> 1", "run 3", "check 4 -> 1", "run 4"}));
}

// A task that queues another task of type 9 through the dispatcher.
struct Requeue {
  TaskDispatcher* dispatcher;
  Script* script;
};

void requeueing_task(void* context, korrin::TaskParametersInterface* params) {
  auto* requeue = static_cast<Requeue*>(context);
  requeue->script->note("run " + std::to_string(params->get_type()));
  if (params->get_type() != 9) {
    ScriptedParams next(requeue->script, 9, 0);
    requeue->dispatcher->add_task(note_task, requeue->script, &next);
  }
}

TEST(KitTaskDispatcher, ATaskMayQueueAnotherTaskFromInside) {
  Script script;
  script.answers = {1};
  TaskDispatcher dispatcher(fast());
  Requeue requeue{&dispatcher, &script};
  ScriptedParams params(&script, 0, 0);
  dispatcher.add_task(requeueing_task, &requeue, &params);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_EQ(script.seen(),
            (std::vector<std::string>{"check 0 -> 1", "run 0", "check 9 -> 1", "run 9"}));
  EXPECT_EQ(script.live.load(), 1);
}

TEST(KitTaskDispatcher, StopDropsWhatIsQueuedAndSaysWhich) {
  Script script;
  script.answers = {1};
  kit_test::RecordingLog log;
  TaskDispatcher dispatcher(fast(&log));
  ScriptedParams later(&script, 1, 1000);  // due in 20 s here
  ScriptedParams sooner(&script, 0, 500);
  dispatcher.add_task(note_task, &script, &later);
  dispatcher.add_task(note_task, &script, &sooner);
  const StopReport report = dispatcher.stop();
  ASSERT_EQ(report.tasks.size(), 2u);
  EXPECT_EQ(report.tasks[0].type, 0);  // in due order
  EXPECT_EQ(report.tasks[0].outcome, TaskOutcome::discarded);
  EXPECT_EQ(report.tasks[1].type, 1);
  EXPECT_EQ(report.tasks[1].outcome, TaskOutcome::discarded);
  EXPECT_EQ(report.ran(), 0u);
  EXPECT_EQ(report.dropped(), 2u);
  EXPECT_TRUE(script.seen().empty());  // neither checked nor run
  EXPECT_EQ(script.live.load(), 2);    // the test's two objects; both clones gone
  EXPECT_EQ(dispatcher.stats().discarded, 2u);
  EXPECT_EQ(
      log.lines_from("Host::TaskDispatcher: stop"),
      std::vector<std::string>{"3 Host::TaskDispatcher: stop: 2 queued task(s): 0 ran, 2 dropped"});
  EXPECT_TRUE(dispatcher.stop().tasks.empty());
}

TEST(KitTaskDispatcher, StopCanRunTheQueuedTasksThatAreReady) {
  Script script;
  script.answers = {1, 2, 3};
  TaskDispatcher dispatcher(fast());
  for (int type = 0; type < 3; ++type) {
    ScriptedParams params(&script, type, 1000 + type);
    dispatcher.add_task(note_task, &script, &params);
  }
  const StopReport report = dispatcher.stop(StopPolicy::run_ready);
  EXPECT_EQ(script.seen(),
            (std::vector<std::string>{"check 0 -> 1", "run 0", "check 1 -> 2", "check 2 -> 3"}));
  ASSERT_EQ(report.tasks.size(), 3u);
  EXPECT_EQ(report.tasks[0].outcome, TaskOutcome::ran);
  EXPECT_EQ(report.tasks[1].outcome, TaskOutcome::dropped);
  EXPECT_EQ(report.tasks[1].status, 2);
  EXPECT_EQ(report.tasks[2].outcome, TaskOutcome::dropped);
  EXPECT_EQ(report.tasks[2].status, 3);
  EXPECT_EQ(report.ran(), 1u);
  EXPECT_EQ(report.dropped(), 2u);
  EXPECT_EQ(script.live.load(), 0);
}

TEST(KitTaskDispatcher, StopWaitsForTheRunningTaskAndLaterTasksAreDiscarded) {
  Script script;
  script.answers = {1};
  std::atomic<bool> entered{false};
  std::atomic<bool> finished{false};
  struct Slow {
    std::atomic<bool>* entered;
    std::atomic<bool>* finished;
  } slow{&entered, &finished};
  auto slow_task = [](void* context, korrin::TaskParametersInterface*) {
    auto* s = static_cast<Slow*>(context);
    s->entered->store(true);
    std::this_thread::sleep_for(milliseconds(200));
    s->finished->store(true);
  };
  kit_test::RecordingLog log;
  TaskDispatcher dispatcher(fast(&log));
  ScriptedParams params(&script, 0, 0);
  dispatcher.add_task(slow_task, &slow, &params);
  while (!entered.load()) {
    std::this_thread::sleep_for(milliseconds(1));
  }
  dispatcher.stop();
  EXPECT_TRUE(finished.load());
  dispatcher.add_task(note_task, &script, &params);
  EXPECT_EQ(dispatcher.stats().discarded, 1u);
  EXPECT_EQ(script.live.load(), 1);
  EXPECT_EQ(log.lines_from("Host::TaskDispatcher: add_task"),
            (std::vector<std::string>{
                "5 Host::TaskDispatcher: add_task: type 0, first check in 0 s, time-out 60 s",
                "2 Host::TaskDispatcher: add_task: dispatcher stopped, task of type 0 "
                "discarded"}));
}

TEST(KitTaskDispatcher, AnOverrunOfTheTimeOutIsLoggedNotInterrupted) {
  Script script;
  script.answers = {1};
  auto slow_task = [](void*, korrin::TaskParametersInterface*) {
    std::this_thread::sleep_for(milliseconds(60));
  };
  TaskDispatcher dispatcher(fast());
  ScriptedParams params(&script, 1, 0, 1);  // a 20 ms time-out here
  dispatcher.add_task(slow_task, nullptr, &params);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_EQ(dispatcher.stats().ran, 1u);
  EXPECT_EQ(dispatcher.stats().overruns, 1u);
}

TEST(KitTaskDispatcher, NullFunctionsOrParametersAreRefused) {
  Script script;
  kit_test::RecordingLog log;
  TaskDispatcher dispatcher(fast(&log));
  ScriptedParams params(&script, 0, 0);
  dispatcher.add_task(nullptr, nullptr, &params);
  dispatcher.add_task(note_task, nullptr, nullptr);
  EXPECT_EQ(dispatcher.stats().accepted, 0u);
  EXPECT_EQ(script.made.load(), 1);
  EXPECT_EQ(log.lines(),
            (std::vector<std::string>{
                "1 Host::TaskDispatcher: add_task: no task function or parameters, ignored",
                "1 Host::TaskDispatcher: add_task: no task function or parameters, ignored"}));
}

TEST(KitTaskDispatcher, ManyThreadsAddingAtOnceLoseNothing) {
  Script script;
  script.answers = {1};
  std::atomic<int> runs{0};
  auto count = [](void* context, korrin::TaskParametersInterface*) {
    ++*static_cast<std::atomic<int>*>(context);
  };
  TaskDispatcher dispatcher(fast());
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 50; ++i) {
        ScriptedParams params(&script, 1, 0);
        dispatcher.add_task(count, &runs, &params);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(10000)));
  EXPECT_EQ(runs.load(), 200);
  EXPECT_EQ(script.live.load(), 0);
}

}  // namespace
