// A lean host for long runs and benchmarks: every interface does the least a
// real host could do, so what is measured is the library's own work. Unlike
// the recording FakeHost nothing is stored; a few counters are
// kept so the caller can check that the work it ran really happened, and the
// host holds no more memory after a million calls than after one.
#ifndef KORRIN_TESTING_LEAN_HOST_H
#define KORRIN_TESTING_LEAN_HOST_H

#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "korrin/config_manager.h"
#include "korrin/metrics.h"
#include "korrin/plugins.h"

namespace korrin {
namespace testing {
namespace lean {

/// Drops every record; counts them, the errors among them and their length.
class CountingSink : public korrin::log::HostLogInterface {
 public:
  void write_record(korrin::log::LogLevel level, const std::string& text) override;
  std::size_t records = 0;
  std::size_t errors = 0;
  std::size_t characters = 0;
};

/// Answers fetch() with `fetch_status` (and `document` when that is
/// FETCH_DONE, the default: every fetch answered at once); counts posts.
class ScriptedNetwork : public korrin::dispatcher::NetworkInterface {
 public:
  void post(const korrin::dispatcher::RequestContext& request) override;
  int fetch(const korrin::dispatcher::RequestContext& request, std::string& response) override;

  int fetch_status = korrin::dispatcher::FETCH_DONE;
  std::string document;
  std::size_t fetches = 0;
  std::size_t posts = 0;
  std::size_t empty_posts = 0;
};

/// Accepts every command; counts each kind.
class CountingDevice : public korrin::DeviceControlInterface {
 public:
  void apply_setting(const std::string& accessory_id, const std::string& key, int usage_id,
                     const std::string& value) override;
  void delegate_upgrade(const std::string& accessory_id) override;
  bool request_firmware_upgrade(const std::string& accessory_id,
                                const std::string& firmware_version,
                                const std::string& firmware_name) override;
  void report_config_failure(const std::string& accessory_id, int code) override;
  void report_config_pending(const std::string& accessory_id, int code) override;
  void set_follow_user_config(int usage_id, bool follow) override;

  std::size_t applied = 0;
  std::size_t follow_calls = 0;
  std::size_t delegations = 0;
  std::size_t firmware_requests = 0;
  std::size_t failures = 0;
  std::size_t pending = 0;
};

/// Fixed host facts. The configuration servers are an IPv6 literal (so URLs
/// bracket it) and a name; the configuration URL of attempt N goes to the
/// Nth, and there is none after the last.
class FixedSystemInfo : public korrin::SystemInfoInterface {
 public:
  std::string get_client() override;
  std::string get_device_name() override;
  std::string get_serial_number() override;
  std::string get_model() override;
  std::string get_firmware_version() override;
  std::string get_user_id() override;
  std::string get_host_os_version() override;
  std::string get_config_url_template() override;
  std::string get_inventory_url() override;
  std::string get_config_server(int attempt) override;
  std::vector<std::string> get_config_servers() override;
};

/// Keeps queued tasks until the caller runs them with run_all(), like a
/// host's dispatcher thread whose turn comes later. Defer times are not
/// waited for: what is measured is the library, not the clock.
class DrainedDispatcher : public korrin::TaskDispatcherInterface {
 public:
  void add_task(TaskFunction task, void* context, korrin::TaskParametersInterface* params) override;
  /// Runs every queued task (and any it queues) through check_status: run,
  /// keep for later, or drop. Returns the number of tasks run.
  std::size_t run_all();
  std::size_t queued() const { return queue_.size(); }

 private:
  struct Entry {
    TaskFunction function = nullptr;
    void* context = nullptr;
    std::unique_ptr<korrin::TaskParametersInterface> params;
  };
  // A list holds no memory once empty (a deque keeps a block and a map whose
  // size depends on its history), so the host's own heap is the same after
  // every drained run.
  std::list<Entry> queue_;
};

/// Locks made from std::mutex / std::recursive_mutex, as a host would;
/// counts the live ones.
class StdMutexFactory : public korrin::MutexFactoryInterface {
 public:
  korrin::MutexInterface* create_mutex(bool recursive) override;
  void destroy_mutex(korrin::MutexInterface* mutex) override;
  std::size_t live = 0;
};

/// What an accessory reports. The defaults describe a docked headset.
struct AccessoryFacts {
  int type = 1;
  std::string vendor = "Zelor";
  std::string model = "Zelor H-5";
  std::string serial_number = "SN12345678";
  std::string firmware_version = "1-2-0";
  std::string dock_serial_number = "DOCK-42";
  std::string dock_model = "Zelor Dock";
  std::string dongle_model;
  std::string dongle_firmware_version;
};

/// An accessory described by shared facts, so a clone costs one reference.
class FixedAccessory : public korrin::AccessoryInfoInterface {
 public:
  explicit FixedAccessory(std::shared_ptr<const AccessoryFacts> facts);
  /// A docked headset of the default facts but of model `model`.
  explicit FixedAccessory(std::string model);

  int get_accessory_type() const override { return facts_->type; }
  korrin::AccessoryInfoInterface* clone() const override { return new FixedAccessory(facts_); }
  std::string get_vendor(korrin::SystemInfoInterface* /*system_info*/) const override {
    return facts_->vendor;
  }
  std::string get_model() const override { return facts_->model; }
  std::string get_serial_number(korrin::SystemInfoInterface* /*system_info*/) const override {
    return facts_->serial_number;
  }
  std::string get_firmware_version() const override { return facts_->firmware_version; }
  std::string get_dock_serial_number() const override { return facts_->dock_serial_number; }
  std::string get_dock_model() const override { return facts_->dock_model; }
  std::string get_dongle_model() const override { return facts_->dongle_model; }
  std::string get_dongle_firmware_version() const override {
    return facts_->dongle_firmware_version;
  }
  std::string get_connection_type() const override { return "USB"; }
  std::string get_connection_status() const override { return "connected"; }
  bool is_inventory_ready() const override { return true; }
  bool is_config_ready() const override { return true; }
  bool is_vendor_headset() const override { return true; }

 private:
  std::shared_ptr<const AccessoryFacts> facts_;
};

/// The six interfaces, installed with korrin::init by install().
struct LeanHost {
  CountingSink log;
  ScriptedNetwork network;
  CountingDevice device;
  FixedSystemInfo system_info;
  DrainedDispatcher dispatcher;
  StdMutexFactory mutexes;

  /// Installs this host's table; the host must outlive every library object.
  void install();
};

}  // namespace lean
}  // namespace testing
}  // namespace korrin

#endif  // KORRIN_TESTING_LEAN_HOST_H
