#include "run.h"

#include <cjson/cJSON.h>

#include <chrono>
#include <cmath>
#include <fstream>
#include <iomanip>
#include <limits>
#include <memory>
#include <sstream>
#include <thread>

#include "interrupt.h"
#include "korrin/config_manager.h"
#include "korrin/host/lock_factory.h"
#include "korrin/host/log_sink.h"
#include "korrin/metrics.h"
#include "korrin/plugins.h"
#include "korrin_host/input_files.h"
#include "korrin_host/json_input.h"
#include "korrin_host/system_info.h"

namespace korrin_host {

namespace {

using Clock = std::chrono::steady_clock;
using korrin::host::ConfigManagerListener;
using korrin::host::DispatcherOptions;
using korrin::host::LockFactory;
using korrin::host::LogSink;
using korrin::host::LogSinkOptions;
using korrin::host::Network;
using korrin::host::NetworkOptions;
using korrin::host::TaskDispatcher;

long milliseconds_of(double seconds) { return std::lround(seconds * 1000.0); }

std::string join(const std::vector<std::string>& parts, const std::string& separator) {
  std::string text;
  for (const std::string& part : parts) {
    text += (text.empty() ? "" : separator) + part;
  }
  return text;
}

// Everything that can still produce work: when none of it moved between two
// looks and all of it was idle in between, the run has nothing left to do.
struct Activity {
  std::uint64_t tasks = 0;
  std::uint64_t transfers = 0;
  std::uint64_t device_calls = 0;
  bool operator==(const Activity& other) const {
    return tasks == other.tasks && transfers == other.transfers &&
           device_calls == other.device_calls;
  }
};

Activity activity_of(const TaskDispatcher& dispatcher, const Network& network,
                     const DeviceStore& device) {
  return Activity{dispatcher.stats().accepted, network.activity(), device.activity()};
}

std::string describe_transfer(const TransferRecord& record) {
  std::ostringstream text;
  text << record.kind << " " << record.url << ": ";
  if (record.cancelled) {
    text << record.error;
  } else if (record.ok) {
    if (record.status != 0) {
      text << "HTTP " << record.status << ", ";
    }
    text << record.bytes << " bytes";
  } else {
    text << "failed: " << record.error;
  }
  return text.str();
}

// Decides each accessory's status and the run's problems from what the
// components recorded.
void evaluate(RunReport& report) {
  std::vector<const TransferRecord*> failed_fetches;
  bool abandoned = false;
  for (const TransferRecord& record : report.transfers) {
    if (record.kind != "fetch" || record.cancelled) {
      continue;
    }
    if (!record.ok) {
      failed_fetches.push_back(&record);
      // The manager answers false to a failure when it gives the request up.
      abandoned = abandoned || (record.listener_called && !record.listener_answer);
    }
  }
  std::string fetch_trouble;
  if (abandoned) {
    fetch_trouble =
        "the configuration server could not be reached: " + std::to_string(failed_fetches.size()) +
        " attempt(s) failed and the library gave up; last " +
        describe_transfer(*failed_fetches.back());
  } else if (!failed_fetches.empty()) {
    fetch_trouble = "the configuration fetch failed " + std::to_string(failed_fetches.size()) +
                    " time(s); last " + describe_transfer(*failed_fetches.back());
  }
  bool any_failed = false;
  for (AccessoryOutcome& outcome : report.accessories) {
    const std::string& id = outcome.facts.id;
    for (const TransferRecord& record : report.transfers) {
      if (record.kind == "post" && !record.cancelled && !outcome.facts.serial_number.empty() &&
          inventory_serial_number(record.body) == outcome.facts.serial_number) {
        outcome.inventory_posts.push_back(record);
      }
    }
    if (!outcome.queued) {
      outcome.status = "not configured: the library queued no configure request (" +
                       accessory_type_name(outcome.facts.type) + ")";
    } else if (!outcome.device.config_failures.empty()) {
      outcome.status = "failed: configuration failure reported (code " +
                       join_codes(outcome.device.config_failures) + ")";
    } else if (!report.every_waiting.config_failures.empty()) {
      outcome.status = "failed: configuration failure reported for every waiting accessory";
    } else if (abandoned) {
      outcome.status = "failed: the configuration document could not be fetched";
    } else if (report.timed_out || report.interrupted) {
      outcome.status = "waiting: the configure request had not ended";
    } else {
      outcome.status = "configured";
      outcome.ok = true;
    }
    if (!outcome.ok) {
      any_failed = true;
      report.problems.push_back(id + ": " + outcome.status);
    }
    if (!outcome.inventory_error.empty()) {
      report.problems.push_back(id + ": inventory not sent: " + outcome.inventory_error);
    }
    for (const TransferRecord& post : outcome.inventory_posts) {
      if (!post.ok) {
        report.problems.push_back(id + ": inventory " + describe_transfer(post));
      }
    }
    if (outcome.inventory_queued && outcome.inventory_posts.empty() && !report.timed_out &&
        !report.interrupted) {
      report.problems.push_back(id + ": inventory was queued but never posted");
    }
  }
  if (!fetch_trouble.empty()) {
    // The server's failure explains the accessories' failures: it goes first.
    if (any_failed) {
      report.problems.insert(report.problems.begin(), fetch_trouble);
    } else {
      report.notes.push_back(fetch_trouble);
    }
  }
  if (report.locks_alive != 0) {
    report.problems.push_back("the library left " + std::to_string(report.locks_alive) +
                              " lock(s) undestroyed");
  }
  if (report.accessory_copies_alive != 0) {
    report.problems.push_back("the library left " + std::to_string(report.accessory_copies_alive) +
                              " accessory description copies undeleted");
  }
  if (report.interrupted) {
    report.exit_status = kExitInterrupted;
  } else if (report.timed_out) {
    report.exit_status = kExitTimeout;
  } else if (!report.problems.empty()) {
    report.exit_status = kExitFailure;
  }
}

cJSON* transfer_to_json(const TransferRecord& record) {
  cJSON* item = cJSON_CreateObject();
  cJSON_AddStringToObject(item, "kind", record.kind.c_str());
  cJSON_AddStringToObject(item, "url", record.url.c_str());
  cJSON_AddStringToObject(item, "requester", record.requester.c_str());
  cJSON_AddBoolToObject(item, "ok", record.ok);
  cJSON_AddNumberToObject(item, "status", static_cast<double>(record.status));
  cJSON_AddNumberToObject(item, "transportCode", record.transport_code);
  cJSON_AddStringToObject(item, "error", record.error.c_str());
  cJSON_AddNumberToObject(item, "bytes", static_cast<double>(record.bytes));
  cJSON_AddNumberToObject(item, "startedSeconds", record.started_s);
  cJSON_AddNumberToObject(item, "durationSeconds", record.duration_s);
  cJSON_AddBoolToObject(item, "delivered", record.listener_called);
  cJSON_AddBoolToObject(item, "deliveryAnswer", record.listener_answer);
  cJSON_AddBoolToObject(item, "cancelled", record.cancelled);
  if (record.kind == "post") {
    cJSON_AddStringToObject(item, "body", record.body.c_str());
  }
  return item;
}

cJSON* strings_to_json(const std::vector<std::string>& values) {
  cJSON* array = cJSON_CreateArray();
  for (const std::string& value : values) {
    cJSON_AddItemToArray(array, cJSON_CreateString(value.c_str()));
  }
  return array;
}

}  // namespace

std::chrono::steady_clock::duration task_second(double time_scale) {
  return std::chrono::duration_cast<Clock::duration>(
      std::chrono::duration<double>(time_scale > 0 ? time_scale : 1.0));
}

std::string inventory_serial_number(const std::string& document) {
  cJSON* root = cJSON_Parse(document.c_str());
  std::string serial;
  const cJSON* value = cJSON_GetObjectItemCaseSensitive(root, "value");
  const cJSON* headset = cJSON_GetObjectItemCaseSensitive(value, "headset");
  const cJSON* number = cJSON_GetObjectItemCaseSensitive(headset, "serialNumber");
  if (cJSON_IsString(number)) {
    serial = number->valuestring;
  }
  cJSON_Delete(root);
  return serial;
}

RunReport run_host(const RunOptions& options, std::ostream& log_stream) {
  RunReport report;
  const Clock::time_point started = Clock::now();
  HostFacts facts;
  std::vector<AccessoryFacts> accessory_facts;
  try {
    facts = load_host_facts(options.host_file);
    accessory_facts = load_accessories(options.accessories_file);
    if (!options.ca_file.empty()) {
      read_text_file(options.ca_file);
    }
  } catch (const InputError& error) {
    report.exit_status = kExitBadInput;
    report.problems.push_back(error.what());
    return report;
  }
  if (options.config_url_given) {
    facts.config_url_template = options.config_url;
  }
  if (options.inventory_url_given) {
    facts.inventory_url = options.inventory_url;
  }
  if (!options.config_servers.empty()) {
    facts.config_servers = options.config_servers;
  }
  report.config_url_template = facts.config_url_template;
  report.inventory_url = facts.inventory_url;
  const int accessories_before = Accessory::live();

  // The host objects; they outlive the manager (deleted below, before them).
  LogSinkOptions log_options;
  log_options.max_level = options.log_level;
  log_options.syslog = options.syslog;
  log_options.syslog_ident = "korrin-host";
  LogSink sink(log_options, log_stream);
  korrin::host::LockFactoryOptions lock_options;
  lock_options.log = &sink;
  LockFactory locks(lock_options);
  DeviceStore device(options.firmware_answer);
  SystemInfo system_info(facts);
  NetworkOptions network_options;
  network_options.connect_timeout_ms = milliseconds_of(options.connect_timeout_s);
  network_options.transfer_timeout_ms = milliseconds_of(options.transfer_timeout_s);
  network_options.ca_file = options.ca_file;
  network_options.sync_fetch = options.sync_fetch;
  // The report lists every transfer of the run.
  network_options.history = std::numeric_limits<std::size_t>::max();
  network_options.log = &sink;
  Network network(network_options);
  DispatcherOptions dispatcher_options;
  // --time-scale shortens every task wait (0.01: a 30 s back-off takes 0.3 s).
  dispatcher_options.second = task_second(options.time_scale);
  dispatcher_options.log = &sink;
  TaskDispatcher dispatcher(dispatcher_options);
  korrin::log::Logger* logger = create_logger(&sink, "Host::Run", true);

  korrin::Plugins table{&sink, &network, &device, &system_info, &dispatcher, &locks};
  korrin::init(table);
  korrin::config::ConfigManager* manager = korrin::config::create_config_manager();
  korrin::config::ConfigManagerImpl* manager_state =
      korrin::config::ConfigManagerImpl::get_instance();
  ConfigManagerListener listener(manager);
  network.set_listener(&listener);

  // The accessories present at start are connected while the dispatcher
  // holds its tasks, so that their configure requests share one fetch.
  dispatcher.pause();
  std::vector<std::unique_ptr<Accessory>> connected;
  for (const AccessoryFacts& accessory : accessory_facts) {
    connected.push_back(std::make_unique<Accessory>(
        std::make_shared<const AccessoryFacts>(accessory), Clock::now(), options.time_scale));
    AccessoryOutcome outcome;
    outcome.facts = accessory;
    outcome.queued = !manager->initialize_accessory(accessory.id, connected.back().get()).empty();
    logger->notice() << "connect: " << accessory.id << " (" << accessory_type_name(accessory.type)
                     << "): "
                     << (outcome.queued ? "configure request queued" : "no configure request");
    if (options.send_inventory) {
      try {
        korrin::metrics::MetricsInterface* metric = create_metric(connected.back().get());
        metric->send();
        delete_metric(metric);
        outcome.inventory_queued = true;
      } catch (const std::exception& error) {
        outcome.inventory_error = std::string("the library refused it: ") + error.what();
      }
    }
    report.accessories.push_back(outcome);
  }
  dispatcher.resume();

  const Clock::time_point deadline =
      started +
      std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(options.timeout_s));
  while (true) {
    const Activity before = activity_of(dispatcher, network, device);
    const bool quiet =
        dispatcher.idle() && network.idle() && !manager_state->is_configure_accessory_pending();
    if (quiet && before == activity_of(dispatcher, network, device)) {
      break;
    }
    if (interrupt_requested()) {
      report.interrupted = true;
      report.problems.push_back("interrupted; shutting down");
      break;
    }
    if (Clock::now() >= deadline) {
      std::vector<std::string> waiting;
      if (manager_state->is_configure_accessory_pending()) {
        waiting.push_back("a configure request in progress");
      }
      if (!dispatcher.idle()) {
        waiting.push_back(std::to_string(dispatcher.queued()) + " queued task(s)");
      }
      if (!network.idle()) {
        waiting.push_back("a network transfer");
      }
      std::ostringstream message;
      message << "timed out after " << options.timeout_s << " s waiting for "
              << (waiting.empty() ? std::string("the run to settle") : join(waiting, ", "));
      report.timed_out = true;
      report.problems.push_back(message.str());
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }

  // Shut-down: no fetch outcome may arrive and no task may run once the
  // manager is gone; the host objects go last. The network stops first so
  // that a task blocked in a synchronous fetch is released at once (the
  // library takes the aborted fetch as "cannot fetch now").
  logger->notice() << "shutdown: stopping the network and the dispatcher";
  network.stop();
  dispatcher.stop();
  korrin::config::delete_config_manager();
  network.set_listener(nullptr);

  report.transfers = network.records();
  report.config_server_requests = system_info.config_server_requests();
  report.dispatcher = dispatcher.stats();
  report.follow_user = device.follow_user();
  report.every_waiting = device.record("");
  for (AccessoryOutcome& outcome : report.accessories) {
    outcome.device = device.record(outcome.facts.id);
  }
  cJSON* device_json = device.to_json();
  char* printed = cJSON_Print(device_json);
  report.device_json = printed != nullptr ? printed : "{}";
  cJSON_free(printed);
  cJSON_Delete(device_json);
  report.locks_alive = locks.live();
  connected.clear();
  report.accessory_copies_alive = Accessory::live() - accessories_before;
  delete_logger(logger);
  report.seconds = std::chrono::duration<double>(Clock::now() - started).count();
  evaluate(report);
  return report;
}

std::string format_run_report(const RunReport& report) {
  std::ostringstream out;
  out << "korrin-host run: " << report.accessories.size() << " accessories, " << std::fixed
      << std::setprecision(2) << report.seconds << " s\n";
  for (const AccessoryOutcome& outcome : report.accessories) {
    const AccessoryFacts& facts = outcome.facts;
    out << "  " << facts.id << " (" << accessory_type_name(facts.type) << " " << facts.model
        << ", serial " << facts.serial_number << ", firmware " << facts.firmware_version
        << "): " << outcome.status << "\n";
    out << format_settings_and_firmware(outcome.device, "    ");
    out << "    inventory: ";
    if (!outcome.inventory_error.empty()) {
      out << "not sent: " << outcome.inventory_error << "\n";
    } else if (outcome.inventory_posts.empty()) {
      out << (outcome.inventory_queued ? "not posted" : "not sent") << "\n";
    } else {
      std::vector<std::string> posts;
      for (const TransferRecord& post : outcome.inventory_posts) {
        posts.push_back(describe_transfer(post));
      }
      out << join(posts, "; ") << "\n";
    }
  }
  if (!report.every_waiting.config_failures.empty() ||
      !report.every_waiting.config_pending.empty()) {
    out << "  reports for every waiting accessory:";
    if (!report.every_waiting.config_failures.empty()) {
      out << " failure (code " << join_codes(report.every_waiting.config_failures) << ")";
    }
    if (!report.every_waiting.config_pending.empty()) {
      out << " pending (code " << join_codes(report.every_waiting.config_pending) << ")";
    }
    out << "\n";
  }
  out << "  follow-user flags: " << describe_follow_user(report.follow_user) << "\n";
  out << "  transfers:";
  if (report.transfers.empty()) {
    out << " none";
  }
  out << "\n";
  for (const TransferRecord& record : report.transfers) {
    out << "    " << describe_transfer(record) << "\n";
  }
  std::vector<std::string> attempts;
  for (const int attempt : report.config_server_requests) {
    attempts.push_back(std::to_string(attempt));
  }
  out << "  configuration server asked for attempt(s): "
      << (attempts.empty() ? std::string("none") : join(attempts, ", ")) << "\n";
  out << "  dispatcher: " << report.dispatcher.accepted << " task(s) queued, "
      << report.dispatcher.ran << " run, " << report.dispatcher.deferred << " deferred, "
      << report.dispatcher.dropped << " dropped, " << report.dispatcher.overruns << " overrun(s)\n";
  for (const std::string& note : report.notes) {
    out << "  note: " << note << "\n";
  }
  out << format_result(report);
  return out.str();
}

std::string format_result(const RunReport& report) {
  if (report.problems.empty()) {
    return "Result: success\n";
  }
  std::string text = "Result: failed (exit status " + std::to_string(report.exit_status) + ")\n";
  for (const std::string& problem : report.problems) {
    text += "  - " + problem + "\n";
  }
  return text;
}

cJSON* run_report_to_json(const RunReport& report) {
  cJSON* root = cJSON_CreateObject();
  cJSON_AddNumberToObject(root, "exitStatus", report.exit_status);
  cJSON_AddBoolToObject(root, "ok", report.exit_status == kExitSuccess);
  cJSON_AddItemToObject(root, "problems", strings_to_json(report.problems));
  cJSON_AddItemToObject(root, "notes", strings_to_json(report.notes));
  cJSON_AddNumberToObject(root, "seconds", report.seconds);
  cJSON_AddBoolToObject(root, "timedOut", report.timed_out);
  cJSON_AddBoolToObject(root, "interrupted", report.interrupted);
  cJSON_AddStringToObject(root, "configUrlTemplate", report.config_url_template.c_str());
  cJSON_AddStringToObject(root, "inventoryUrl", report.inventory_url.c_str());
  cJSON* accessories = cJSON_AddArrayToObject(root, "accessories");
  for (const AccessoryOutcome& outcome : report.accessories) {
    cJSON* item = cJSON_CreateObject();
    cJSON_AddStringToObject(item, "id", outcome.facts.id.c_str());
    cJSON_AddNumberToObject(item, "type", outcome.facts.type);
    cJSON_AddStringToObject(item, "model", outcome.facts.model.c_str());
    cJSON_AddStringToObject(item, "serialNumber", outcome.facts.serial_number.c_str());
    cJSON_AddBoolToObject(item, "queued", outcome.queued);
    cJSON_AddBoolToObject(item, "ok", outcome.ok);
    cJSON_AddStringToObject(item, "status", outcome.status.c_str());
    cJSON_AddStringToObject(item, "firmware", describe_firmware(outcome.device).c_str());
    cJSON_AddBoolToObject(item, "inventoryQueued", outcome.inventory_queued);
    cJSON_AddStringToObject(item, "inventoryError", outcome.inventory_error.c_str());
    cJSON* posts = cJSON_AddArrayToObject(item, "inventoryPosts");
    for (const TransferRecord& post : outcome.inventory_posts) {
      cJSON_AddItemToArray(posts, transfer_to_json(post));
    }
    cJSON_AddItemToArray(accessories, item);
  }
  cJSON* device = cJSON_Parse(report.device_json.c_str());
  cJSON_AddItemToObject(root, "device", device != nullptr ? device : cJSON_CreateObject());
  cJSON* transfers = cJSON_AddArrayToObject(root, "transfers");
  for (const TransferRecord& record : report.transfers) {
    cJSON_AddItemToArray(transfers, transfer_to_json(record));
  }
  cJSON* attempts = cJSON_AddArrayToObject(root, "configServerRequests");
  for (const int attempt : report.config_server_requests) {
    cJSON_AddItemToArray(attempts, cJSON_CreateNumber(attempt));
  }
  cJSON* dispatcher = cJSON_AddObjectToObject(root, "dispatcher");
  cJSON_AddNumberToObject(dispatcher, "accepted", static_cast<double>(report.dispatcher.accepted));
  cJSON_AddNumberToObject(dispatcher, "ran", static_cast<double>(report.dispatcher.ran));
  cJSON_AddNumberToObject(dispatcher, "deferred", static_cast<double>(report.dispatcher.deferred));
  cJSON_AddNumberToObject(dispatcher, "dropped", static_cast<double>(report.dispatcher.dropped));
  cJSON_AddNumberToObject(dispatcher, "overruns", static_cast<double>(report.dispatcher.overruns));
  cJSON_AddNumberToObject(dispatcher, "failed", static_cast<double>(report.dispatcher.failed));
  cJSON_AddNumberToObject(dispatcher, "discarded",
                          static_cast<double>(report.dispatcher.discarded));
  cJSON_AddNumberToObject(root, "locksAlive", report.locks_alive);
  cJSON_AddNumberToObject(root, "accessoryCopiesAlive", report.accessory_copies_alive);
  return root;
}

bool write_text_file(const std::string& path, const std::string& text, std::string& error) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
  out.close();
  if (!out) {
    error = "cannot write " + path;
    return false;
  }
  return true;
}

bool write_state(const RunOptions& options, const RunReport& report, std::string& error) {
  if (options.state_out.empty()) {
    return true;
  }
  cJSON* tree = run_report_to_json(report);
  char* text = cJSON_Print(tree);
  const std::string document = text != nullptr ? std::string(text) + "\n" : std::string("{}\n");
  cJSON_free(text);
  cJSON_Delete(tree);
  return write_text_file(options.state_out, document, error);
}

}  // namespace korrin_host
