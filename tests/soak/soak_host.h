// A lean host for long runs: real locks, a dispatcher whose queue the soak
// loop drains, and sinks that count what they receive without keeping it,
// so that the host itself holds no more memory after a million calls than
// after one.
#ifndef KORRIN_TESTS_SOAK_SOAK_HOST_H
#define KORRIN_TESTS_SOAK_SOAK_HOST_H

#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "korrin/korrin.h"

namespace korrin_soak {

class CountingSink : public korrin::log::HostLogInterface {
 public:
  void write_record(korrin::log::LogLevel level, const std::string& text) override;
  long records = 0;
  long errors = 0;
};

class ScriptedNetwork : public korrin::dispatcher::NetworkInterface {
 public:
  void post(const korrin::dispatcher::RequestContext& request) override;
  int fetch(const korrin::dispatcher::RequestContext& request, std::string& response) override;

  /// What fetch() answers: the status, and the document when it is 0.
  int fetch_status = korrin::dispatcher::FETCH_DONE;
  std::string document;
  long posts = 0;
  long empty_posts = 0;
  long fetches = 0;
};

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

  long settings = 0;
  long upgrades = 0;
  long failures = 0;
  long pending = 0;
};

class FixedSystemInfo : public korrin::SystemInfoInterface {
 public:
  std::string get_client() override { return "soak-client"; }
  std::string get_device_name() override { return "soak-room"; }
  std::string get_serial_number() override { return "SOAK-HOST-1"; }
  std::string get_model() override { return "Soak Host"; }
  std::string get_firmware_version() override { return "1-0-0"; }
  std::string get_user_id() override { return "soak-user"; }
  std::string get_host_os_version() override { return "Debian 12"; }
  std::string get_config_url_template() override { return "http://{tftp}/{userid}.json"; }
  std::string get_inventory_url() override { return "https://{qelm}/inventory"; }
  std::string get_config_server(int attempt) override;
  std::vector<std::string> get_config_servers() override;
};

/// Queues tasks; the soak loop runs them with run_all() on its own thread.
/// Defer times are not waited for: a soak measures the library, not the clock.
class DrainedDispatcher : public korrin::TaskDispatcherInterface {
 public:
  void add_task(TaskFunction task, void* context, korrin::TaskParametersInterface* params) override;
  /// Runs every queued task through check_status (run, keep, drop); returns
  /// the number of tasks run.
  int run_all();
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

class StdMutex : public korrin::MutexInterface {
 public:
  void lock() override { mutex_.lock(); }
  void unlock() override { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

class StdRecursiveMutex : public korrin::MutexInterface {
 public:
  void lock() override { mutex_.lock(); }
  void unlock() override { mutex_.unlock(); }

 private:
  std::recursive_mutex mutex_;
};

class StdMutexFactory : public korrin::MutexFactoryInterface {
 public:
  korrin::MutexInterface* create_mutex(bool recursive) override;
  void destroy_mutex(korrin::MutexInterface* mutex) override;
  long live = 0;
};

/// What an accessory reports.
struct AccessoryFacts {
  int type = 1;
  std::string vendor = "Zelor";
  std::string model = "Zelor H-5";
  std::string serial_number = "ZH5B2231907";
  std::string firmware_version = "2-3-1";
  std::string dock_serial_number = "DK-77120";
  std::string dock_model = "Zelor Dock 5";
  std::string dongle_model;
  std::string dongle_firmware_version;
};

class SoakAccessory : public korrin::AccessoryInfoInterface {
 public:
  explicit SoakAccessory(std::shared_ptr<const AccessoryFacts> facts) : facts_(std::move(facts)) {}
  int get_accessory_type() const override { return facts_->type; }
  korrin::AccessoryInfoInterface* clone() const override { return new SoakAccessory(facts_); }
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

/// The six interfaces, installed with korrin::init.
struct SoakHost {
  CountingSink log;
  ScriptedNetwork network;
  CountingDevice device;
  FixedSystemInfo system_info;
  DrainedDispatcher dispatcher;
  StdMutexFactory mutexes;
  void install();
};

}  // namespace korrin_soak

#endif  // KORRIN_TESTS_SOAK_SOAK_HOST_H
