// The configure flow: one request at a time fetches the configuration
// document and hands it to every accessory waiting for it; a fetch the host
// reports as failed is retried twice after a random back-off.
#include <cstdlib>
#include <ctime>
#include <string>

#include "base/scoped_lock.h"
#include "korrin/compat/config_manager_impl.h"

namespace korrin {
namespace config {

namespace {

constexpr int kTaskTimeoutSeconds = 60;
// A retry waits kRetryMinimumSeconds plus 0..kRetrySpreadSeconds.
constexpr unsigned kRetryMinimumSeconds = 30;
constexpr unsigned kRetrySpreadSeconds = 10;
// Attempts after the first one before a request is abandoned.
constexpr int kMaximumRetries = 2;
// Codes passed with the outcome reports to the device interface.
constexpr int kReportFailure = 1;
constexpr int kReportPending = 2;
const char kRequester[] = "CONFIGMGR";

// Hands a configure task to the host's dispatcher, which keeps its own clone
// of `params`. A retry (the clone's counter above 0) backs off 30 to 40 s.
void add_configure_task(ConfigManagerImpl* manager, ConfigAccessoryParams& params) {
  if (params.config_ != nullptr && params.config_->get_config_retries() > 0) {
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    params.defer_time_ = static_cast<int>(
        kRetryMinimumSeconds + static_cast<unsigned>(std::rand()) % (kRetrySpreadSeconds + 1));
  }
  globals::plugins.task_dispatcher->add_task(task_forwarder, manager, &params);
}

}  // namespace

bool ConfigManagerImpl::configure_accessory(const std::string& id, std::string time) {
  logger_->notice() << "configure_accessory: ENTER";
  ConfigInterface* config = get_config_object(id);
  // Kept as written, no blank before the id: hosts match on this record.
  logger_->notice() << "configure_accessory:" << id;
  if (config == nullptr) {
    logger_->notice() << "configure_accessory: can't configure uninitialized accessory!";
    return false;
  }
  // Always pending, even when not required itself: the next document fetched
  // for anyone updates it too.
  mark_config_object_pending(config);
  if (!config->is_config_required(time)) {
    logger_->notice() << "configure_accessory: Config not required.";
    return false;
  }
  if (!time.empty()) {
    // A new configuration version concerns every accessory: one fetch serves all.
    detail::ScopedLock guard(config_lock_);
    for (const auto& entry : config_objects_) {
      mark_config_object_pending(entry.second);
    }
    logger_->notice() << "configure_accessory for " << get_number_of_pending_configs()
                      << "accessories";
  }
  if (is_configure_accessory_pending()) {
    logger_->notice()
        << "configure_accessory: previous configure_accessory is in progress, ignore this one";
    return true;
  }
  set_configure_accessory_pending(true);
  ConfigAccessoryParams params(config->clone(), 0, kTaskTimeoutSeconds);
  add_configure_task(this, params);
  logger_->notice() << "configure_accessory: added async task";
  return true;  // our clone goes with `params`
}

void ConfigManagerImpl::queue_configure_task(ConfigInterface* config) {
  ConfigAccessoryParams params(config->clone(), 0, kTaskTimeoutSeconds);
  add_configure_task(this, params);
}

void ConfigManagerImpl::configure_accessory_task(TaskParametersInterface* params) {
  if (params == nullptr) {
    logger_->error() << "configure_accessory_task: no task parameters";
    return;
  }
  auto* task = dynamic_cast<ConfigAccessoryParams*>(params);
  ConfigInterface* config = task == nullptr ? nullptr : task->config_;
  if (config == nullptr) {
    clean_up_pending_config_requests();
    return;
  }
  // With several accessories waiting, the empty id stands for all of them.
  std::string id;
  const int pending = get_number_of_pending_configs();
  if (pending > 1) {
    logger_->notice() << "configure_accessory_task" << pending << " pending accessories";
  } else {
    id = config->get_accessory_id();
    // Kept as written, no blank before the id: hosts match on this record.
    logger_->notice() << "configure_accessory_task id:" << id;
  }
  // The task's own copy counts the attempt; its counter picks the server.
  const std::string url = config->get_config_url();
  config->set_config_retries(config->get_config_retries() + 1);

  std::string response;
  switch (fetch_config(url, response)) {
    case dispatcher::FETCH_DONE: on_fetch_config_success(response); break;
    case dispatcher::FETCH_UNAVAILABLE:
      logger_->notice() << "configure_accessory_task: currently unable to fetch config";
      globals::plugins.device->report_config_failure(id, kReportFailure);
      clean_up_pending_config_requests();
      break;
    case dispatcher::FETCH_PENDING:
      // The host completes the request through on_fetch_config_success/_failure.
      logger_->notice() << "configure_accessory_task: pending fetch config";
      globals::plugins.device->report_config_pending(id, kReportPending);
      break;
    default:
      logger_->notice() << "configure_accessory_task: unknown status from fetch_config";
      clean_up_pending_config_requests();
      break;
  }
}

int ConfigManagerImpl::fetch_config(const std::string& url, std::string& response) {
  dispatcher::RequestContext request;
  request.url = url;
  request.requester = kRequester;
  return globals::plugins.network->fetch(request, response);
}

bool ConfigManagerImpl::on_fetch_config_success(std::string& data) {
  if (!is_configure_accessory_pending()) {
    logger_->error() << "on_fetch_config_success: no configuration in progress, dropping data";
    return false;
  }
  {
    detail::ScopedLock guard(config_lock_);
    for (ConfigInterface* config : pending_configs_) {
      if (config == nullptr) {
        logger_->error() << "on_fetch_config_success: No pending config object";
        continue;
      }
      // One accessory rejecting the document does not stop the others.
      if (!config->update_from_server(data)) {
        logger_->error()
            << "on_fetch_config_success: unable to update config retrieved from server in library";
        globals::plugins.device->report_config_failure(config->get_accessory_id(), kReportFailure);
      }
    }
  }
  clean_up_pending_config_requests();
  // Kept as written, no separator before "Exit": hosts match on this record.
  logger_->notice() << "on_fetch_config_successExit";
  return true;
}

bool ConfigManagerImpl::on_fetch_config_failure(int reason) {
  logger_->notice() << "on_fetch_config_failure reason code: " << reason;
  if (!is_configure_accessory_pending()) {
    logger_->error() << "on_fetch_config_failure: no configuration in progress, dropping data";
    return false;
  }
  // The registered object counts the attempts of the request.
  ConfigInterface* config = get_pending_config_object(0);
  if (config == nullptr) {
    clean_up_pending_config_requests();
    return false;
  }
  const int retries = config->get_config_retries() + 1;
  config->set_config_retries(retries);
  if (retries > kMaximumRetries) {
    // Kept as written, blank before the colon: hosts match on this record.
    logger_->error() << "on_fetch_config_failure : retry limit reached, abort";
    clean_up_pending_config_requests();
    return false;
  }
  queue_configure_task(config);
  return true;
}

void ConfigManagerImpl::clean_up_pending_config_requests() {
  logger_->notice() << "clean_up_pending_config_requests: ENTER";
  set_configure_accessory_pending(false);
  detail::ScopedLock guard(config_lock_);
  for (ConfigInterface* config : pending_configs_) {
    if (config != nullptr) {
      config->set_config_retries(0);
    }
  }
  pending_configs_.clear();
}

}  // namespace config
}  // namespace korrin
