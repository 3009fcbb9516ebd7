// A host program built only against an installed libkorrin (headers, the
// shared library and its CMake or pkg-config files). It implements the six
// host interfaces, installs them and checks a few observable results, so a
// broken install tree, a missing export or an ABI mismatch shows up as a
// build, link or run failure.
#include <korrin/korrin.h>

#include <cstdio>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

class RecordingSink : public korrin::log::HostLogInterface {
 public:
  void write_record(korrin::log::LogLevel level, const std::string& text) override {
    records.emplace_back(level, text);
  }
  std::vector<std::pair<korrin::log::LogLevel, std::string>> records;
};

class NoNetwork : public korrin::dispatcher::NetworkInterface {
 public:
  void post(const korrin::dispatcher::RequestContext&) override {}
  int fetch(const korrin::dispatcher::RequestContext&, std::string&) override {
    return korrin::dispatcher::FETCH_UNAVAILABLE;
  }
};

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
  std::string get_config_url_template() override { return "http://{tftp}/{userid}"; }
  std::string get_inventory_url() override { return "http://{qelm}/inventory"; }
  std::string get_config_server(int) override { return ""; }
  std::vector<std::string> get_config_servers() override { return {}; }
};

class DroppingDispatcher : public korrin::TaskDispatcherInterface {
 public:
  void add_task(TaskFunction, void*, korrin::TaskParametersInterface*) override {}
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

int failures = 0;

void expect(bool ok, const std::string& what) {
  if (!ok) {
    std::fprintf(stderr, "korrin-consumer: FAILED: %s\n", what.c_str());
    ++failures;
  }
}

}  // namespace

int main() {
  RecordingSink sink;
  NoNetwork network;
  NoDevice device;
  FixedSystemInfo system_info;
  DroppingDispatcher dispatcher;
  NoLockFactory mutexes;

  korrin::Plugins table;
  table.log = &sink;
  table.network = &network;
  table.device = &device;
  table.system_info = &system_info;
  table.task_dispatcher = &dispatcher;

  // An incomplete table is refused with an exception thrown inside the
  // library and caught here: type information must match across the boundary.
  std::string refusal;
  try {
    korrin::init(table);
  } catch (const std::runtime_error& error) {
    refusal = error.what();
  }
  expect(refusal == "plugins is not initialized properly",
         "init refuses a table without mutex_factory (got \"" + refusal + "\")");
  expect(korrin::globals::plugins.log == nullptr, "nothing installed after a refused init");

  table.mutex_factory = &mutexes;
  expect(korrin::init(table), "init accepts the complete table");
  expect(korrin::globals::plugins.system_info == &system_info,
         "the installed table is visible through korrin::globals::plugins");

  korrin::log::Logger* logger = create_logger(korrin::globals::plugins.log, "consumer", true);
  logger->notice() << "hello " << 42 << ' ' << true;
  delete_logger(logger);
  expect(sink.records.size() == 1, "one log record delivered");
  if (sink.records.size() == 1) {
    expect(sink.records[0].first == korrin::log::notice, "the record has notice level");
    expect(sink.records[0].second == "consumer: hello 42 true",
           "the record text (got \"" + sink.records[0].second + "\")");
  }

  expect(get_headset_model(MODEL_H9, "0000000400") == MODEL_H8,
         "a Zelor H-9 with a 4 as eighth serial character is a Zelor H-8");
  expect(get_headset_model(MODEL_H9, "0000000500") == "Zelor H-9",
         "other Zelor H-9 serial numbers keep the model");

  // The installed library is the release of the installed headers.
  expect(std::string(korrin::version()) == KORRIN_VERSION_STRING,
         std::string("korrin::version() is ") + korrin::version() + ", the headers " +
             KORRIN_VERSION_STRING);

  if (failures != 0) {
    return 1;
  }
  std::printf("korrin-consumer: OK (library %s, headers %d.%d.%d)\n", korrin::version(),
              KORRIN_VERSION_MAJOR, KORRIN_VERSION_MINOR, KORRIN_VERSION_PATCH);
  return 0;
}
