// An inventory metric's lifetime and the two halves of sending: queuing on
// the caller's thread, building and posting on the dispatcher's thread.
#include "korrin/compat/inventory_metric.h"

#include <memory>
#include <stdexcept>

#include "base/plugins_check.h"
#include "korrin/compat/constants.h"
#include "metrics/inventory_words.h"

namespace korrin {
namespace metrics {

namespace {

using LoggerHandle = std::unique_ptr<korrin::log::Logger, void (*)(korrin::log::Logger*)>;
using MetricHandle = std::unique_ptr<MetricsInterface, void (*)(MetricsInterface*)>;

}  // namespace

MetricsInterface::~MetricsInterface() = default;

InventoryMetric::InventoryMetric(const korrin::AccessoryInfoInterface* given,
                                 const std::string& logger_name)
    : accessory(given == nullptr ? nullptr : given->clone()), logger(nullptr) {
  if (!korrin::detail::plugins_complete(korrin::globals::plugins)) {
    // The destructor does not run for a half-built object: release the clone here.
    delete accessory;
    accessory = nullptr;
    // Kept as written (not init()'s wording): hosts match on the exception text.
    throw std::runtime_error("plugins hasn't been initialized properly");
  }
  logger = create_logger(korrin::globals::plugins.log, logger_name, true);
}

InventoryMetric::~InventoryMetric() {
  delete_logger(logger);
  logger = nullptr;
  delete accessory;
}

bool InventoryMetric::send() {
  logger->notice() << "send: Enter";
  // The dispatcher keeps its own clone of these parameters, so the task needs
  // neither this object nor the stack copy once add_task returns.
  SendMetricsParams params(accessory == nullptr ? nullptr : accessory->clone(), 0,
                           detail::kSendTimeoutSeconds);
  korrin::globals::plugins.task_dispatcher->add_task(&korrin::task_forwarder, this, &params);
  return true;
}

bool InventoryMetric::send_metric(korrin::TaskParametersInterface* params) {
  // Released on every way out, including an exception from the factory.
  LoggerHandle task_logger(
      create_logger(korrin::globals::plugins.log, detail::kTaskLoggerName, true), &delete_logger);
  task_logger->info() << "send_metric" << ERR_LIB << ": ENTER";
  // Only this library's inventory parameters carry an accessory; anything
  // else under the inventory type is treated as having no parameters.
  auto* send_params = dynamic_cast<SendMetricsParams*>(params);
  if (send_params == nullptr) {
    task_logger->error() << "send_metric" << ERR_LIB << ": no task parameters";
    return false;
  }
  task_logger->info() << "send_metric" << ERR_LIB << ": metric param cast done";

  // The factory's exceptions (unsupported accessory type) leave this function.
  MetricHandle created(create_metric(send_params->accessory), &delete_metric);
  auto* metric = dynamic_cast<InventoryMetric*>(created.get());
  if (metric == nullptr) {
    task_logger->info() << "send_metric" << ERR_LIB << ": metric IS NULL";
    return false;
  }
  task_logger->info() << "send_metric" << ERR_LIB << ": metric object created";
  const bool result = metric->send_task(params);
  task_logger->info() << "send_metric" << ERR_LIB << ": metric sent";
  return result;
}

bool InventoryMetric::send_task(korrin::TaskParametersInterface* /*params*/) {
  logger->info() << "send_task: Enter";
  const std::string document = assemble_metrics();
  if (document.empty()) {
    logger->warning() << "send_task: building metrics failed";
    return false;
  }
  korrin::dispatcher::RequestContext request;
  request.requester = detail::kRequester;
  // An empty URL is posted all the same: refusing it is the host's decision.
  request.url = get_post_url();
  request.body = document;
  request.method = detail::kPostMethod;
  korrin::globals::plugins.network->post(request);
  return true;
}

std::string InventoryMetric::get_inventory_accessory_key() { return KEY_HEADSET; }

}  // namespace metrics
}  // namespace korrin
