// A minimal host for the benchmarks: every interface does the least a real
// host could do, so the figures show the library's own work. Unlike the
// recording fake of the tests, nothing is stored; only a few counters are
// kept so a benchmark can check that the work it timed really happened.
#ifndef KORRIN_BENCH_SUPPORT_NULL_HOST_H
#define KORRIN_BENCH_SUPPORT_NULL_HOST_H

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "korrin/korrin.h"

namespace korrin_bench {

/// Drops every record; counts them.
class NullSink : public korrin::log::HostLogInterface {
 public:
  void write_record(korrin::log::LogLevel level, const std::string& text) override;
  std::size_t records = 0;
  std::size_t characters = 0;
};

/// Accepts every command; counts the settings it was asked to apply.
class NullDevice : public korrin::DeviceControlInterface {
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
  std::size_t firmware_requests = 0;
  std::size_t failures = 0;
};

/// Answers every fetch at once with the document it holds (status 0).
class AnsweringNetwork : public korrin::dispatcher::NetworkInterface {
 public:
  void post(const korrin::dispatcher::RequestContext& request) override;
  int fetch(const korrin::dispatcher::RequestContext& request, std::string& response) override;
  std::string document;
  std::size_t fetches = 0;
};

/// Fixed host facts; the inventory URL carries the server token.
class FixedSystemInfo : public korrin::SystemInfoInterface {
 public:
  std::string get_client() override;
  std::string get_device_name() override;
  std::string get_serial_number() override;
  std::string get_model() override;
  std::string get_firmware_version() override;
  std::string get_user_id() override;
  std::string get_config_url_template() override;
  std::string get_inventory_url() override;
  std::string get_config_server(int attempt) override;
  std::vector<std::string> get_config_servers() override;
};

/// Keeps queued tasks until run_all(), like a host's dispatcher thread
/// whose turn comes later; runs each task through the task contract.
class QueueDispatcher : public korrin::TaskDispatcherInterface {
 public:
  void add_task(TaskFunction task, void* context, korrin::TaskParametersInterface* params) override;
  /// Runs every queued task (and any it queues) whose check allows it.
  std::size_t run_all();
  std::size_t queued() const { return tasks_.size(); }

 private:
  struct Task {
    TaskFunction function;
    void* context;
    std::unique_ptr<korrin::TaskParametersInterface> params;
  };
  std::deque<Task> tasks_;
};

/// Locks made from the standard library's mutexes, as a host would.
class StdMutexFactory : public korrin::MutexFactoryInterface {
 public:
  korrin::MutexInterface* create_mutex(bool recursive) override;
  void destroy_mutex(korrin::MutexInterface* mutex) override;
};

/// A headset described by fixed strings; `model` selects its model group.
class FixedAccessory : public korrin::AccessoryInfoInterface {
 public:
  explicit FixedAccessory(std::string model_name) : model(std::move(model_name)) {}
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

  std::string model;
};

/// All six interfaces, installed with korrin::init() by install().
struct NullHost {
  NullSink sink;
  AnsweringNetwork network;
  NullDevice device;
  FixedSystemInfo system_info;
  QueueDispatcher dispatcher;
  StdMutexFactory mutexes;

  /// Installs this host's table; the host must outlive every library object.
  void install();
};

}  // namespace korrin_bench

#endif  // KORRIN_BENCH_SUPPORT_NULL_HOST_H
