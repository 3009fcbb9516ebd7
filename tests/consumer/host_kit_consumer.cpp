// A host program built only against an installed korrin::host (and the
// library): the kit's dispatcher, lock factory, network and log sink carry
// an inventory send from create_metric() to the network, so a broken install
// of the kit shows up as a build, link or run failure.
#include <korrin/host/lock_factory.h>
#include <korrin/host/log_sink.h>
#include <korrin/host/network.h>
#include <korrin/host/task_dispatcher.h>
#include <korrin/metrics.h>
#include <korrin/plugins.h>

#include <chrono>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

namespace {

class NoDevice : public korrin::DeviceControlInterface {
 public:
  void apply_setting(const std::string&, const std::string&, int, const std::string&) override {}
  void delegate_upgrade(const std::string&) override {}
  bool request_firmware_upgrade(const std::string&, const std::string&,
                                const std::string&) override {
    return false;
  }
  void report_config_failure(const std::string&, int) override {}
  void report_config_pending(const std::string&, int) override {}
  void set_follow_user_config(int, bool) override {}
};

class FixedSystemInfo : public korrin::SystemInfoInterface {
 public:
  std::string get_client() override { return "consumer"; }
  std::string get_device_name() override { return "bench"; }
  std::string get_serial_number() override { return "C-1"; }
  std::string get_model() override { return "Consumer"; }
  std::string get_firmware_version() override { return "1"; }
  std::string get_user_id() override { return "u"; }
  std::string get_config_url_template() override { return "file:///{userid}"; }
  // A POST to a file URL is refused by the kit's network: observable without
  // a server.
  std::string get_inventory_url() override { return "file:///dev/null"; }
  std::string get_config_server(int) override { return ""; }
  std::vector<std::string> get_config_servers() override { return {"127.0.0.1"}; }
};

class Headset : public korrin::AccessoryInfoInterface {
 public:
  int get_accessory_type() const override { return 1; }
  korrin::AccessoryInfoInterface* clone() const override { return new Headset(*this); }
  std::string get_vendor(korrin::SystemInfoInterface*) const override { return "Zelor"; }
  std::string get_model() const override { return "Zelor H-9"; }
  std::string get_serial_number(korrin::SystemInfoInterface*) const override { return "S-1"; }
  std::string get_firmware_version() const override { return "1.0"; }
  std::string get_dock_serial_number() const override { return ""; }
  std::string get_dock_model() const override { return ""; }
  std::string get_dongle_model() const override { return ""; }
  std::string get_dongle_firmware_version() const override { return ""; }
  std::string get_connection_type() const override { return "usb"; }
  std::string get_connection_status() const override { return "connected"; }
  bool is_inventory_ready() const override { return true; }
  bool is_config_ready() const override { return true; }
  bool is_vendor_headset() const override { return true; }
};

int failures = 0;

void expect(bool ok, const std::string& what) {
  if (!ok) {
    std::fprintf(stderr, "korrin-host-kit-consumer: FAILED: %s\n", what.c_str());
    ++failures;
  }
}

}  // namespace

int main() {
  std::ostringstream log_text;
  korrin::host::LogSinkOptions log_options;
  log_options.max_level = korrin::log::warning;
  korrin::host::LogSink log(log_options, log_text);
  korrin::host::NetworkOptions network_options;
  network_options.log = &log;
  korrin::host::Network network(network_options);
  korrin::host::DispatcherOptions dispatcher_options;
  dispatcher_options.log = &log;
  korrin::host::TaskDispatcher dispatcher(dispatcher_options);
  korrin::host::LockFactoryOptions lock_options;
  lock_options.log = &log;
  korrin::host::LockFactory locks(lock_options);
  NoDevice device;
  FixedSystemInfo system_info;

  korrin::Plugins table;
  table.log = &log;
  table.network = &network;
  table.device = &device;
  table.system_info = &system_info;
  table.task_dispatcher = &dispatcher;
  table.mutex_factory = &locks;
  korrin::init(table);
  korrin::config::create_config_manager();
  expect(locks.live() == 2, "the manager made its two locks through the kit");

  Headset headset;
  korrin::metrics::MetricsInterface* metric = create_metric(&headset);
  metric->send();
  delete_metric(metric);
  expect(dispatcher.wait_idle(std::chrono::milliseconds(10000)), "the send task ran");
  expect(network.wait_idle(std::chrono::milliseconds(10000)), "the post was made");
  const korrin::host::DispatcherStats stats = dispatcher.stats();
  expect(stats.accepted == 1 && stats.ran == 1, "one task accepted and run");
  const std::vector<korrin::host::TransferRecord> records = network.records();
  expect(records.size() == 1, "one transfer recorded");
  if (records.size() == 1) {
    expect(records[0].kind == "post" && records[0].requester == "INVENTORY",
           "the inventory post reached the network");
    expect(records[0].error == "a POST needs an http or https URL",
           "the file URL was refused (got \"" + records[0].error + "\")");
  }

  dispatcher.stop();
  network.stop();
  korrin::config::delete_config_manager();
  expect(locks.live() == 0, "every lock was returned");
  expect(log_text.str().find(" warning  Host::Network: post: file:///dev/null failed: a POST "
                             "needs an http or https URL\n") != std::string::npos,
         "the refusal was logged (log: \"" + log_text.str() + "\")");
  if (failures != 0) {
    return 1;
  }
  std::printf("korrin-host-kit-consumer: OK\n");
  return 0;
}
