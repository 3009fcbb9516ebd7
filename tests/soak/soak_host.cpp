#include "soak_host.h"

namespace korrin_soak {

void CountingSink::write_record(korrin::log::LogLevel level, const std::string& /*text*/) {
  ++records;
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
  ++settings;
}
void CountingDevice::delegate_upgrade(const std::string& /*accessory_id*/) { ++upgrades; }
bool CountingDevice::request_firmware_upgrade(const std::string& /*accessory_id*/,
                                              const std::string& /*firmware_version*/,
                                              const std::string& /*firmware_name*/) {
  ++upgrades;
  return true;
}
void CountingDevice::report_config_failure(const std::string& /*accessory_id*/, int /*code*/) {
  ++failures;
}
void CountingDevice::report_config_pending(const std::string& /*accessory_id*/, int /*code*/) {
  ++pending;
}
void CountingDevice::set_follow_user_config(int /*usage_id*/, bool /*follow*/) {}

std::string FixedSystemInfo::get_config_server(int attempt) {
  return attempt >= 0 && attempt < 3 ? "10.0.0." + std::to_string(5 + attempt) : std::string();
}

std::vector<std::string> FixedSystemInfo::get_config_servers() {
  return {"10.0.0.5", "10.0.0.6", "10.0.0.7"};
}

void DrainedDispatcher::add_task(TaskFunction task, void* context,
                                 korrin::TaskParametersInterface* params) {
  Entry entry;
  entry.function = task;
  entry.context = context;
  entry.params.reset(params == nullptr ? nullptr : params->clone());
  queue_.push_back(std::move(entry));
}

int DrainedDispatcher::run_all() {
  int run = 0;
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

korrin::MutexInterface* StdMutexFactory::create_mutex(bool recursive) {
  ++live;
  if (recursive) {
    return new StdRecursiveMutex();
  }
  return new StdMutex();
}

void StdMutexFactory::destroy_mutex(korrin::MutexInterface* mutex) {
  if (mutex != nullptr) {
    --live;
  }
  delete mutex;
}

void SoakHost::install() {
  korrin::Plugins table;
  table.log = &log;
  table.network = &network;
  table.device = &device;
  table.system_info = &system_info;
  table.task_dispatcher = &dispatcher;
  table.mutex_factory = &mutexes;
  korrin::init(table);
}

}  // namespace korrin_soak
