// The reference host's task dispatcher (the host kit's, with the program's
// --time-scale) checked against the task contract with scripted task
// parameters.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "korrin/host/task_dispatcher.h"
#include "run.h"
#include "support/fake_host.h"

namespace {

using Clock = std::chrono::steady_clock;

// The kit's dispatcher as korrin-host makes it: one second of task time
// lasts `time_scale` real seconds.
class TaskDispatcher : public korrin::host::TaskDispatcher {
 public:
  TaskDispatcher(korrin::log::HostLogInterface* log, double time_scale)
      : korrin::host::TaskDispatcher(options(log, time_scale)) {}

 private:
  static korrin::host::DispatcherOptions options(korrin::log::HostLogInterface* log,
                                                 double time_scale) {
    korrin::host::DispatcherOptions made;
    made.log = log;
    made.second = korrin_host::task_second(time_scale);
    return made;
  }
};
using std::chrono::milliseconds;

// What the parameters and the task function saw; shared by every clone.
struct Probe {
  std::mutex mutex;
  std::vector<std::pair<int, int>> script;  // (answer, defer time stored with it)
  std::size_t next = 0;
  std::vector<Clock::time_point> checks;
  std::vector<Clock::time_point> runs;
  std::vector<std::string> ran_labels;
  std::vector<const korrin::TaskParametersInterface*> ran_params;
  std::atomic<int> live{0};
  milliseconds work{0};
  bool throw_in_task = false;
  std::function<void()> during_task;
};

class ScriptedParams : public korrin::TaskParametersInterface {
 public:
  ScriptedParams(std::shared_ptr<Probe> probe, std::string label, int defer, int timeout = 60,
                 int type = 0)
      : probe_(std::move(probe)),
        label_(std::move(label)),
        defer_(defer),
        timeout_(timeout),
        type_(type) {
    ++probe_->live;
  }
  ScriptedParams(const ScriptedParams& other)
      : korrin::TaskParametersInterface(other),
        probe_(other.probe_),
        label_(other.label_),
        defer_(other.defer_),
        timeout_(other.timeout_),
        type_(other.type_) {
    ++probe_->live;
  }
  ~ScriptedParams() override { --probe_->live; }
  korrin::TaskParametersInterface* clone() const override { return new ScriptedParams(*this); }
  int get_type() const override { return type_; }
  int check_status() override {
    std::lock_guard<std::mutex> guard(probe_->mutex);
    probe_->checks.push_back(Clock::now());
    if (probe_->next >= probe_->script.size()) {
      return korrin::TASK_RUN;
    }
    const auto answer = probe_->script[probe_->next++];
    if (answer.first == korrin::TASK_DEFER) {
      defer_ = answer.second;
    }
    return answer.first;
  }
  int get_timeout() const override { return timeout_; }
  int get_defer_time() const override { return defer_; }
  const std::string& label() const { return label_; }

 private:
  std::shared_ptr<Probe> probe_;
  std::string label_;
  int defer_;
  int timeout_;
  int type_;
};

void record_run(void* context, korrin::TaskParametersInterface* params) {
  auto* probe = static_cast<Probe*>(context);
  {
    std::lock_guard<std::mutex> guard(probe->mutex);
    probe->runs.push_back(Clock::now());
    probe->ran_labels.push_back(static_cast<ScriptedParams*>(params)->label());
    probe->ran_params.push_back(params);
  }
  if (probe->during_task) {
    probe->during_task();
  }
  if (probe->work.count() > 0) {
    std::this_thread::sleep_for(probe->work);
  }
  if (probe->throw_in_task) {
    throw std::runtime_error("task failed");
  }
}

double ms_between(Clock::time_point from, Clock::time_point to) {
  return std::chrono::duration<double, std::milli>(to - from).count();
}

class HostTaskDispatcher : public ::testing::Test {
 protected:
  korrin_test::CallLog calls;
  korrin_test::FakeLogSink log{&calls};
  std::shared_ptr<Probe> probe = std::make_shared<Probe>();

  std::vector<std::string> labels() {
    std::lock_guard<std::mutex> guard(probe->mutex);
    return probe->ran_labels;
  }
  std::vector<std::string> dispatcher_records() {
    std::vector<std::string> texts;
    for (const korrin_test::LogRecord& record : log.records()) {
      if (record.level <= korrin::log::warning) {
        texts.push_back(record.text);
      }
    }
    return texts;
  }
};

TEST_F(HostTaskDispatcher, WaitsTheDeferTimeBeforeTheFirstCheckAndRunsAClone) {
  TaskDispatcher dispatcher(&log, 0.01);  // 10 s of task time = 100 ms
  ScriptedParams params(probe, "a", 10);
  const Clock::time_point added = Clock::now();
  dispatcher.add_task(record_run, probe.get(), &params);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  ASSERT_EQ(probe->checks.size(), 1u);
  ASSERT_EQ(probe->runs.size(), 1u);
  EXPECT_GE(ms_between(added, probe->checks[0]), 100.0);
  EXPECT_NE(probe->ran_params[0], &params);  // the dispatcher's own clone
  EXPECT_EQ(probe->live, 1);                 // the clone is gone again
  const korrin::host::DispatcherStats stats = dispatcher.stats();
  EXPECT_EQ(stats.accepted, 1u);
  EXPECT_EQ(stats.ran, 1u);
}

TEST_F(HostTaskDispatcher, AnswerTwoWaitsTheNewlyStoredDeferTimeAndAsksAgain) {
  probe->script = {{korrin::TASK_DEFER, 20}, {korrin::TASK_DEFER, 6}, {korrin::TASK_RUN, 0}};
  TaskDispatcher dispatcher(&log, 0.01);
  ScriptedParams params(probe, "a", 0);
  dispatcher.add_task(record_run, probe.get(), &params);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  ASSERT_EQ(probe->checks.size(), 3u);
  ASSERT_EQ(probe->runs.size(), 1u);
  EXPECT_GE(ms_between(probe->checks[0], probe->checks[1]), 200.0);
  EXPECT_GE(ms_between(probe->checks[1], probe->checks[2]), 60.0);
  EXPECT_EQ(dispatcher.stats().deferred, 2u);
  EXPECT_EQ(probe->live, 1);
}

TEST_F(HostTaskDispatcher, AnswerThreeDropsTheTaskWithoutRunningIt) {
  probe->script = {{korrin::TASK_DROP, 0}};
  TaskDispatcher dispatcher(&log, 0.01);
  ScriptedParams params(probe, "a", 0);
  dispatcher.add_task(record_run, probe.get(), &params);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_EQ(probe->checks.size(), 1u);
  EXPECT_TRUE(probe->runs.empty());
  EXPECT_EQ(probe->live, 1);
  EXPECT_EQ(dispatcher.stats().dropped, 1u);
}

TEST_F(HostTaskDispatcher, AnUnknownAnswerDropsTheTaskWithAWarning) {
  probe->script = {{7, 0}};
  TaskDispatcher dispatcher(&log, 0.01);
  ScriptedParams params(probe, "a", 0, 60, 1);
  dispatcher.add_task(record_run, probe.get(), &params);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_TRUE(probe->runs.empty());
  EXPECT_EQ(probe->live, 1);
  EXPECT_EQ(
      dispatcher_records(),
      std::vector<std::string>{
          "Host::TaskDispatcher: check_status: type 1 answered unknown status 7; task dropped"});
}

TEST_F(HostTaskDispatcher, ATaskRunningPastItsTimeOutIsLoggedAsAnOverrun) {
  probe->work = milliseconds(150);
  TaskDispatcher dispatcher(&log, 0.01);  // a time-out of 2 s allows 20 ms
  ScriptedParams params(probe, "slow", 0, 2, 0);
  dispatcher.add_task(record_run, probe.get(), &params);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  const std::vector<std::string> records = dispatcher_records();
  ASSERT_EQ(records.size(), 1u);
  const std::string prefix =
      "Host::TaskDispatcher: run: type 0 overran its time-out of 2 s (ran 0.";
  EXPECT_EQ(records[0].substr(0, prefix.size()), prefix);
  const std::string suffix = " s real time)";
  EXPECT_EQ(records[0].substr(records[0].size() - suffix.size()), suffix);
  EXPECT_EQ(dispatcher.stats().overruns, 1u);
  EXPECT_EQ(dispatcher.stats().ran, 1u);
}

TEST_F(HostTaskDispatcher, ATaskWithinItsTimeOutLogsNoOverrun) {
  TaskDispatcher dispatcher(&log, 0.01);
  ScriptedParams params(probe, "quick", 0, 60, 0);
  dispatcher.add_task(record_run, probe.get(), &params);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_TRUE(dispatcher_records().empty());
  EXPECT_EQ(dispatcher.stats().overruns, 0u);
}

TEST_F(HostTaskDispatcher, DueTasksRunInDueOrderAndEqualDueTimesInArrivalOrder) {
  TaskDispatcher dispatcher(&log, 0.01);
  ScriptedParams late(probe, "late", 30);
  ScriptedParams first(probe, "first", 10);
  ScriptedParams second(probe, "second", 10);
  dispatcher.add_task(record_run, probe.get(), &late);
  dispatcher.add_task(record_run, probe.get(), &first);
  dispatcher.add_task(record_run, probe.get(), &second);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_EQ(labels(), (std::vector<std::string>{"first", "second", "late"}));
}

TEST_F(HostTaskDispatcher, StopDeletesQueuedTasksWithoutCheckingOrRunningThem) {
  TaskDispatcher dispatcher(&log, 1.0);
  ScriptedParams params(probe, "never", 1000);
  dispatcher.add_task(record_run, probe.get(), &params);
  EXPECT_EQ(probe->live, 2);
  dispatcher.stop();
  EXPECT_EQ(probe->live, 1);
  EXPECT_TRUE(probe->checks.empty());
  EXPECT_TRUE(probe->runs.empty());
  EXPECT_EQ(dispatcher.stats().discarded, 1u);
  EXPECT_TRUE(dispatcher.idle());
}

TEST_F(HostTaskDispatcher, StopWaitsForTheRunningTaskAndNothingRunsAfterwards) {
  probe->work = milliseconds(200);
  TaskDispatcher dispatcher(&log, 0.01);
  ScriptedParams running(probe, "running", 0);
  ScriptedParams waiting(probe, "waiting", 0);
  dispatcher.add_task(record_run, probe.get(), &running);
  while (labels().empty()) {
    std::this_thread::sleep_for(milliseconds(1));
  }
  dispatcher.add_task(record_run, probe.get(), &waiting);
  dispatcher.stop();
  const Clock::time_point stopped = Clock::now();
  EXPECT_GE(ms_between(probe->runs[0], stopped), 200.0);
  EXPECT_EQ(labels(), std::vector<std::string>{"running"});
  EXPECT_EQ(probe->live, 2);  // the two originals on this stack
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_EQ(labels(), std::vector<std::string>{"running"});
}

TEST_F(HostTaskDispatcher, TasksAddedAfterStopAreDiscardedWithAWarning) {
  TaskDispatcher dispatcher(&log, 0.01);
  dispatcher.stop();
  ScriptedParams params(probe, "late", 0, 120, 1);
  dispatcher.add_task(record_run, probe.get(), &params);
  EXPECT_EQ(probe->live, 1);
  EXPECT_EQ(dispatcher.stats().discarded, 1u);
  EXPECT_EQ(dispatcher_records(),
            std::vector<std::string>{
                "Host::TaskDispatcher: add_task: dispatcher stopped, task of type 1 discarded"});
}

TEST_F(HostTaskDispatcher, AThrowingTaskIsLoggedAndLaterTasksStillRun) {
  TaskDispatcher dispatcher(&log, 0.01);
  probe->throw_in_task = true;
  ScriptedParams bad(probe, "bad", 0);
  dispatcher.add_task(record_run, probe.get(), &bad);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  probe->throw_in_task = false;
  ScriptedParams good(probe, "good", 0);
  dispatcher.add_task(record_run, probe.get(), &good);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_EQ(labels(), (std::vector<std::string>{"bad", "good"}));
  EXPECT_EQ(dispatcher_records(),
            std::vector<std::string>{"Host::TaskDispatcher: run: type 0 threw: task failed"});
  EXPECT_EQ(dispatcher.stats().failed, 1u);
  EXPECT_EQ(probe->live, 2);
}

TEST_F(HostTaskDispatcher, ATaskMayQueueAnotherTask) {
  TaskDispatcher dispatcher(&log, 0.01);
  ScriptedParams follow_up(probe, "follow-up", 0);
  std::atomic<bool> queued{false};
  probe->during_task = [&] {
    if (!queued.exchange(true)) {
      dispatcher.add_task(record_run, probe.get(), &follow_up);
    }
  };
  ScriptedParams first(probe, "first", 0);
  dispatcher.add_task(record_run, probe.get(), &first);
  for (int i = 0; i < 500 && labels().size() < 2; ++i) {
    std::this_thread::sleep_for(milliseconds(10));
  }
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_EQ(labels(), (std::vector<std::string>{"first", "follow-up"}));
}

TEST_F(HostTaskDispatcher, NullParametersAreRefusedWithAnError) {
  TaskDispatcher dispatcher(&log, 0.01);
  dispatcher.add_task(record_run, probe.get(), nullptr);
  EXPECT_EQ(dispatcher.queued(), 0u);
  EXPECT_EQ(dispatcher.stats().accepted, 0u);
  EXPECT_EQ(dispatcher_records(),
            std::vector<std::string>{
                "Host::TaskDispatcher: add_task: no task function or parameters, ignored"});
}

TEST_F(HostTaskDispatcher, TasksFromManyThreadsRunExactlyOnceEach) {
  TaskDispatcher dispatcher(&log, 0.001);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 50; ++i) {
        ScriptedParams params(probe, std::to_string(t) + "-" + std::to_string(i), i % 3);
        dispatcher.add_task(record_run, probe.get(), &params);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(10000)));
  std::vector<std::string> ran = labels();
  std::sort(ran.begin(), ran.end());
  EXPECT_EQ(ran.size(), 200u);
  EXPECT_EQ(std::unique(ran.begin(), ran.end()), ran.end());
  EXPECT_EQ(probe->live, 0);
}

TEST_F(HostTaskDispatcher, DestroyingTheDispatcherDeletesWhatIsStillQueued) {
  {
    TaskDispatcher dispatcher(&log, 1.0);
    ScriptedParams params(probe, "never", 3600);
    dispatcher.add_task(record_run, probe.get(), &params);
  }
  EXPECT_EQ(probe->live, 0);
  EXPECT_TRUE(probe->runs.empty());
}

TEST_F(HostTaskDispatcher, StopCalledFromATaskEndsTheDispatcherAfterThatTask) {
  auto dispatcher = std::make_unique<TaskDispatcher>(&log, 0.01);
  TaskDispatcher* raw = dispatcher.get();
  probe->during_task = [raw] { raw->stop(); };
  ScriptedParams first(probe, "first", 0);
  ScriptedParams second(probe, "second", 5);
  dispatcher->add_task(record_run, probe.get(), &first);
  dispatcher->add_task(record_run, probe.get(), &second);
  std::this_thread::sleep_for(milliseconds(200));
  dispatcher.reset();
  EXPECT_EQ(labels(), std::vector<std::string>{"first"});
  EXPECT_EQ(probe->live, 2);
}

TEST_F(HostTaskDispatcher, APausedDispatcherQueuesButChecksNothingUntilResumed) {
  TaskDispatcher dispatcher(&log, 0.01);
  dispatcher.pause();
  ScriptedParams first(probe, "first", 0);
  ScriptedParams second(probe, "second", 0);
  dispatcher.add_task(record_run, probe.get(), &first);
  dispatcher.add_task(record_run, probe.get(), &second);
  std::this_thread::sleep_for(milliseconds(100));
  EXPECT_TRUE(probe->checks.empty());
  EXPECT_EQ(dispatcher.queued(), 2u);
  EXPECT_FALSE(dispatcher.idle());
  dispatcher.resume();
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_EQ(labels(), (std::vector<std::string>{"first", "second"}));
}

TEST_F(HostTaskDispatcher, StopEndsAPausedDispatcher) {
  TaskDispatcher dispatcher(&log, 0.01);
  dispatcher.pause();
  ScriptedParams params(probe, "never", 0);
  dispatcher.add_task(record_run, probe.get(), &params);
  dispatcher.stop();
  EXPECT_TRUE(probe->runs.empty());
  EXPECT_EQ(probe->live, 1);
}

TEST_F(HostTaskDispatcher, TheTimeScaleShortensTheLibrarysRetryBackOff) {
  TaskDispatcher dispatcher(&log, 0.001);  // 40 s of task time = 40 ms
  EXPECT_EQ(korrin_host::task_second(0.001) * 40,
            std::chrono::duration_cast<Clock::duration>(milliseconds(40)));
  // No scale, or a scale that is not positive, keeps real seconds.
  EXPECT_EQ(korrin_host::task_second(1.0), std::chrono::seconds(1));
  EXPECT_EQ(korrin_host::task_second(0), std::chrono::seconds(1));
  EXPECT_EQ(korrin_host::task_second(-3), std::chrono::seconds(1));
  ScriptedParams params(probe, "retry", 40);
  const Clock::time_point added = Clock::now();
  dispatcher.add_task(record_run, probe.get(), &params);
  ASSERT_TRUE(dispatcher.wait_idle(milliseconds(5000)));
  EXPECT_GE(ms_between(added, probe->runs.at(0)), 40.0);
  EXPECT_LT(ms_between(added, probe->runs.at(0)), 4000.0);
}

}  // namespace
