// The smallest host of libkorrin: it implements the six host interfaces with
// trivial bodies, installs them with korrin::init and prints every log record
// the library hands to its sink.
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "korrin/korrin.h"

namespace {

const char* level_name(korrin::log::LogLevel level) {
  static const char* const names[] = {"critical", "error", "warning", "notice", "info", "debug"};
  const int index = static_cast<int>(level);
  return index >= 0 && index < 6 ? names[index] : "level?";
}

class PrintingSink : public korrin::log::HostLogInterface {
 public:
  void write_record(korrin::log::LogLevel level, const std::string& text) override {
    std::printf("[%s] %s\n", level_name(level), text.c_str());
  }
};

class OfflineNetwork : public korrin::dispatcher::NetworkInterface {
 public:
  void post(const korrin::dispatcher::RequestContext& request) override {
    std::printf("POST %s (%zu bytes)\n", request.url.c_str(), request.body.size());
  }
  int fetch(const korrin::dispatcher::RequestContext&, std::string&) override {
    return korrin::dispatcher::FETCH_UNAVAILABLE;
  }
};

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

class StaticSystemInfo : public korrin::SystemInfoInterface {
 public:
  std::string get_client() override { return "minimal-host"; }
  std::string get_device_name() override { return "desk-1"; }
  std::string get_serial_number() override { return "HOST-0001"; }
  std::string get_model() override { return "Example Host"; }
  std::string get_firmware_version() override { return "1-0-0"; }
  std::string get_user_id() override { return "user-1"; }
  std::string get_config_url_template() override { return "http://{tftp}/{userid}.json"; }
  std::string get_inventory_url() override { return "http://{qelm}/inventory"; }
  std::string get_config_server(int) override { return "127.0.0.1"; }
  std::vector<std::string> get_config_servers() override { return {"127.0.0.1"}; }
};

// Runs each task at once; enough for an example that has no event loop.
class ImmediateDispatcher : public korrin::TaskDispatcherInterface {
 public:
  void add_task(TaskFunction task, void* context,
                korrin::TaskParametersInterface* params) override {
    korrin::TaskParametersInterface* own = params->clone();
    if (own->check_status() == korrin::TASK_RUN) {
      task(context, own);
    }
    delete own;
  }
};

class NoLock : public korrin::MutexInterface {
 public:
  void lock() override {}
  void unlock() override {}
};

class NoLockFactory : public korrin::MutexFactoryInterface {
 public:
  korrin::MutexInterface* create_mutex(bool) override { return new NoLock; }
  void destroy_mutex(korrin::MutexInterface* mutex) override { delete mutex; }
};

}  // namespace

int main() {
  PrintingSink sink;
  OfflineNetwork network;
  PrintingDevice device;
  StaticSystemInfo system_info;
  ImmediateDispatcher dispatcher;
  NoLockFactory locks;

  korrin::Plugins table;
  table.log = &sink;
  table.network = &network;
  table.device = &device;
  table.system_info = &system_info;
  table.task_dispatcher = &dispatcher;
  table.mutex_factory = &locks;

  try {
    korrin::Plugins incomplete;
    korrin::init(incomplete);
  } catch (const std::runtime_error& error) {
    std::printf("an incomplete table is refused: %s\n", error.what());
  }
  korrin::init(table);
  std::printf("plugin table installed\n");

  korrin::log::Logger* logger = create_logger(korrin::globals::plugins.log, "MinimalHost", true);
  logger->notice() << "main: ENTER";
  logger->info() << "main: model of a Zelor H-9 with serial ABCDEFG4X is "
                 << get_headset_model(MODEL_H9, "ABCDEFG4X");
  delete_logger(logger);
  return 0;
}
