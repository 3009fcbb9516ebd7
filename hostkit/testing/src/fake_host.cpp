#include "korrin/testing/fake_host.h"

namespace korrin {
namespace testing {

namespace {
thread_local int locks_held_here = 0;

std::string flag(bool value) { return value ? "true" : "false"; }
}  // namespace

std::string level_name(korrin::log::LogLevel level) {
  switch (level) {
    case korrin::log::critical: return "critical";
    case korrin::log::error: return "error";
    case korrin::log::warning: return "warning";
    case korrin::log::notice: return "notice";
    case korrin::log::info: return "info";
    case korrin::log::debug: return "debug";
  }
  return "level" + std::to_string(static_cast<int>(level));
}

// ---- log sink ---------------------------------------------------------------

void FakeLogSink::write_record(korrin::log::LogLevel level, const std::string& text) {
  calls_->note("log." + level_name(level) + "(" + text + ")");
  std::lock_guard<std::mutex> guard(mutex_);
  records_.push_back(LogRecord{level, text});
}

std::vector<LogRecord> FakeLogSink::records() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return records_;
}

std::vector<std::string> FakeLogSink::texts() const {
  std::vector<std::string> out;
  for (const auto& record : records()) {
    out.push_back(record.text);
  }
  return out;
}

std::vector<std::string> FakeLogSink::texts_containing(const std::string& needle) const {
  std::vector<std::string> out;
  for (const auto& record : records()) {
    if (record.text.find(needle) != std::string::npos) {
      out.push_back(record.text);
    }
  }
  return out;
}

void FakeLogSink::clear() {
  std::lock_guard<std::mutex> guard(mutex_);
  records_.clear();
}

// ---- network ----------------------------------------------------------------

void FakeNetwork::post(const korrin::dispatcher::RequestContext& request) {
  calls_->record("network.post", join_args({request.method, request.requester, request.url}));
  std::lock_guard<std::mutex> guard(mutex_);
  posts_.push_back(request);
}

int FakeNetwork::fetch(const korrin::dispatcher::RequestContext& request, std::string& response) {
  calls_->record("network.fetch", join_args({request.requester, request.url}));
  std::function<int(const korrin::dispatcher::RequestContext&, std::string&)> custom;
  std::pair<int, std::string> answer{default_status, std::string()};
  {
    std::lock_guard<std::mutex> guard(mutex_);
    fetches_.push_back(request);
    custom = on_fetch;
    if (!custom && !answers_.empty()) {
      answer = answers_.front();
      answers_.pop_front();
    }
  }
  if (custom) {
    return custom(request, response);
  }
  response = answer.second;
  return answer.first;
}

void FakeNetwork::queue_fetch_answer(int status, const std::string& document) {
  std::lock_guard<std::mutex> guard(mutex_);
  answers_.emplace_back(status, document);
}

std::vector<korrin::dispatcher::RequestContext> FakeNetwork::posts() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return posts_;
}

std::vector<korrin::dispatcher::RequestContext> FakeNetwork::fetches() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return fetches_;
}

// ---- device -----------------------------------------------------------------

void FakeDevice::note_locks() {
  if (FakeMutexFactory::held_by_this_thread() > 0) {
    ++calls_under_lock_;
  }
}

void FakeDevice::apply_setting(const std::string& accessory_id, const std::string& key,
                               int usage_id, const std::string& value) {
  note_locks();
  calls_->record("device.apply_setting",
                 join_args({accessory_id, key, std::to_string(usage_id), value}));
}

void FakeDevice::delegate_upgrade(const std::string& accessory_id) {
  note_locks();
  calls_->record("device.delegate_upgrade", accessory_id);
}

bool FakeDevice::request_firmware_upgrade(const std::string& accessory_id,
                                          const std::string& firmware_version,
                                          const std::string& firmware_name) {
  note_locks();
  calls_->record("device.request_firmware_upgrade",
                 join_args({accessory_id, firmware_version, firmware_name}));
  return upgrade_answer;
}

void FakeDevice::report_config_failure(const std::string& accessory_id, int code) {
  note_locks();
  calls_->record("device.report_config_failure", join_args({accessory_id, std::to_string(code)}));
}

void FakeDevice::report_config_pending(const std::string& accessory_id, int code) {
  note_locks();
  calls_->record("device.report_config_pending", join_args({accessory_id, std::to_string(code)}));
}

void FakeDevice::set_follow_user_config(int usage_id, bool follow) {
  note_locks();
  calls_->record("device.set_follow_user_config",
                 join_args({std::to_string(usage_id), flag(follow)}));
}

// ---- system information -----------------------------------------------------

std::string FakeSystemInfo::answer(const std::string& operation, const std::string& value,
                                   const std::string& args) {
  calls_->record("system_info." + operation, args);
  std::lock_guard<std::mutex> guard(mutex_);
  return value;
}

std::string FakeSystemInfo::get_client() { return answer("get_client", client); }
std::string FakeSystemInfo::get_device_name() { return answer("get_device_name", device_name); }
std::string FakeSystemInfo::get_serial_number() {
  return answer("get_serial_number", serial_number);
}
std::string FakeSystemInfo::get_model() { return answer("get_model", model); }
std::string FakeSystemInfo::get_firmware_version() {
  return answer("get_firmware_version", firmware_version);
}
std::string FakeSystemInfo::get_user_id() { return answer("get_user_id", user_id); }
std::string FakeSystemInfo::get_host_os_version() {
  return answer("get_host_os_version", host_os_version);
}
std::string FakeSystemInfo::get_config_url_template() {
  return answer("get_config_url_template", config_url_template);
}
std::string FakeSystemInfo::get_inventory_url() {
  return answer("get_inventory_url", inventory_url);
}
std::string FakeSystemInfo::get_config_server(int attempt) {
  std::string server;
  if (attempt >= 0 && static_cast<std::size_t>(attempt) < config_servers.size()) {
    server = config_servers[static_cast<std::size_t>(attempt)];
  }
  return answer("get_config_server", server, std::to_string(attempt));
}
std::vector<std::string> FakeSystemInfo::get_config_servers() {
  calls_->record("system_info.get_config_servers");
  std::lock_guard<std::mutex> guard(mutex_);
  return config_servers;
}

// ---- task dispatcher --------------------------------------------------------

void FakeTaskDispatcher::add_task(TaskFunction task, void* context,
                                  korrin::TaskParametersInterface* params) {
  calls_->record("task_dispatcher.add_task",
                 params == nullptr ? std::string("null")
                                   : "type=" + std::to_string(params->get_type()) +
                                         ", defer=" + std::to_string(params->get_defer_time()) +
                                         ", timeout=" + std::to_string(params->get_timeout()));
  QueuedTask queued;
  queued.function = task;
  queued.context = context;
  queued.params.reset(params == nullptr ? nullptr : params->clone());
  std::lock_guard<std::mutex> guard(mutex_);
  queue_.push_back(std::move(queued));
  schedule_locked(queue_.back());
}

std::size_t FakeTaskDispatcher::size() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return queue_.size();
}

const QueuedTask& FakeTaskDispatcher::at(std::size_t index) const {
  std::lock_guard<std::mutex> guard(mutex_);
  return queue_.at(index);
}

int FakeTaskDispatcher::run_next() {
  QueuedTask task;
  {
    std::lock_guard<std::mutex> guard(mutex_);
    if (queue_.empty()) {
      return 0;
    }
    task = std::move(queue_.front());
    queue_.pop_front();
  }
  return take_through_contract(task);
}

int FakeTaskDispatcher::take_through_contract(QueuedTask& task) {
  if (!task.params) {
    return korrin::TASK_DROP;
  }
  // Checked and run without the dispatcher's lock, so that the task may
  // queue further tasks.
  const int status = task.params->check_status();
  if (status == korrin::TASK_RUN) {
    task.function(task.context, task.params.get());
  } else if (status == korrin::TASK_DEFER) {
    std::lock_guard<std::mutex> guard(mutex_);
    queue_.push_back(std::move(task));
    schedule_locked(queue_.back());
  }
  return status;
}

int FakeTaskDispatcher::run_all(int max_checks) {
  int checks = 0;
  while (checks < max_checks && size() > 0) {
    run_next();
    ++checks;
  }
  return checks;
}

void FakeTaskDispatcher::schedule_locked(QueuedTask& task) {
  const int defer = task.params ? task.params->get_defer_time() : 0;
  task.due = now_ + (defer > 0 ? defer : 0);
}

long long FakeTaskDispatcher::now() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return now_;
}

long long FakeTaskDispatcher::next_due() const {
  std::lock_guard<std::mutex> guard(mutex_);
  long long earliest = -1;
  for (const QueuedTask& task : queue_) {
    if (earliest < 0 || task.due < earliest) {
      earliest = task.due;
    }
  }
  return earliest;
}

int FakeTaskDispatcher::advance(long long seconds, int max_checks) {
  long long until = 0;
  {
    std::lock_guard<std::mutex> guard(mutex_);
    until = now_ + (seconds > 0 ? seconds : 0);
  }
  int checks = 0;
  while (checks < max_checks) {
    QueuedTask task;
    {
      std::lock_guard<std::mutex> guard(mutex_);
      // The earliest due task; equal times keep their queue order.
      auto earliest = queue_.end();
      for (auto it = queue_.begin(); it != queue_.end(); ++it) {
        if (it->due <= until && (earliest == queue_.end() || it->due < earliest->due)) {
          earliest = it;
        }
      }
      if (earliest == queue_.end()) {
        now_ = until;
        break;
      }
      now_ = earliest->due > now_ ? earliest->due : now_;
      task = std::move(*earliest);
      queue_.erase(earliest);
    }
    ++checks;
    take_through_contract(task);
  }
  return checks;
}

void FakeTaskDispatcher::clear() {
  std::deque<QueuedTask> dropped;
  std::lock_guard<std::mutex> guard(mutex_);
  dropped.swap(queue_);
}

// ---- locks ------------------------------------------------------------------

void FakeMutex::lock() {
  calls_->record("mutex.lock", "#" + std::to_string(id_));
  mutex_.lock();
  int depth = 0;
  {
    std::lock_guard<std::mutex> guard(owner_mutex_);
    depth = ++depth_[std::this_thread::get_id()];
  }
  if (depth == 1) {
    ++locks_held_here;
  } else if (!recursive_) {
    ++*violations_;  // an ordinary lock taken twice by one thread would deadlock
  }
}

void FakeMutex::unlock() {
  calls_->record("mutex.unlock", "#" + std::to_string(id_));
  int depth = 0;
  {
    std::lock_guard<std::mutex> guard(owner_mutex_);
    auto found = depth_.find(std::this_thread::get_id());
    if (found == depth_.end() || found->second == 0) {
      ++*violations_;
      return;
    }
    depth = --found->second;
  }
  if (depth == 0) {
    --locks_held_here;
  }
  mutex_.unlock();
}

int FakeMutex::depth_here() const {
  std::lock_guard<std::mutex> guard(const_cast<std::mutex&>(owner_mutex_));
  auto found = depth_.find(std::this_thread::get_id());
  return found == depth_.end() ? 0 : found->second;
}

FakeMutexFactory::~FakeMutexFactory() = default;

korrin::MutexInterface* FakeMutexFactory::create_mutex(bool recursive) {
  std::lock_guard<std::mutex> guard(mutex_);
  const int id = next_id_;
  calls_->record("mutex_factory.create_mutex", recursive ? "1" : "0", "#" + std::to_string(id));
  ++next_id_;
  auto mutex = std::make_unique<FakeMutex>(id, recursive, calls_, &violations_);
  korrin::MutexInterface* raw = mutex.get();
  live_[raw] = std::move(mutex);
  ++created_;
  return raw;
}

void FakeMutexFactory::destroy_mutex(korrin::MutexInterface* mutex) {
  std::lock_guard<std::mutex> guard(mutex_);
  auto found = live_.find(mutex);
  if (found == live_.end()) {
    calls_->record("mutex_factory.destroy_mutex", "unknown");
    ++violations_;
    return;
  }
  calls_->record("mutex_factory.destroy_mutex", "#" + std::to_string(found->second->id()));
  live_.erase(found);
  ++destroyed_;
}

int FakeMutexFactory::held_by_this_thread() { return locks_held_here; }

// ---- accessory --------------------------------------------------------------

std::atomic<int> FakeAccessory::live_{0};

FakeAccessory::FakeAccessory(const AccessoryData& data, CallLog* calls)
    : data_(std::make_shared<AccessoryData>(data)), calls_(calls) {
  ++live_;
}

FakeAccessory::FakeAccessory(const FakeAccessory& other)
    : korrin::AccessoryInfoInterface(), data_(other.data_), calls_(other.calls_) {
  ++live_;
}

FakeAccessory::~FakeAccessory() { --live_; }

int FakeAccessory::live() { return live_; }

void FakeAccessory::note(const std::string& operation) const {
  if (calls_ != nullptr) {
    calls_->record("accessory." + operation);
  }
}

int FakeAccessory::get_accessory_type() const {
  note("get_accessory_type");
  return data_->type;
}
korrin::AccessoryInfoInterface* FakeAccessory::clone() const {
  note("clone");
  return new FakeAccessory(*this);
}
std::string FakeAccessory::get_vendor(korrin::SystemInfoInterface* /*system_info*/) const {
  note("get_vendor");
  return data_->vendor;
}
std::string FakeAccessory::get_model() const {
  note("get_model");
  return data_->model;
}
std::string FakeAccessory::get_serial_number(korrin::SystemInfoInterface* /*system_info*/) const {
  note("get_serial_number");
  return data_->serial_number;
}
std::string FakeAccessory::get_firmware_version() const {
  note("get_firmware_version");
  return data_->firmware_version;
}
std::string FakeAccessory::get_dock_serial_number() const {
  note("get_dock_serial_number");
  return data_->dock_serial_number;
}
std::string FakeAccessory::get_dock_model() const {
  note("get_dock_model");
  return data_->dock_model;
}
std::string FakeAccessory::get_dongle_model() const {
  note("get_dongle_model");
  return data_->dongle_model;
}
std::string FakeAccessory::get_dongle_firmware_version() const {
  note("get_dongle_firmware_version");
  return data_->dongle_firmware_version;
}
std::string FakeAccessory::get_connection_type() const {
  note("get_connection_type");
  return data_->connection_type;
}
std::string FakeAccessory::get_connection_status() const {
  note("get_connection_status");
  return data_->connection_status;
}
bool FakeAccessory::is_inventory_ready() const {
  note("is_inventory_ready");
  return data_->inventory_ready;
}
bool FakeAccessory::is_config_ready() const {
  note("is_config_ready");
  return data_->config_ready;
}
bool FakeAccessory::is_vendor_headset() const {
  note("is_vendor_headset");
  return data_->vendor_headset;
}

// ---- host -------------------------------------------------------------------

FakeHost::FakeHost() = default;

korrin::Plugins FakeHost::table() {
  korrin::Plugins plugins;
  plugins.log = &log;
  plugins.network = &network;
  plugins.device = &device;
  plugins.system_info = &system_info;
  plugins.task_dispatcher = &dispatcher;
  plugins.mutex_factory = &mutexes;
  return plugins;
}

void FakeHost::install() {
  korrin::Plugins plugins = table();
  korrin::init(plugins);
}

std::unique_ptr<FakeAccessory> FakeHost::accessory(const AccessoryData& data) {
  return std::make_unique<FakeAccessory>(data, &calls);
}

void uninstall_plugins() { korrin::globals::plugins = korrin::Plugins(); }

}  // namespace testing
}  // namespace korrin
