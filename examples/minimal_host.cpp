// A small but complete host of libkorrin on the host kit (korrin::host): a
// log sink on standard error, a task dispatcher thread that follows the task
// contract, standard-library locks and a libcurl network whose fetches
// complete through the configuration manager. The host's own parts are the
// device (here it prints what the library decides) and the system
// information (here fixed answers).
//
//   korrin-minimal-host [DOCUMENT_URL]
//
// connects one headset, fetches the configuration document from
// DOCUMENT_URL (http, https, tftp or file; the example office document by
// default), prints the settings and firmware the library asks for, and shuts
// down in the required order.
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "korrin/config_manager.h"
#include "korrin/host/lock_factory.h"
#include "korrin/host/log_sink.h"
#include "korrin/host/network.h"
#include "korrin/host/task_dispatcher.h"
#include "korrin/plugins.h"

namespace {

// What the library decides for the accessories: printed on standard output.
class PrintingDevice : public korrin::DeviceControlInterface {
 public:
  void apply_setting(const std::string& id, const std::string& key, int usage_id,
                     const std::string& value) override {
    std::printf("apply %s: %s (%d) = %s\n", id.c_str(), key.c_str(), usage_id, value.c_str());
  }
  void delegate_upgrade(const std::string& id) override {
    std::printf("delegate upgrade %s\n", id.c_str());
  }
  bool request_firmware_upgrade(const std::string& id, const std::string& version,
                                const std::string& name) override {
    std::printf("upgrade %s to %s (%s)\n", id.c_str(), version.c_str(), name.c_str());
    return true;
  }
  void report_config_failure(const std::string& id, int code) override {
    std::printf("config failure %s code %d\n", id.c_str(), code);
  }
  void report_config_pending(const std::string& id, int code) override {
    std::printf("config pending %s code %d\n", id.c_str(), code);
  }
  void set_follow_user_config(int usage_id, bool follow) override {
    std::printf("follow user %d: %s\n", usage_id, follow ? "yes" : "no");
  }
};

// The configuration URL template is the document URL itself (no tokens).
class StaticSystemInfo : public korrin::SystemInfoInterface {
 public:
  explicit StaticSystemInfo(std::string document_url) : document_url_(std::move(document_url)) {}
  std::string get_client() override { return "minimal-host"; }
  std::string get_device_name() override { return "desk-1"; }
  std::string get_serial_number() override { return "HOST-0001"; }
  std::string get_model() override { return "Example Host"; }
  std::string get_firmware_version() override { return "1-0-0"; }
  std::string get_user_id() override { return "user-1"; }
  std::string get_config_url_template() override { return document_url_; }
  std::string get_inventory_url() override { return "http://{qelm}/inventory"; }
  std::string get_config_server(int) override { return "127.0.0.1"; }
  std::vector<std::string> get_config_servers() override { return {"127.0.0.1"}; }

 private:
  std::string document_url_;
};

// One connected headset. The library keeps clones of it.
class Headset : public korrin::AccessoryInfoInterface {
 public:
  int get_accessory_type() const override { return 1; }
  korrin::AccessoryInfoInterface* clone() const override { return new Headset(*this); }
  std::string get_vendor(korrin::SystemInfoInterface*) const override { return "Zelor"; }
  std::string get_model() const override { return "Zelor H-9"; }
  std::string get_serial_number(korrin::SystemInfoInterface*) const override {
    return "ZH9C0007A1";
  }
  std::string get_firmware_version() const override { return "5-0-2"; }
  std::string get_dock_serial_number() const override { return ""; }
  std::string get_dock_model() const override { return ""; }
  std::string get_dongle_model() const override { return ""; }
  std::string get_dongle_firmware_version() const override { return ""; }
  std::string get_connection_type() const override { return "USB"; }
  std::string get_connection_status() const override { return "connected"; }
  bool is_inventory_ready() const override { return true; }
  bool is_config_ready() const override { return true; }
  bool is_vendor_headset() const override { return true; }
};

// Waits until neither the dispatcher nor the network has work left: a fetch
// queues a delivery, a delivery may queue a retry task.
bool wait_until_settled(korrin::host::TaskDispatcher& dispatcher, korrin::host::Network& network) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (std::chrono::steady_clock::now() < deadline) {
    if (dispatcher.wait_idle(std::chrono::milliseconds(100)) &&
        network.wait_idle(std::chrono::milliseconds(100)) && dispatcher.idle()) {
      return true;
    }
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string document_url =
      argc > 1 ? argv[1] : std::string("file://") + KORRIN_EXAMPLES_DIR "/documents/office.json";

  // The kit's components; each one logs through the same sink.
  korrin::host::LogSinkOptions log_options;
  log_options.max_level = korrin::log::notice;
  korrin::host::LogSink log(log_options);
  korrin::host::NetworkOptions network_options;
  network_options.log = &log;
  korrin::host::Network network(network_options);
  korrin::host::DispatcherOptions dispatcher_options;
  dispatcher_options.log = &log;
  korrin::host::TaskDispatcher dispatcher(dispatcher_options);
  korrin::host::LockFactoryOptions lock_options;
  lock_options.log = &log;
  korrin::host::LockFactory locks(lock_options);
  // The host's own parts.
  PrintingDevice device;
  StaticSystemInfo system_info(document_url);

  korrin::Plugins table;
  table.log = &log;
  table.network = &network;
  table.device = &device;
  table.system_info = &system_info;
  table.task_dispatcher = &dispatcher;
  table.mutex_factory = &locks;
  korrin::init(table);

  korrin::config::ConfigManager* manager = korrin::config::create_config_manager();
  // A pending fetch completes through the manager's success/failure entry points.
  korrin::host::ConfigManagerListener completion(manager);
  network.set_listener(&completion);

  Headset headset;
  manager->initialize_accessory("headset-1", &headset);
  const bool settled = wait_until_settled(dispatcher, network);
  if (!settled) {
    std::fprintf(stderr, "korrin-minimal-host: the configure request did not end in 60 s\n");
  }

  // Shut-down: no task may run and no fetch may complete once the manager is
  // gone, and the kit's objects must outlive the manager.
  const korrin::host::StopReport stopped = dispatcher.stop();
  network.stop();
  korrin::config::delete_config_manager();
  std::printf("stopped: %zu queued task(s) dropped, %d lock(s) left\n", stopped.dropped(),
              locks.live());
  return settled && locks.live() == 0 ? 0 : 1;
}
