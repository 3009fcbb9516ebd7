// A recording fake of every host interface, shared by all tests.
//
// FakeHost owns one fake per plugin-table member; every call any of them
// receives is appended, in order, to FakeHost::calls as a line such as
// "device.apply_setting(acc-1, volume, 5, 7)". Log records also land there
// ("log.notice(Lib::ConfigManagerImpl: ...)") and in FakeLogSink::records;
// lock events appear as "mutex.lock(#2)". Queued tasks wait in the fake
// dispatcher until a test runs them with run_next() / run_all().
#ifndef KORRIN_TESTING_FAKE_HOST_H
#define KORRIN_TESTING_FAKE_HOST_H

#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "korrin/config_manager.h"
#include "korrin/metrics.h"
#include "korrin/plugins.h"
#include "korrin/testing/call_log.h"

namespace korrin {
namespace testing {

/// One record received by the fake log sink.
struct LogRecord {
  korrin::log::LogLevel level;
  std::string text;
  bool operator==(const LogRecord& other) const {
    return level == other.level && text == other.text;
  }
};

/// Level name as used in call lines ("notice").
std::string level_name(korrin::log::LogLevel level);

class FakeLogSink : public korrin::log::HostLogInterface {
 public:
  explicit FakeLogSink(CallLog* calls) : calls_(calls) {}
  void write_record(korrin::log::LogLevel level, const std::string& text) override;

  std::vector<LogRecord> records() const;
  /// Texts of all records, in order.
  std::vector<std::string> texts() const;
  /// Texts of the records whose text contains `needle`.
  std::vector<std::string> texts_containing(const std::string& needle) const;
  void clear();

 private:
  CallLog* calls_;
  mutable std::mutex mutex_;
  std::vector<LogRecord> records_;
};

class FakeNetwork : public korrin::dispatcher::NetworkInterface {
 public:
  explicit FakeNetwork(CallLog* calls) : calls_(calls) {}
  void post(const korrin::dispatcher::RequestContext& request) override;
  int fetch(const korrin::dispatcher::RequestContext& request, std::string& response) override;

  /// The next fetch answers `status` with `document`; answers are used in
  /// order, then `default_status` with an empty document.
  void queue_fetch_answer(int status, const std::string& document = std::string());
  /// Replaces the scripted answers entirely when set.
  std::function<int(const korrin::dispatcher::RequestContext&, std::string&)> on_fetch;

  std::vector<korrin::dispatcher::RequestContext> posts() const;
  std::vector<korrin::dispatcher::RequestContext> fetches() const;
  int default_status = 1;

 private:
  CallLog* calls_;
  mutable std::mutex mutex_;
  std::deque<std::pair<int, std::string>> answers_;
  std::vector<korrin::dispatcher::RequestContext> posts_;
  std::vector<korrin::dispatcher::RequestContext> fetches_;
};

class FakeDevice : public korrin::DeviceControlInterface {
 public:
  explicit FakeDevice(CallLog* calls) : calls_(calls) {}
  void apply_setting(const std::string& accessory_id, const std::string& key, int usage_id,
                     const std::string& value) override;
  void delegate_upgrade(const std::string& accessory_id) override;
  bool request_firmware_upgrade(const std::string& accessory_id,
                                const std::string& firmware_version,
                                const std::string& firmware_name) override;
  void report_config_failure(const std::string& accessory_id, int code) override;
  void report_config_pending(const std::string& accessory_id, int code) override;
  void set_follow_user_config(int usage_id, bool follow) override;

  /// The answer request_firmware_upgrade() gives.
  std::atomic<bool> upgrade_answer{true};
  /// Number of device calls made while the calling thread held a fake lock.
  int calls_under_lock() const { return calls_under_lock_; }

 private:
  void note_locks();
  CallLog* calls_;
  std::atomic<int> calls_under_lock_{0};
};

class FakeSystemInfo : public korrin::SystemInfoInterface {
 public:
  explicit FakeSystemInfo(CallLog* calls) : calls_(calls) {}
  std::string get_client() override;
  std::string get_device_name() override;
  std::string get_serial_number() override;
  std::string get_model() override;
  std::string get_firmware_version() override;
  std::string get_user_id() override;
  std::string get_host_os_version() override;
  std::string get_config_url_template() override;
  std::string get_inventory_url() override;
  /// The element `attempt` of config_servers, or "" past its end.
  std::string get_config_server(int attempt) override;
  std::vector<std::string> get_config_servers() override;

  std::string client = "client-1";
  std::string device_name = "room-12";
  std::string serial_number = "HOST-SN-1";
  std::string model = "Host Model";
  std::string firmware_version = "5-1-0";
  std::string user_id = "user-7";
  std::string host_os_version = "Debian 12";
  std::string config_url_template = "http://{tftp}/config/{userid}.json";
  std::string inventory_url = "https://{qelm}/inventory";
  std::vector<std::string> config_servers = {"10.0.0.5", "10.0.0.6", "10.0.0.7"};

 private:
  std::string answer(const std::string& operation, const std::string& value,
                     const std::string& args = std::string());
  CallLog* calls_;
  std::mutex mutex_;
};

/// One task waiting in the fake dispatcher.
struct QueuedTask {
  korrin::TaskDispatcherInterface::TaskFunction function = nullptr;
  void* context = nullptr;
  std::unique_ptr<korrin::TaskParametersInterface> params;
  /// When the task is next due, in the dispatcher's virtual seconds: the
  /// time it was queued (or last deferred) plus its defer time.
  long long due = 0;
};

/// The manual dispatcher: tasks wait until the test runs them.
///
/// run_next() and run_all() take tasks in queue order and ignore defer times.
/// The virtual clock honours them instead: the dispatcher's time (now())
/// starts at 0 and moves only when the test calls advance(); a task is due
/// at the time it was queued plus its get_defer_time(), and after an answer
/// of 2 at the time of that check plus the newly stored defer time.
class FakeTaskDispatcher : public korrin::TaskDispatcherInterface {
 public:
  explicit FakeTaskDispatcher(CallLog* calls) : calls_(calls) {}
  /// Records "task_dispatcher.add_task(type=T, defer=D, timeout=S)" and keeps a clone.
  void add_task(TaskFunction task, void* context, korrin::TaskParametersInterface* params) override;

  std::size_t size() const;
  /// The queued task at `index` (front is 0).
  const QueuedTask& at(std::size_t index) const;
  /// Takes the front task through the dispatcher contract once: check_status,
  /// then run (1), keep at the back for another check (2) or drop (3).
  /// Returns the status seen, or 0 when the queue is empty. Tasks queued while
  /// a task runs join the back of the queue.
  int run_next();
  /// run_next() until the queue is empty or `max_checks` checks were made.
  int run_all(int max_checks = 100);

  /// The virtual time, in seconds since the dispatcher was made.
  long long now() const;
  /// When the earliest queued task is due, or -1 when none is queued.
  long long next_due() const;
  /// Moves the virtual time on by `seconds` (0: stays) and takes every task
  /// that is due by then through the contract, earliest first (equal times
  /// in queue order), the clock standing at each task's due time while it is
  /// checked and run: 1 runs it, 2 queues it again for its new defer time
  /// (it runs in this call if that is still due), 3 drops it. A clone is
  /// deleted once its task ran or was dropped. Tasks queued by a running
  /// task join with their own due times. Returns the number of checks made;
  /// stops after `max_checks` (the clock then stands at the last check).
  int advance(long long seconds, int max_checks = 1000);
  /// Drops every queued task (deleting the clones).
  void clear();

 private:
  // One check_status() of a task taken off the queue: 1 runs it, 2 queues it
  // again for its new defer time, 3 drops it (the clone goes with `task`).
  int take_through_contract(QueuedTask& task);
  // Sets when `task` is due: now plus its defer time. Called with mutex_ held.
  void schedule_locked(QueuedTask& task);

  CallLog* calls_;
  mutable std::mutex mutex_;
  std::deque<QueuedTask> queue_;
  long long now_ = 0;
};

/// A lock that records its use and detects misuse instead of deadlocking.
class FakeMutex : public korrin::MutexInterface {
 public:
  FakeMutex(int id, bool recursive, CallLog* calls, std::atomic<int>* violations)
      : id_(id), recursive_(recursive), calls_(calls), violations_(violations) {}
  void lock() override;
  void unlock() override;
  int id() const { return id_; }
  bool recursive() const { return recursive_; }
  /// Depth held by the calling thread.
  int depth_here() const;

 private:
  int id_;
  bool recursive_;
  CallLog* calls_;
  std::atomic<int>* violations_;
  std::recursive_mutex mutex_;
  std::mutex owner_mutex_;
  std::map<std::thread::id, int> depth_;
};

class FakeMutexFactory : public korrin::MutexFactoryInterface {
 public:
  explicit FakeMutexFactory(CallLog* calls) : calls_(calls) {}
  ~FakeMutexFactory() override;
  korrin::MutexInterface* create_mutex(bool recursive) override;
  void destroy_mutex(korrin::MutexInterface* mutex) override;

  int created() const { return created_; }
  int destroyed() const { return destroyed_; }
  int live() const { return created_ - destroyed_; }
  /// Relocks of an ordinary lock, unlocks of a lock not held, unknown destroys.
  int violations() const { return violations_; }
  /// Fake locks the calling thread holds right now (any depth counts once).
  static int held_by_this_thread();

 private:
  CallLog* calls_;
  std::mutex mutex_;
  std::map<korrin::MutexInterface*, std::unique_ptr<FakeMutex>> live_;
  std::atomic<int> created_{0};
  std::atomic<int> destroyed_{0};
  std::atomic<int> violations_{0};
  int next_id_ = 1;
};

/// What a fake accessory reports.
struct AccessoryData {
  int type = 1;
  std::string vendor = "Zelor";
  std::string model = "Zelor H-5";
  std::string serial_number = "SN0000001";
  std::string firmware_version = "1-2-3";
  std::string dock_serial_number;
  std::string dock_model;
  std::string dongle_model;
  std::string dongle_firmware_version;
  std::string connection_type = "USB";
  std::string connection_status = "connected";
  bool inventory_ready = true;
  bool config_ready = true;
  bool vendor_headset = true;
};

/// An accessory description. Clones share the original's data (so a test
/// can flip readiness of every copy) and are counted while alive.
class FakeAccessory : public korrin::AccessoryInfoInterface {
 public:
  explicit FakeAccessory(const AccessoryData& data, CallLog* calls = nullptr);
  FakeAccessory(const FakeAccessory& other);
  FakeAccessory& operator=(const FakeAccessory&) = delete;
  ~FakeAccessory() override;

  int get_accessory_type() const override;
  korrin::AccessoryInfoInterface* clone() const override;
  std::string get_vendor(korrin::SystemInfoInterface* system_info) const override;
  std::string get_model() const override;
  std::string get_serial_number(korrin::SystemInfoInterface* system_info) const override;
  std::string get_firmware_version() const override;
  std::string get_dock_serial_number() const override;
  std::string get_dock_model() const override;
  std::string get_dongle_model() const override;
  std::string get_dongle_firmware_version() const override;
  std::string get_connection_type() const override;
  std::string get_connection_status() const override;
  bool is_inventory_ready() const override;
  bool is_config_ready() const override;
  bool is_vendor_headset() const override;

  /// The data shared with every clone; change it to change all of them.
  AccessoryData& data() { return *data_; }
  /// FakeAccessory objects alive in the process (originals and clones).
  static int live();

 private:
  void note(const std::string& operation) const;
  std::shared_ptr<AccessoryData> data_;
  CallLog* calls_;
  static std::atomic<int> live_;
};

/// All six fakes plus the shared call log.
class FakeHost {
 public:
  FakeHost();
  /// The table pointing at the fakes.
  korrin::Plugins table();
  /// Installs the table with korrin::init().
  void install();
  /// A new accessory recording its queries into `calls`.
  std::unique_ptr<FakeAccessory> accessory(const AccessoryData& data);

  CallLog calls;
  FakeLogSink log{&calls};
  FakeNetwork network{&calls};
  FakeDevice device{&calls};
  FakeSystemInfo system_info{&calls};
  FakeTaskDispatcher dispatcher{&calls};
  FakeMutexFactory mutexes{&calls};
};

/// Clears korrin::globals::plugins (the library never does; tests need it).
void uninstall_plugins();

}  // namespace testing
}  // namespace korrin

#endif  // KORRIN_TESTING_FAKE_HOST_H
