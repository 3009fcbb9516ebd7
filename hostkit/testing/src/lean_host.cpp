#include "korrin/testing/lean_host.h"

#include <iterator>
#include <mutex>

namespace korrin {
namespace testing {
namespace lean {

void CountingSink::write_record(korrin::log::LogLevel level, const std::string& text) {
  ++records;
  characters += text.size();
  if (level <= korrin::log::error) {
    ++errors;
  }
}

void ScriptedNetwork::post(const korrin::dispatcher::RequestContext& request) {
  ++posts;
  if (request.body.empty()) {
    ++empty_posts;
  }
}

int ScriptedNetwork::fetch(const korrin::dispatcher::RequestContext& /*request*/,
                           std::string& response) {
  ++fetches;
  if (fetch_status == korrin::dispatcher::FETCH_DONE) {
    response = document;
  }
  return fetch_status;
}

void CountingDevice::apply_setting(const std::string& /*accessory_id*/, const std::string& /*key*/,
                                   int /*usage_id*/, const std::string& /*value*/) {
  ++applied;
}
void CountingDevice::delegate_upgrade(const std::string& /*accessory_id*/) { ++delegations; }
bool CountingDevice::request_firmware_upgrade(const std::string& /*accessory_id*/,
                                              const std::string& /*firmware_version*/,
                                              const std::string& /*firmware_name*/) {
  ++firmware_requests;
  return true;
}
void CountingDevice::report_config_failure(const std::string& /*accessory_id*/, int /*code*/) {
  ++failures;
}
void CountingDevice::report_config_pending(const std::string& /*accessory_id*/, int /*code*/) {
  ++pending;
}
void CountingDevice::set_follow_user_config(int /*usage_id*/, bool /*follow*/) { ++follow_calls; }

namespace {
const char* const kConfigServers[] = {"fd00::1", "config.example.test"};
}  // namespace

std::string FixedSystemInfo::get_client() { return "lean-host"; }
std::string FixedSystemInfo::get_device_name() { return "lean-desk"; }
std::string FixedSystemInfo::get_serial_number() { return "HOST-0001"; }
std::string FixedSystemInfo::get_model() { return "Lean Host"; }
std::string FixedSystemInfo::get_firmware_version() { return "1-0-0"; }
std::string FixedSystemInfo::get_user_id() { return "lean-user"; }
std::string FixedSystemInfo::get_host_os_version() { return "Debian 12"; }
std::string FixedSystemInfo::get_config_url_template() {
  return "https://{tftp}/config/{userid}.json";
}
std::string FixedSystemInfo::get_inventory_url() { return "https://{qelm}/inventory"; }
std::string FixedSystemInfo::get_config_server(int attempt) {
  const int servers = static_cast<int>(std::size(kConfigServers));
  return attempt >= 0 && attempt < servers ? kConfigServers[attempt] : std::string();
}
std::vector<std::string> FixedSystemInfo::get_config_servers() {
  return {std::begin(kConfigServers), std::end(kConfigServers)};
}

void DrainedDispatcher::add_task(TaskFunction task, void* context,
                                 korrin::TaskParametersInterface* params) {
  Entry entry;
  entry.function = task;
  entry.context = context;
  entry.params.reset(params == nullptr ? nullptr : params->clone());
  queue_.push_back(std::move(entry));
}

std::size_t DrainedDispatcher::run_all() {
  std::size_t run = 0;
  // A task that keeps deferring is asked again a bounded number of times.
  for (int checks = 0; !queue_.empty() && checks < 1000; ++checks) {
    Entry entry = std::move(queue_.front());
    queue_.pop_front();
    if (!entry.params) {
      continue;
    }
    const int status = entry.params->check_status();
    if (status == korrin::TASK_RUN) {
      entry.function(entry.context, entry.params.get());
      ++run;
    } else if (status == korrin::TASK_DEFER) {
      queue_.push_back(std::move(entry));
    }
  }
  return run;
}

namespace {

template <typename Mutex>
class StdLock : public korrin::MutexInterface {
 public:
  void lock() override { mutex_.lock(); }
  void unlock() override { mutex_.unlock(); }

 private:
  Mutex mutex_;
};

}  // namespace

korrin::MutexInterface* StdMutexFactory::create_mutex(bool recursive) {
  ++live;
  if (recursive) {
    return new StdLock<std::recursive_mutex>;
  }
  return new StdLock<std::mutex>;
}

void StdMutexFactory::destroy_mutex(korrin::MutexInterface* mutex) {
  if (mutex != nullptr) {
    --live;
  }
  delete mutex;
}

FixedAccessory::FixedAccessory(std::shared_ptr<const AccessoryFacts> facts)
    : facts_(std::move(facts)) {}

FixedAccessory::FixedAccessory(std::string model) {
  auto facts = std::make_shared<AccessoryFacts>();
  facts->model = std::move(model);
  facts_ = std::move(facts);
}

void LeanHost::install() {
  korrin::Plugins table;
  table.log = &log;
  table.network = &network;
  table.device = &device;
  table.system_info = &system_info;
  table.task_dispatcher = &dispatcher;
  table.mutex_factory = &mutexes;
  korrin::init(table);
}

}  // namespace lean
}  // namespace testing
}  // namespace korrin
