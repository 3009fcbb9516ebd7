// Runs the WebAssembly build of libkorrin under node: a headset's
// configuration object takes a document over (its settings go to the device,
// then the firmware request), and the
// exception korrin::init throws for an incomplete plugin table reaches the
// caller's catch (which needs -fexceptions at compile and link time).
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "korrin/config.h"
#include "korrin/plugins.h"

namespace {

std::vector<std::string> calls;

class Log : public korrin::log::HostLogInterface {
 public:
  void write_record(korrin::log::LogLevel, const std::string&) override {}
};

class Network : public korrin::dispatcher::NetworkInterface {
 public:
  void post(const korrin::dispatcher::RequestContext&) override {}
  int fetch(const korrin::dispatcher::RequestContext&, std::string&) override {
    return korrin::dispatcher::FETCH_UNAVAILABLE;
  }
};

class Device : public korrin::DeviceControlInterface {
 public:
  void apply_setting(const std::string& id, const std::string& key, int usage_id,
                     const std::string& value) override {
    calls.push_back("apply_setting " + id + " " + key + " " + std::to_string(usage_id) + " " +
                    value);
  }
  void delegate_upgrade(const std::string& id) override { calls.push_back("delegate " + id); }
  bool request_firmware_upgrade(const std::string& id, const std::string& version,
                                const std::string& name) override {
    calls.push_back("request_firmware_upgrade " + id + " " + version + " " + name);
    return true;
  }
  void report_config_failure(const std::string& id, int code) override {
    calls.push_back("report_config_failure " + id + " " + std::to_string(code));
  }
  void report_config_pending(const std::string& id, int code) override {
    calls.push_back("report_config_pending " + id + " " + std::to_string(code));
  }
  void set_follow_user_config(int usage_id, bool follow) override {
    calls.push_back("set_follow_user_config " + std::to_string(usage_id) + " " +
                    (follow ? "true" : "false"));
  }
};

class SystemInfo : public korrin::SystemInfoInterface {
 public:
  std::string get_client() override { return "web"; }
  std::string get_device_name() override { return "browser"; }
  std::string get_serial_number() override { return "0"; }
  std::string get_model() override { return "browser"; }
  std::string get_firmware_version() override { return "0"; }
  std::string get_user_id() override { return ""; }
  std::string get_config_url_template() override { return ""; }
  std::string get_inventory_url() override { return ""; }
  std::string get_config_server(int) override { return ""; }
  std::vector<std::string> get_config_servers() override { return {}; }
};

class Dispatcher : public korrin::TaskDispatcherInterface {
 public:
  void add_task(TaskFunction, void*, korrin::TaskParametersInterface* params) override {
    delete params;
  }
};

class Mutex : public korrin::MutexInterface {
 public:
  void lock() override {}
  void unlock() override {}
};

class MutexFactory : public korrin::MutexFactoryInterface {
 public:
  korrin::MutexInterface* create_mutex(bool) override { return new Mutex; }
  void destroy_mutex(korrin::MutexInterface* mutex) override { delete mutex; }
};

class Headset : public korrin::AccessoryInfoInterface {
 public:
  int get_accessory_type() const override { return 1; }
  AccessoryInfoInterface* clone() const override { return new Headset(*this); }
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

const char* const kDocument = R"({
  "templateConfiguration": {
    "updatedTime": 1730000000,
    "commonSettings": [
      {"name": "statusLed", "usageId": 5, "value": "on", "access": "Admin"}
    ],
    "modelSpecificSettings": [
      {"models": ["Zelor H-9"],
       "modelFirmware": [{"firmwareName": "h9.bin", "firmwareVersion": "5-1-0",
         "firmwareParams": [
           {"name": "noiseCancelling", "usageId": 20, "value": "high", "access": "Admin"}]}]}
    ]
  }
})";

int failures = 0;

void expect(bool condition, const std::string& what) {
  std::printf("%s: %s\n", condition ? "ok" : "FAILED", what.c_str());
  if (!condition) ++failures;
}

}  // namespace

int main() {
  korrin::Plugins incomplete;
  std::string thrown;
  try {
    korrin::init(incomplete);
  } catch (const std::runtime_error& error) {
    thrown = error.what();
  }
  expect(thrown == "plugins is not initialized properly",
         "korrin::init throws for an empty table, caught: \"" + thrown + "\"");

  Log log;
  Network network;
  Device device;
  SystemInfo system_info;
  Dispatcher dispatcher;
  MutexFactory mutex_factory;
  korrin::Plugins plugins;
  plugins.log = &log;
  plugins.network = &network;
  plugins.device = &device;
  plugins.system_info = &system_info;
  plugins.task_dispatcher = &dispatcher;
  plugins.mutex_factory = &mutex_factory;
  expect(korrin::init(plugins), "korrin::init accepts a complete table");

  Headset headset;
  korrin::config::ConfigInterface* config = create_config("hs-1", &headset);
  expect(config != nullptr, "create_config makes a headset's configuration object");
  if (config == nullptr) return 1;
  expect(config->update_from_server(kDocument), "update_from_server takes the document");
  delete_config(config);

  const std::vector<std::string> expected = {
      "apply_setting hs-1 statusLed 5 on",
      "apply_setting hs-1 noiseCancelling 20 high",
      "request_firmware_upgrade hs-1 5-1-0 h9.bin",
  };
  std::string seen;
  for (const std::string& call : calls) seen += "\n  " + call;
  expect(calls == expected, "device calls:" + seen);
  return failures == 0 ? 0 : 1;
}
