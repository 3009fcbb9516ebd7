// Several host threads connect, configure, read and remove their own
// accessories and send inventories, while a real dispatcher thread runs the
// configure and inventory tasks and a network thread completes pending
// fetches (a document, or a failure that the library retries). Built with
// the tsan preset this runs under ThreadSanitizer, which must report nothing.
//
// The threads keep to the library's threading rules:
//   - each accessory id belongs to one host thread;
//   - an accessory is read (retrieve_config) only once every request it
//     joined has ended: the thread waits until the dispatcher is idle, no
//     fetch is waiting for its outcome, and no request is in progress;
//   - requests use the empty version stamp only;
//   - each pending fetch's outcome is delivered once;
//   - inventories are sent at any time.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "korrin/korrin.h"
#include "support/example_files.h"
#include "support/fake_host.h"
#include "support/threaded_dispatcher.h"

namespace {

using korrin::config::ConfigManagerImpl;
using korrin_test::AccessoryData;
using korrin_test::FakeAccessory;
using korrin_test::FakeHost;
using korrin_test::read_example_document;
using korrin_test::ThreadedDispatcher;

constexpr int kHostThreads = 3;
constexpr int kRounds = 20;
constexpr int kAccessoriesPerRound = 3;
constexpr int kRoundsBetweenReads = 4;

AccessoryData headset(int thread, int k) {
  AccessoryData data;
  data.model = k == 0 ? "Zelor H-5" : "Zelor H-5 Pro";
  data.serial_number = "ZH5T" + std::to_string(thread) + "K" + std::to_string(k) + "00001";
  data.firmware_version = "2-3-1";
  data.dock_serial_number = "DK-" + std::to_string(thread);
  data.dock_model = "Zelor Dock 5";
  return data;
}

// Set on the host threads: only they meet the dispatcher's thread.
thread_local bool on_host_thread = false;

// Where the dispatcher's thread, inside a task, meets a host thread inside
// one of its calls: each side that arrives waits (up to a limit) for the
// other. A meeting proves that both were inside the library at the same
// time, which timing alone could only make likely.
class Rendezvous {
 public:
  enum Side { kHost = 0, kDispatcher = 1 };

  void arrive(Side side) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (meetings_ >= kWanted || attempts_ >= kMaximumAttempts) {
      return;
    }
    if (waiting_[1 - side]) {
      waiting_[1 - side] = false;
      ++meetings_;
      ++generation_;
      met_.notify_all();
      return;
    }
    if (waiting_[side]) {
      return;  // another thread of the same side is already waiting
    }
    ++attempts_;
    waiting_[side] = true;
    const int generation = generation_;
    if (!met_.wait_for(lock, std::chrono::milliseconds(500),
                       [&] { return generation_ != generation; })) {
      waiting_[side] = false;
    }
  }

  int meetings() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return meetings_;
  }

 private:
  static constexpr int kWanted = 2;
  static constexpr int kMaximumAttempts = 12;
  mutable std::mutex mutex_;
  std::condition_variable met_;
  bool waiting_[2] = {false, false};
  int generation_ = 0;
  int meetings_ = 0;
  int attempts_ = 0;
};

// Host threads arrive when they enter initialize_accessory or send (the
// first record of each is written before the library takes any lock); the
// dispatcher's thread arrives at the post side from inside an inventory task.
class MeetingLogSink : public korrin_test::FakeLogSink {
 public:
  MeetingLogSink(korrin_test::CallLog* calls, Rendezvous* at_fetch, Rendezvous* at_post)
      : FakeLogSink(calls), at_fetch_(at_fetch), at_post_(at_post) {}

  void write_record(korrin::log::LogLevel level, const std::string& text) override {
    FakeLogSink::write_record(level, text);
    if (!on_host_thread) {
      // The dispatcher's thread, inside an inventory task.
      if (text.find("send_metric[LIB-ERR]: metric object created") != std::string::npos) {
        at_post_->arrive(Rendezvous::kDispatcher);
      }
      return;
    }
    if (text.find("initialize_accessory: called for id") != std::string::npos) {
      at_fetch_->arrive(Rendezvous::kHost);
    } else if (text.find("InventoryMetricsImpl: send: Enter") != std::string::npos) {
      at_post_->arrive(Rendezvous::kHost);
    }
  }

 private:
  Rendezvous* at_fetch_;
  Rendezvous* at_post_;
};

// The host's network side: fetches alternate between an answer at once and
// a pending fetch that this thread completes shortly after, every third one
// with a failure (which the library retries) instead of the document.
class CompletingNetwork {
 public:
  explicit CompletingNetwork(std::string document) : document_(std::move(document)) {}
  ~CompletingNetwork() { stop(); }

  void start(ConfigManagerImpl* manager) {
    manager_ = manager;
    worker_ = std::thread([this] { work(); });
  }

  // The body of FakeNetwork::on_fetch (dispatcher's thread).
  int fetch(std::string& response) {
    std::lock_guard<std::mutex> guard(mutex_);
    ++fetches_;
    if (fetches_ % 2 == 1) {
      response = document_;
      return korrin::dispatcher::FETCH_DONE;
    }
    outcomes_.push_back(fetches_ % 3 == 0);
    changed_.notify_all();
    return korrin::dispatcher::FETCH_PENDING;
  }

  // True when no fetch is waiting for its outcome.
  bool idle() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return outcomes_.empty() && !delivering_;
  }

  void stop() {
    {
      std::lock_guard<std::mutex> guard(mutex_);
      stopping_ = true;
      changed_.notify_all();
    }
    if (worker_.joinable()) {
      worker_.join();
    }
  }

  int failures_delivered() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return failures_delivered_;
  }
  int documents_delivered() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return documents_delivered_;
  }

 private:
  void work() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (true) {
      changed_.wait(lock, [this] { return stopping_ || !outcomes_.empty(); });
      if (outcomes_.empty()) {
        return;  // stopping, nothing left to deliver
      }
      const bool failure = outcomes_.front();
      outcomes_.pop_front();
      delivering_ = true;
      lock.unlock();
      std::this_thread::sleep_for(std::chrono::microseconds(300));
      if (failure) {
        manager_->on_fetch_config_failure(28);
      } else {
        std::string document = document_;
        manager_->on_fetch_config_success(document);
      }
      lock.lock();
      (failure ? failures_delivered_ : documents_delivered_) += 1;
      delivering_ = false;
    }
  }

  const std::string document_;
  ConfigManagerImpl* manager_ = nullptr;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<bool> outcomes_;  // true: a failure, false: the document
  bool delivering_ = false;
  bool stopping_ = false;
  int fetches_ = 0;
  int failures_delivered_ = 0;
  int documents_delivered_ = 0;
  std::thread worker_;
};

// One host thread: each round it connects fresh accessories and sends an
// inventory for each, and removes those of two rounds ago; every few rounds
// it waits until no request is left and reads what its accessories hold.
class HostThread {
 public:
  HostThread(int index, ConfigManagerImpl* manager, ThreadedDispatcher* dispatcher,
             CompletingNetwork* network)
      : index_(index), manager_(manager), dispatcher_(dispatcher), network_(network) {
    for (int k = 0; k < kAccessoriesPerRound; ++k) {
      accessories_.push_back(std::make_unique<FakeAccessory>(headset(index, k)));
    }
  }

  void run() {
    on_host_thread = true;
    for (int round = 0; round < kRounds; ++round) {
      for (int k = 0; k < kAccessoriesPerRound; ++k) {
        const std::string id = this->id(round, k);
        manager_->initialize_accessory(id, accessories_[k].get());
        korrin::metrics::MetricsInterface* metric = create_metric(accessories_[k].get());
        sends_ += metric->send() ? 1 : 0;
        delete_metric(metric);
      }
      if (round >= 2) {
        for (int k = 0; k < kAccessoriesPerRound; ++k) {
          manager_->remove_accessory(id(round - 2, k));
        }
      }
      if (round % kRoundsBetweenReads == kRoundsBetweenReads - 1) {
        wait_quiet();
        for (int k = 0; k < kAccessoriesPerRound; ++k) {
          read_settings(id(round, k));
        }
      }
    }
  }

  int sends() const { return sends_; }
  int reads_configured() const { return reads_configured_; }
  int reads_inconsistent() const { return reads_inconsistent_; }

 private:
  std::string id(int round, int k) const {
    return "t" + std::to_string(index_) + "-r" + std::to_string(round) + "-a" + std::to_string(k);
  }

  void wait_quiet() {
    while (true) {
      dispatcher_->wait_idle();
      if (network_->idle() && !manager_->is_configure_accessory_pending()) {
        return;
      }
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  }

  // A configured accessory holds the fleet document's settings; one read
  // with a usage id agrees with the whole map.
  void read_settings(const std::string& accessory_id) {
    const auto settings = manager_->retrieve_config(accessory_id);
    const std::string one = manager_->retrieve_config(accessory_id, 101);
    if (settings.empty()) {
      return;  // its request ended (a retry limit) before it got a document
    }
    if (settings.count(101) == 1 && one == settings.at(101).value) {
      ++reads_configured_;
    } else {
      ++reads_inconsistent_;
    }
  }

  int index_;
  ConfigManagerImpl* manager_;
  ThreadedDispatcher* dispatcher_;
  CompletingNetwork* network_;
  std::vector<std::unique_ptr<FakeAccessory>> accessories_;
  int sends_ = 0;
  int reads_configured_ = 0;
  int reads_inconsistent_ = 0;
};

// The serial number of a posted inventory document's accessory payload.
std::string posted_serial(const std::string& body) {
  std::string serial;
  cJSON* document = cJSON_Parse(body.c_str());
  const cJSON* value = cJSON_GetObjectItemCaseSensitive(document, "value");
  const cJSON* payload = cJSON_GetObjectItemCaseSensitive(value, "headset");
  const cJSON* item = cJSON_GetObjectItemCaseSensitive(payload, "serialNumber");
  if (cJSON_IsString(item)) {
    serial = item->valuestring;
  }
  cJSON_Delete(document);
  return serial;
}

TEST(ThreadedStressTest, HostThreadsConfigureAndSendInventoriesWhileTasksAndFetchesComplete) {
  const std::string document = read_example_document("headset_fleet.json");
  ASSERT_FALSE(document.empty());
  const int live_at_start = FakeAccessory::live();

  FakeHost host;
  Rendezvous at_fetch;
  Rendezvous at_post;
  MeetingLogSink log(&host.calls, &at_fetch, &at_post);
  CompletingNetwork network(document);
  host.network.on_fetch = [&network, &at_fetch](const korrin::dispatcher::RequestContext&,
                                                std::string& response) {
    at_fetch.arrive(Rendezvous::kDispatcher);
    return network.fetch(response);
  };
  // A second of defer time lasts a millisecond: retries come back quickly.
  auto dispatcher = std::make_unique<ThreadedDispatcher>(std::chrono::milliseconds(1));
  korrin::Plugins table = host.table();
  table.task_dispatcher = dispatcher.get();
  table.log = &log;
  korrin::init(table);
  korrin::config::create_config_manager();  // before any other thread
  ConfigManagerImpl* manager = ConfigManagerImpl::get_instance();
  network.start(manager);

  std::vector<std::unique_ptr<HostThread>> hosts;
  for (int t = 0; t < kHostThreads; ++t) {
    hosts.push_back(std::make_unique<HostThread>(t, manager, dispatcher.get(), &network));
  }
  std::vector<std::thread> threads;
  for (auto& host_thread : hosts) {
    threads.emplace_back([&host_thread] { host_thread->run(); });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  // Let the last requests and inventories finish, then shut down in order.
  while (!(dispatcher->idle() && network.idle() && !manager->is_configure_accessory_pending())) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  network.stop();
  dispatcher->stop();
  korrin::config::delete_config_manager();

  // The dispatcher's thread and host threads were inside the library together.
  EXPECT_GT(at_fetch.meetings(), 0) << "no fetch ran while a host thread was connecting";
  EXPECT_GT(at_post.meetings(), 0) << "no inventory was built while a host thread was sending";
  EXPECT_GT(network.documents_delivered(), 0);
  EXPECT_GT(network.failures_delivered(), 0);

  // Every inventory was posted once, each with its own accessory's serial.
  std::map<std::string, int> posted;
  for (const auto& post : host.network.posts()) {
    ++posted[posted_serial(post.body)];
  }
  std::map<std::string, int> sent;
  for (int t = 0; t < kHostThreads; ++t) {
    for (int k = 0; k < kAccessoriesPerRound; ++k) {
      sent[headset(t, k).serial_number] = kRounds;
    }
  }
  EXPECT_EQ(posted, sent);

  // Reads after the requests had ended found consistent, configured settings.
  for (const auto& host_thread : hosts) {
    EXPECT_EQ(host_thread->sends(), kRounds * kAccessoriesPerRound);
    EXPECT_GT(host_thread->reads_configured(), 0);
    EXPECT_EQ(host_thread->reads_inconsistent(), 0);
  }

  EXPECT_EQ(host.mutexes.violations(), 0);
  EXPECT_EQ(host.mutexes.live(), 0);
  hosts.clear();
  EXPECT_EQ(FakeAccessory::live(), live_at_start);
  korrin_test::uninstall_plugins();
}

}  // namespace
