#include "support/null_host.h"

#include <mutex>

namespace korrin_bench {

void NullSink::write_record(korrin::log::LogLevel, const std::string& text) {
  ++records;
  characters += text.size();
}

void NullDevice::apply_setting(const std::string&, const std::string&, int, const std::string&) {
  ++applied;
}
void NullDevice::delegate_upgrade(const std::string&) {}
bool NullDevice::request_firmware_upgrade(const std::string&, const std::string&,
                                          const std::string&) {
  ++firmware_requests;
  return true;
}
void NullDevice::report_config_failure(const std::string&, int) { ++failures; }
void NullDevice::report_config_pending(const std::string&, int) {}
void NullDevice::set_follow_user_config(int, bool) { ++follow_calls; }

void AnsweringNetwork::post(const korrin::dispatcher::RequestContext&) {}
int AnsweringNetwork::fetch(const korrin::dispatcher::RequestContext&, std::string& response) {
  ++fetches;
  response = document;
  return korrin::dispatcher::FETCH_DONE;
}

std::string FixedSystemInfo::get_client() { return "bench-host"; }
std::string FixedSystemInfo::get_device_name() { return "bench-desk"; }
std::string FixedSystemInfo::get_serial_number() { return "HOST-0001"; }
std::string FixedSystemInfo::get_model() { return "Bench Host"; }
std::string FixedSystemInfo::get_firmware_version() { return "1-0-0"; }
std::string FixedSystemInfo::get_user_id() { return "bench-user"; }
std::string FixedSystemInfo::get_config_url_template() {
  return "https://{tftp}/config/{userid}.json";
}
std::string FixedSystemInfo::get_inventory_url() { return "https://{qelm}/inventory"; }
std::string FixedSystemInfo::get_config_server(int) { return "config.example.test"; }
std::vector<std::string> FixedSystemInfo::get_config_servers() {
  return {"fd00::1", "config.example.test"};
}

void QueueDispatcher::add_task(TaskFunction task, void* context,
                               korrin::TaskParametersInterface* params) {
  tasks_.push_back(
      Task{task, context, std::unique_ptr<korrin::TaskParametersInterface>(params->clone())});
}

std::size_t QueueDispatcher::run_all() {
  std::size_t ran = 0;
  while (!tasks_.empty()) {
    Task task = std::move(tasks_.front());
    tasks_.pop_front();
    if (task.params->check_status() == korrin::TASK_RUN) {
      task.function(task.context, task.params.get());
      ++ran;
    }
  }
  return ran;
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
  if (recursive) {
    return new StdLock<std::recursive_mutex>;
  }
  return new StdLock<std::mutex>;
}

void StdMutexFactory::destroy_mutex(korrin::MutexInterface* mutex) { delete mutex; }

int FixedAccessory::get_accessory_type() const { return 1; }
korrin::AccessoryInfoInterface* FixedAccessory::clone() const { return new FixedAccessory(*this); }
std::string FixedAccessory::get_vendor(korrin::SystemInfoInterface*) const { return "Zelor"; }
std::string FixedAccessory::get_model() const { return model; }
std::string FixedAccessory::get_serial_number(korrin::SystemInfoInterface*) const {
  return "SN12345678";
}
std::string FixedAccessory::get_firmware_version() const { return "1-2-0"; }
std::string FixedAccessory::get_dock_serial_number() const { return "DOCK-42"; }
std::string FixedAccessory::get_dock_model() const { return "Bench Dock"; }
std::string FixedAccessory::get_dongle_model() const { return std::string(); }
std::string FixedAccessory::get_dongle_firmware_version() const { return std::string(); }
std::string FixedAccessory::get_connection_type() const { return "USB"; }
std::string FixedAccessory::get_connection_status() const { return "connected"; }
bool FixedAccessory::is_inventory_ready() const { return true; }
bool FixedAccessory::is_config_ready() const { return true; }
bool FixedAccessory::is_vendor_headset() const { return true; }

void NullHost::install() {
  korrin::Plugins table;
  table.log = &sink;
  table.network = &network;
  table.device = &device;
  table.system_info = &system_info;
  table.task_dispatcher = &dispatcher;
  table.mutex_factory = &mutexes;
  korrin::init(table);
}

}  // namespace korrin_bench
