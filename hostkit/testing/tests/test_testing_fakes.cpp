// korrin::testing: the fakes record every call in one ordered log, answer as
// scripted, run queued tasks only when told to, report lock misuse, throw on
// the armed call and count their live objects.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "korrin/request.h"
#include "korrin/testing/fake_host.h"
#include "korrin/testing/lock_checks.h"
#include "korrin/testing/sample_accessories.h"

namespace {

using korrin::testing::FakeAccessory;
using korrin::testing::FakeHost;
using korrin::testing::InjectedFault;

// Parameters whose check_status answers in turn from a list.
class Answers : public korrin::TaskParametersInterface {
 public:
  Answers(std::vector<int> answers, int type) : answers_(std::move(answers)), type_(type) {}
  korrin::TaskParametersInterface* clone() const override { return new Answers(*this); }
  int get_type() const override { return type_; }
  int check_status() override {
    const int answer = answers_.at(next_ < answers_.size() ? next_ : answers_.size() - 1);
    ++next_;
    if (answer == korrin::TASK_DEFER) {
      defer_ = 6;
    }
    return answer;
  }
  int get_timeout() const override { return 60; }
  int get_defer_time() const override { return defer_; }

 private:
  std::vector<int> answers_;
  std::size_t next_ = 0;
  int type_;
  int defer_ = 0;
};

std::vector<std::string>* ran = nullptr;
void note_run(void* context, korrin::TaskParametersInterface* params) {
  ran->push_back(std::string(static_cast<const char*>(context)) + " type " +
                 std::to_string(params->get_type()));
}

TEST(TestingFakes, EveryCallLandsInOneOrderedLogAsReadableLines) {
  FakeHost host;
  host.network.queue_fetch_answer(korrin::dispatcher::FETCH_DONE, "{}");
  korrin::dispatcher::RequestContext request;
  request.url = "http://10.0.0.5/config/user-7.json";
  request.requester = "CONFIGMGR";
  std::string response;
  EXPECT_EQ(host.network.fetch(request, response), korrin::dispatcher::FETCH_DONE);
  EXPECT_EQ(response, "{}");
  EXPECT_EQ(host.network.fetch(request, response), 1);  // default_status afterwards
  host.device.apply_setting("acc-1", "volume", 5, "7");
  host.device.upgrade_answer = false;
  EXPECT_FALSE(host.device.request_firmware_upgrade("acc-1", "2-0-0", "fw.bin"));
  host.log.write_record(korrin::log::notice, "Lib::ConfigManagerImpl: x");
  EXPECT_EQ(host.system_info.get_config_server(1), "10.0.0.6");
  EXPECT_EQ(host.calls.all(),
            (std::vector<std::string>{
                "network.fetch(CONFIGMGR, http://10.0.0.5/config/user-7.json)",
                "network.fetch(CONFIGMGR, http://10.0.0.5/config/user-7.json)",
                "device.apply_setting(acc-1, volume, 5, 7)",
                "device.request_firmware_upgrade(acc-1, 2-0-0, fw.bin)",
                "log.notice(Lib::ConfigManagerImpl: x)", "system_info.get_config_server(1)"}));
  EXPECT_EQ(host.calls.starting_with("device."),
            (std::vector<std::string>{"device.apply_setting(acc-1, volume, 5, 7)",
                                      "device.request_firmware_upgrade(acc-1, 2-0-0, fw.bin)"}));
}

TEST(TestingFakes, TheManualDispatcherRunsTasksOnlyWhenToldByTheirStatus) {
  FakeHost host;
  std::vector<std::string> runs;
  ran = &runs;
  static const char kContext[] = "ctx";
  Answers ready({korrin::TASK_RUN}, 1);
  Answers later({korrin::TASK_DEFER, korrin::TASK_RUN}, 0);
  Answers never({korrin::TASK_DROP}, 1);
  host.dispatcher.add_task(note_run, const_cast<char*>(kContext), &later);
  host.dispatcher.add_task(note_run, const_cast<char*>(kContext), &ready);
  host.dispatcher.add_task(note_run, const_cast<char*>(kContext), &never);
  EXPECT_EQ(host.dispatcher.size(), 3u);
  EXPECT_TRUE(runs.empty());
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_DEFER);  // kept at the back
  EXPECT_EQ(host.dispatcher.at(2).params->get_defer_time(), 6);
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_RUN);
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_DROP);
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_RUN);
  EXPECT_EQ(host.dispatcher.run_next(), 0);
  EXPECT_EQ(runs, (std::vector<std::string>{"ctx type 1", "ctx type 0"}));
  EXPECT_EQ(host.calls.starting_with("task_dispatcher."),
            (std::vector<std::string>{"task_dispatcher.add_task(type=0, defer=0, timeout=60)",
                                      "task_dispatcher.add_task(type=1, defer=0, timeout=60)",
                                      "task_dispatcher.add_task(type=1, defer=0, timeout=60)"}));
}

// Parameters with a defer time of their own: check_status answers in turn
// from a list, and an answer of 2 stores `redefer` as the next defer time.
// Every object is counted, so a test sees when the dispatcher's clone goes.
class Timed : public korrin::TaskParametersInterface {
 public:
  Timed(std::string name, int defer, std::vector<int> answers, int redefer = 6)
      : name_(std::move(name)), defer_(defer), redefer_(redefer), answers_(std::move(answers)) {
    ++live;
  }
  Timed(const Timed& other)
      : korrin::TaskParametersInterface(other),
        name_(other.name_),
        defer_(other.defer_),
        redefer_(other.redefer_),
        answers_(other.answers_),
        next_(other.next_) {
    ++live;
  }
  ~Timed() override { --live; }
  korrin::TaskParametersInterface* clone() const override { return new Timed(*this); }
  int get_type() const override { return 0; }
  int check_status() override {
    const int answer = answers_.at(next_ < answers_.size() ? next_ : answers_.size() - 1);
    ++next_;
    if (answer == korrin::TASK_DEFER) {
      defer_ = redefer_;
    }
    return answer;
  }
  int get_timeout() const override { return 60; }
  int get_defer_time() const override { return defer_; }
  const std::string& name() const { return name_; }
  static int live;

 private:
  std::string name_;
  int defer_;
  int redefer_;
  std::vector<int> answers_;
  std::size_t next_ = 0;
};
int Timed::live = 0;

// Each run as "name@virtual time".
struct ClockRuns {
  explicit ClockRuns(korrin::testing::FakeTaskDispatcher* on) : dispatcher(on) {}
  korrin::testing::FakeTaskDispatcher* dispatcher;
  std::vector<std::string> runs;
  // Queued by the next run, when set.
  Timed* follow_up = nullptr;
};
void note_timed_run(void* context, korrin::TaskParametersInterface* params) {
  auto* seen = static_cast<ClockRuns*>(context);
  seen->runs.push_back(static_cast<Timed*>(params)->name() + "@" +
                       std::to_string(seen->dispatcher->now()));
  if (seen->follow_up != nullptr) {
    Timed* next = seen->follow_up;
    seen->follow_up = nullptr;
    seen->dispatcher->add_task(note_timed_run, seen, next);
  }
}

TEST(TestingFakesClock, ATaskRunsOnlyOnceItsDeferTimeHasPassed) {
  FakeHost host;
  ClockRuns seen(&host.dispatcher);
  {
    Timed readiness("ready-wait", 6, {korrin::TASK_RUN});
    host.dispatcher.add_task(note_timed_run, &seen, &readiness);
  }
  EXPECT_EQ(Timed::live, 1);  // the dispatcher's clone
  EXPECT_EQ(host.dispatcher.now(), 0);
  EXPECT_EQ(host.dispatcher.next_due(), 6);
  EXPECT_EQ(host.dispatcher.advance(5), 0);
  EXPECT_EQ(host.dispatcher.now(), 5);
  EXPECT_TRUE(seen.runs.empty());
  EXPECT_EQ(host.dispatcher.advance(1), 1);
  EXPECT_EQ(seen.runs, std::vector<std::string>{"ready-wait@6"});
  EXPECT_EQ(Timed::live, 0);  // deleted once it ran
  EXPECT_EQ(host.dispatcher.next_due(), -1);
  EXPECT_EQ(host.dispatcher.size(), 0u);
}

TEST(TestingFakesClock, AnAnswerOfTwoIsAskedAgainAfterTheNewDeferTime) {
  FakeHost host;
  ClockRuns seen(&host.dispatcher);
  Timed retry("retry", 0, {korrin::TASK_DEFER, korrin::TASK_DEFER, korrin::TASK_RUN}, 30);
  host.dispatcher.add_task(note_timed_run, &seen, &retry);
  EXPECT_EQ(host.dispatcher.advance(0), 1);  // asked at 0: not yet
  EXPECT_EQ(host.dispatcher.next_due(), 30);
  EXPECT_EQ(host.dispatcher.advance(29), 0);
  EXPECT_TRUE(seen.runs.empty());
  // Both later checks fall within one step: at 30 (2 again), then at 60.
  EXPECT_EQ(host.dispatcher.advance(100), 2);
  EXPECT_EQ(seen.runs, std::vector<std::string>{"retry@60"});
  EXPECT_EQ(host.dispatcher.now(), 129);
  EXPECT_EQ(Timed::live, 1);  // only the test's own object is left
}

TEST(TestingFakesClock, AnAnswerOfThreeDropsTheTaskWithoutRunningIt) {
  FakeHost host;
  ClockRuns seen(&host.dispatcher);
  Timed gone("gone", 2, {korrin::TASK_DROP});
  host.dispatcher.add_task(note_timed_run, &seen, &gone);
  EXPECT_EQ(host.dispatcher.advance(2), 1);
  EXPECT_TRUE(seen.runs.empty());
  EXPECT_EQ(host.dispatcher.size(), 0u);
  EXPECT_EQ(Timed::live, 1);
}

TEST(TestingFakesClock, DueTasksRunEarliestFirstAndEqualTimesInQueueOrder) {
  FakeHost host;
  ClockRuns seen(&host.dispatcher);
  Timed late("late", 9, {korrin::TASK_RUN});
  Timed first("first", 3, {korrin::TASK_RUN});
  Timed second("second", 3, {korrin::TASK_RUN});
  host.dispatcher.add_task(note_timed_run, &seen, &late);
  host.dispatcher.add_task(note_timed_run, &seen, &first);
  host.dispatcher.add_task(note_timed_run, &seen, &second);
  EXPECT_EQ(host.dispatcher.advance(10), 3);
  EXPECT_EQ(seen.runs, (std::vector<std::string>{"first@3", "second@3", "late@9"}));
  EXPECT_EQ(host.dispatcher.now(), 10);
}

TEST(TestingFakesClock, ATaskQueuedByARunningTaskIsDueFromThatMoment) {
  FakeHost host;
  ClockRuns seen(&host.dispatcher);
  Timed fetch("fetch", 0, {korrin::TASK_RUN});
  Timed follow("follow-up", 10, {korrin::TASK_RUN});
  seen.follow_up = &follow;
  host.dispatcher.add_task(note_timed_run, &seen, &fetch);
  EXPECT_EQ(host.dispatcher.advance(4), 1);
  EXPECT_EQ(host.dispatcher.next_due(), 10);  // queued at 0, while the clock stood there
  EXPECT_EQ(host.dispatcher.advance(6), 1);
  EXPECT_EQ(seen.runs, (std::vector<std::string>{"fetch@0", "follow-up@10"}));
}

TEST(TestingFakesClock, TheClockNeverMovesByItselfAndRunNextLeavesIt) {
  FakeHost host;
  ClockRuns seen(&host.dispatcher);
  Timed waiting("waiting", 6, {korrin::TASK_RUN});
  host.dispatcher.add_task(note_timed_run, &seen, &waiting);
  EXPECT_EQ(host.dispatcher.advance(0), 0);
  EXPECT_EQ(host.dispatcher.now(), 0);
  // run_next() ignores the defer time and does not touch the clock.
  EXPECT_EQ(host.dispatcher.run_next(), korrin::TASK_RUN);
  EXPECT_EQ(seen.runs, std::vector<std::string>{"waiting@0"});
  EXPECT_EQ(host.dispatcher.now(), 0);
}

TEST(TestingFakesClock, AdvanceStopsAfterItsCheckLimit) {
  FakeHost host;
  ClockRuns seen(&host.dispatcher);
  // Answers 2 with no defer time for ever: due again at once.
  Timed spinning("spinning", 0, {korrin::TASK_DEFER}, 0);
  host.dispatcher.add_task(note_timed_run, &seen, &spinning);
  EXPECT_EQ(host.dispatcher.advance(5, 50), 50);
  EXPECT_EQ(host.dispatcher.now(), 0);  // stands at the last check
  EXPECT_EQ(host.dispatcher.size(), 1u);
  host.dispatcher.clear();
  EXPECT_EQ(Timed::live, 1);
}

TEST(TestingFakes, LocksRecordTheirUseAndCountMisuse) {
  FakeHost host;
  korrin::MutexInterface* reentrant = host.mutexes.create_mutex(true);
  korrin::MutexInterface* plain = host.mutexes.create_mutex(false);
  reentrant->lock();
  reentrant->lock();
  host.device.delegate_upgrade("acc-1");
  reentrant->unlock();
  reentrant->unlock();
  plain->unlock();  // not held
  EXPECT_EQ(host.mutexes.violations(), 1);
  EXPECT_EQ(host.device.calls_under_lock(), 1);
  const std::vector<std::string> lines = host.calls.all();
  EXPECT_EQ(korrin::testing::max_lock_depth(lines, 1), 2);
  EXPECT_EQ(korrin::testing::lines_under_lock(lines, {"device."}),
            std::vector<std::string>{"device.delegate_upgrade(acc-1)"});
  // #2 was unlocked without being locked: its lines do not balance.
  EXPECT_EQ(korrin::testing::locks_left_held(lines), std::vector<int>{2});
  host.mutexes.destroy_mutex(reentrant);
  host.mutexes.destroy_mutex(plain);
  EXPECT_EQ(host.mutexes.live(), 0);
  EXPECT_EQ(host.calls.starting_with("mutex_factory."),
            (std::vector<std::string>{
                "mutex_factory.create_mutex(1) -> #1", "mutex_factory.create_mutex(0) -> #2",
                "mutex_factory.destroy_mutex(#1)", "mutex_factory.destroy_mutex(#2)"}));
}

TEST(TestingFakes, TheArmedCallThrowsAndIsMarked) {
  FakeHost host;
  host.calls.arm_fault("device.report_config_failure", 2);
  host.device.report_config_failure("acc-1", 1);
  EXPECT_THROW(host.device.report_config_failure("acc-2", 1), InjectedFault);
  host.device.report_config_failure("acc-3", 1);
  EXPECT_EQ(host.calls.faults_thrown(), 1);
  EXPECT_EQ(host.calls.all(), (std::vector<std::string>{"device.report_config_failure(acc-1, 1)",
                                                        "device.report_config_failure(acc-2, 1)!",
                                                        "device.report_config_failure(acc-3, 1)"}));
}

TEST(TestingFakes, AccessoryClonesShareTheirDataAndAreCounted) {
  const int before = FakeAccessory::live();
  FakeHost host;
  std::unique_ptr<FakeAccessory> camera = host.accessory(korrin::testing::c20_camera());
  std::unique_ptr<korrin::AccessoryInfoInterface> copy(camera->clone());
  EXPECT_EQ(FakeAccessory::live(), before + 2);
  camera->data().config_ready = false;
  EXPECT_FALSE(copy->is_config_ready());
  EXPECT_EQ(copy->get_accessory_type(), 2);
  EXPECT_EQ(copy->get_model(), "Zelor C-20");
  copy.reset();
  EXPECT_EQ(FakeAccessory::live(), before + 1);
  EXPECT_EQ(host.calls.all(),
            (std::vector<std::string>{"accessory.clone()", "accessory.is_config_ready()",
                                      "accessory.get_accessory_type()", "accessory.get_model()"}));
}

TEST(TestingFakes, InstallPutsTheFakesIntoTheLibrarysTable) {
  FakeHost host;
  host.install();
  EXPECT_EQ(korrin::globals::plugins.device, &host.device);
  EXPECT_EQ(korrin::globals::plugins.mutex_factory, &host.mutexes);
  korrin::testing::uninstall_plugins();
  EXPECT_EQ(korrin::globals::plugins.device, nullptr);
}

}  // namespace
