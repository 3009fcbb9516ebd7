// Two host threads drive the manager while a real dispatcher thread runs the
// configure tasks, within the library's threading rules:
//   - an accessory a host thread configured is "busy" until the request it
//     joined has ended: the thread then neither reads its settings
//     (retrieve_config takes no lock), nor re-initialises or re-configures it;
//   - requests use the empty version stamp only (a stamp would make every
//     registered accessory busy, the other thread's included);
//   - removal is allowed at any time, by the thread that owns the accessory.
// A thread learns that no request is left by waiting for an idle dispatcher
// and then finding no configure request in progress.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "korrin/korrin.h"
#include "support/example_files.h"
#include "support/fake_host.h"
#include "support/threaded_dispatcher.h"

namespace {

using korrin::ConfigParam;
using korrin::config::ConfigManager;
using korrin::config::ConfigManagerImpl;
using korrin_test::AccessoryData;
using korrin_test::FakeAccessory;
using korrin_test::FakeHost;
using korrin_test::Interval;
using korrin_test::read_example_document;
using korrin_test::ThreadedDispatcher;
using Settings = std::map<int, ConfigParam>;
using Clock = std::chrono::steady_clock;

constexpr int kThreads = 2;
constexpr int kAccessoriesPerRound = 4;
constexpr int kRounds = 30;
constexpr int kRoundsBetweenReads = 5;

AccessoryData headset() {
  AccessoryData data;
  data.type = 1;
  data.model = "Zelor H-5";
  data.firmware_version = "2-3-1";
  return data;
}

bool same_settings(const Settings& a, const Settings& b) {
  if (a.size() != b.size()) {
    return false;
  }
  for (const auto& entry : a) {
    auto other = b.find(entry.first);
    if (other == b.end() || other->second.key != entry.second.key ||
        other->second.value != entry.second.value || other->second.access != entry.second.access ||
        other->second.user_value != entry.second.user_value) {
      return false;
    }
  }
  return true;
}

// What an accessory may hold once the requests it joined have ended.
struct ExpectedSettings {
  Settings first;  // after its first document update
  Settings again;  // after a later one (pairs then complete entries in place)
};

// Lets every thread leave at the same moment: they spin rather than sleep,
// so none is still waking up while the other is already working.
class StartLine {
 public:
  explicit StartLine(int parties) : waiting_(parties) {}
  void arrive_and_wait() {
    waiting_.fetch_sub(1);
    while (waiting_.load() > 0) {
      std::this_thread::yield();
    }
  }

 private:
  std::atomic<int> waiting_;
};

// Set on the two host threads: only they take part in meetings.
thread_local bool on_host_thread = false;

// A log sink where the host threads meet: a host thread that writes the
// first record of initialize_accessory (logged before the library takes any
// lock) waits there, up to a limit, for the other host thread to arrive at
// the same point. A meeting proves that both threads were inside the library
// at the same time, which timing alone could only make likely.
class MeetingLogSink : public korrin_test::FakeLogSink {
 public:
  using FakeLogSink::FakeLogSink;

  void write_record(korrin::log::LogLevel level, const std::string& text) override {
    FakeLogSink::write_record(level, text);
    if (on_host_thread && text.find("initialize_accessory: called for id") != std::string::npos) {
      meet();
    } else if (on_host_thread &&
               text.find("configure_accessory: added async task") != std::string::npos) {
      wait_for_task();
    } else if (!on_host_thread && text.find("configure_accessory_task") != std::string::npos) {
      note_task_running();
    }
  }

  int meetings() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return meetings_;
  }

  /// Times a host thread, still inside the call that queued a task, saw that
  /// task run on the dispatcher's thread.
  int dispatcher_meetings() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return dispatcher_meetings_;
  }

 private:
  // The dispatcher's thread has entered a configure task.
  void note_task_running() {
    std::lock_guard<std::mutex> guard(mutex_);
    ++tasks_seen_;
    met_.notify_all();
  }

  // A host thread that has just queued a task (configure_accessory holds no
  // lock at this record) stays inside the library, up to a limit, until the
  // dispatcher's thread runs a task: both are then inside it together.
  void wait_for_task() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (dispatcher_meetings_ >= kWantedMeetings || dispatcher_attempts_ >= kMaximumAttempts) {
      return;
    }
    ++dispatcher_attempts_;
    const int seen = tasks_seen_;
    if (met_.wait_for(lock, std::chrono::seconds(2), [&] { return tasks_seen_ != seen; })) {
      ++dispatcher_meetings_;
    }
  }

  void meet() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (meetings_ >= kWantedMeetings || attempts_ >= kMaximumAttempts) {
      return;
    }
    if (someone_waiting_) {
      someone_waiting_ = false;
      ++meetings_;
      ++generation_;
      met_.notify_all();
      return;
    }
    ++attempts_;
    someone_waiting_ = true;
    const int generation = generation_;
    if (!met_.wait_for(lock, std::chrono::seconds(1), [&] { return generation_ != generation; })) {
      someone_waiting_ = false;  // the other thread did not come: go on alone
    }
  }

  static constexpr int kWantedMeetings = 3;
  static constexpr int kMaximumAttempts = 10;
  mutable std::mutex mutex_;
  std::condition_variable met_;
  bool someone_waiting_ = false;
  int generation_ = 0;
  int meetings_ = 0;
  int attempts_ = 0;
  int tasks_seen_ = 0;
  int dispatcher_meetings_ = 0;
  int dispatcher_attempts_ = 0;
};

// One host thread: each round it connects fresh accessories and disconnects
// those of two rounds ago (neither needs to wait for anything); every few
// rounds it waits until no request is left, reads what its accessories hold,
// and re-initialises and re-configures some of them.
class HostThread {
 public:
  HostThread(int index, ConfigManager* manager, ThreadedDispatcher* dispatcher,
             const ExpectedSettings* expected)
      : index_(index), manager_(manager), dispatcher_(dispatcher), expected_(expected) {
    for (int k = 0; k < kAccessoriesPerRound; ++k) {
      accessories_.push_back(std::make_unique<FakeAccessory>(headset()));
    }
  }

  void run(StartLine* start) {
    on_host_thread = true;
    start->arrive_and_wait();
    for (int round = 0; round < kRounds; ++round) {
      for (int k = 0; k < kAccessoriesPerRound; ++k) {
        const std::string answer = timed(
            [&] { return manager_->initialize_accessory(id(round, k), accessories_[k].get()); });
        queued_ += answer.empty() ? 0 : 1;
      }
      if (round >= 2) {
        for (int k = 0; k < kAccessoriesPerRound; ++k) {
          timed([&] {
            manager_->remove_accessory(id(round - 2, k));
            return 0;
          });
        }
      }
      if (round % kRoundsBetweenReads == kRoundsBetweenReads - 1) {
        wait_quiet();
        for (int k = 0; k < kAccessoriesPerRound; ++k) {
          read_settings(id(round, k));
        }
        // Both make the accessory busy again until their request ends.
        timed([&] { return manager_->initialize_accessory(id(round, 0), accessories_[0].get()); });
        timed([&] { return manager_->configure_accessory(id(round, 1), ""); });
      }
    }
    wait_quiet();
    for (int k = 0; k < kAccessoriesPerRound; ++k) {
      read_settings(id(kRounds - 1, k));
    }
  }

  const std::vector<Interval>& calls() const { return calls_; }
  int read_configured() const { return read_configured_; }
  int read_unexpected() const { return read_unexpected_; }
  int queued() const { return queued_; }

 private:
  std::string id(int round, int k) const {
    return "t" + std::to_string(index_) + "-r" + std::to_string(round) + "-a" + std::to_string(k);
  }

  template <typename Call>
  auto timed(Call call) -> decltype(call()) {
    const auto start = Clock::now();
    auto result = call();
    calls_.push_back(Interval{start, Clock::now()});
    return result;
  }

  // Every request this thread's accessories joined has ended once the
  // dispatcher is idle and, after that, no request is in progress: a new
  // request can then only include accessories configured after this point.
  void wait_quiet() {
    auto* impl = dynamic_cast<ConfigManagerImpl*>(manager_);
    while (true) {
      dispatcher_->wait_idle();
      if (!impl->is_configure_accessory_pending()) {
        return;
      }
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  }

  void read_settings(const std::string& accessory_id) {
    const Settings settings = timed([&] { return manager_->retrieve_config(accessory_id); });
    const std::string one = timed([&] { return manager_->retrieve_config(accessory_id, 101); });
    if (settings.empty() && one.empty()) {
      return;  // its request ended before reaching it (a join right at the end)
    }
    const bool first = same_settings(settings, expected_->first);
    const bool again = same_settings(settings, expected_->again);
    if ((first || again) && one == settings.at(101).value) {
      ++read_configured_;
    } else {
      ++read_unexpected_;
    }
  }

  int index_;
  ConfigManager* manager_;
  ThreadedDispatcher* dispatcher_;
  const ExpectedSettings* expected_;
  std::vector<std::unique_ptr<FakeAccessory>> accessories_;
  std::vector<Interval> calls_;
  int read_configured_ = 0;
  int read_unexpected_ = 0;
  int queued_ = 0;
};

// The settings one accessory takes from `document` on a single thread, after
// its first update and after a second one.
ExpectedSettings settings_taken_alone(const std::string& document) {
  FakeHost host;
  host.install();
  host.network.on_fetch = [document](const korrin::dispatcher::RequestContext&,
                                     std::string& response) {
    response = document;
    return korrin::dispatcher::FETCH_DONE;
  };
  ConfigManager* manager = korrin::config::create_config_manager();
  FakeAccessory accessory(headset());
  ExpectedSettings expected;
  manager->initialize_accessory("alone", &accessory);
  host.dispatcher.run_all();
  expected.first = manager->retrieve_config("alone");
  manager->initialize_accessory("alone", &accessory);
  host.dispatcher.run_all();
  expected.again = manager->retrieve_config("alone");
  korrin::config::delete_config_manager();
  korrin_test::uninstall_plugins();
  return expected;
}

TEST(ThreadedFlowTest, HostThreadsAndTheDispatcherOverlapWithinTheThreadingRules) {
  const std::string document = read_example_document("headset_fleet.json");
  ASSERT_FALSE(document.empty());
  const ExpectedSettings expected = settings_taken_alone(document);
  ASSERT_FALSE(expected.first.empty()) << "the document must configure a Zelor H-5";
  ASSERT_EQ(expected.first.count(101), 1u);

  const int live_at_start = FakeAccessory::live();
  FakeHost host;
  MeetingLogSink log(&host.calls);
  host.network.on_fetch = [document](const korrin::dispatcher::RequestContext&,
                                     std::string& response) {
    response = document;
    return korrin::dispatcher::FETCH_DONE;
  };
  auto dispatcher = std::make_unique<ThreadedDispatcher>(std::chrono::milliseconds(1));
  korrin::Plugins table = host.table();
  table.task_dispatcher = dispatcher.get();
  table.log = &log;
  korrin::init(table);
  ConfigManager* manager = korrin::config::create_config_manager();  // before any thread

  std::vector<std::unique_ptr<HostThread>> hosts;
  for (int t = 0; t < kThreads; ++t) {
    hosts.push_back(std::make_unique<HostThread>(t, manager, dispatcher.get(), &expected));
  }
  StartLine start(kThreads);
  std::vector<std::thread> threads;
  for (auto& host_thread : hosts) {
    threads.emplace_back([&start, &host_thread] { host_thread->run(&start); });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  dispatcher->stop();  // no task can run any more
  korrin::config::delete_config_manager();

  // The threads and the dispatcher were really inside the library together.
  EXPECT_GT(log.meetings(), 0);
  EXPECT_GT(log.dispatcher_meetings(), 0);
  EXPECT_TRUE(korrin_test::any_overlap(hosts[0]->calls(), hosts[1]->calls()));
  std::vector<Interval> host_calls = hosts[0]->calls();
  host_calls.insert(host_calls.end(), hosts[1]->calls().begin(), hosts[1]->calls().end());
  EXPECT_TRUE(korrin_test::any_overlap(host_calls, dispatcher->run_intervals()));
  EXPECT_GT(dispatcher->tasks_run(), 0);

  for (const auto& host_thread : hosts) {
    EXPECT_EQ(host_thread->queued(), kRounds * kAccessoriesPerRound);
    EXPECT_GT(host_thread->read_configured(), 0);
    EXPECT_EQ(host_thread->read_unexpected(), 0);
  }
  EXPECT_TRUE(log.texts_containing("unable to update config").empty());
  EXPECT_FALSE(log.texts_containing("configure_accessory_task").empty());

  // Lock discipline and ownership.
  EXPECT_EQ(host.mutexes.live(), 0);
  EXPECT_EQ(host.mutexes.violations(), 0);
  hosts.clear();
  EXPECT_EQ(FakeAccessory::live(), live_at_start);
  korrin_test::uninstall_plugins();
}

}  // namespace
