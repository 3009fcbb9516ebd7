// `korrin-host run`: the reference host's whole life cycle around the
// library, from installing the plugin table to the ordered shut-down.
#ifndef KORRIN_HOST_APP_RUN_H
#define KORRIN_HOST_APP_RUN_H

#include <chrono>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "korrin/host/network.h"
#include "korrin/host/task_dispatcher.h"
#include "korrin/host_log.h"
#include "korrin_host/accessory.h"
#include "korrin_host/device_store.h"

struct cJSON;

namespace korrin_host {

// The program runs on the host kit's components.
using korrin::host::DispatcherStats;
using korrin::host::TransferRecord;

/// How long one second of a task's defer time lasts with --time-scale
/// `time_scale` (a scale that is not positive counts as 1).
std::chrono::steady_clock::duration task_second(double time_scale);

/// Exit statuses of the program.
enum ExitStatus {
  kExitSuccess = 0,      ///< every accessory configured, every inventory delivered
  kExitFailure = 1,      ///< the library or a server reported a failure
  kExitBadInput = 2,     ///< bad usage, an unreadable or malformed input file
  kExitTimeout = 3,      ///< --timeout passed with work still going on
  kExitInterrupted = 4,  ///< SIGINT or SIGTERM
};

/// Everything `run` is told.
struct RunOptions {
  std::string host_file;
  std::string accessories_file;
  /// Replace the host file's configUrlTemplate / inventoryUrl when set.
  std::string config_url;
  bool config_url_given = false;
  std::string inventory_url;
  bool inventory_url_given = false;
  /// Replace the host file's configServers when not empty.
  std::vector<std::string> config_servers;

  korrin::log::LogLevel log_level = korrin::log::warning;
  bool syslog = false;
  bool sync_fetch = false;
  double connect_timeout_s = 10;
  double transfer_timeout_s = 30;
  std::string ca_file;
  /// Multiplies every wait of the dispatcher and of accessory readiness.
  double time_scale = 1.0;
  /// Real seconds to wait for the configure requests and inventories.
  double timeout_s = 120;
  std::string state_out;
  bool send_inventory = true;
  /// What the simulated device answers to firmware upgrade requests.
  bool firmware_answer = true;
};

/// What became of one accessory.
struct AccessoryOutcome {
  AccessoryFacts facts;
  bool queued = false;  ///< initialize_accessory() answered with the id
  bool inventory_queued = false;
  std::string inventory_error;                  ///< why no inventory was queued
  AccessoryRecord device;                       ///< what the library asked of it
  std::vector<TransferRecord> inventory_posts;  ///< POSTs whose document names it
  bool ok = false;
  std::string status;  ///< "configured", "failed: ...", "waiting: ...", "not configured: ..."
};

/// The outcome of a run: the data of the report and of --state-out.
struct RunReport {
  int exit_status = kExitSuccess;
  std::vector<std::string> problems;  ///< why the run failed; empty on success
  std::vector<std::string> notes;     ///< things worth knowing that did not fail it
  std::string config_url_template;
  std::string inventory_url;
  std::vector<AccessoryOutcome> accessories;
  AccessoryRecord every_waiting;  ///< reports made with the empty id
  std::map<int, bool> follow_user;
  std::vector<TransferRecord> transfers;
  std::vector<int> config_server_requests;
  DispatcherStats dispatcher;
  std::string device_json;  ///< the device store as printed JSON
  int locks_alive = 0;
  int accessory_copies_alive = 0;
  double seconds = 0;
  bool timed_out = false;
  bool interrupted = false;
};

/// Runs the host: reads the files, installs the plugin table, creates the
/// configuration manager, connects every accessory (initialize_accessory)
/// and queues its inventory, waits until nothing is left to do (or the
/// time-out, or an interrupt), shuts down in the required order (network,
/// dispatcher, manager, then the host objects) and returns what happened.
/// Log records go to `log_stream`. Never throws for bad input: the report
/// carries kExitBadInput and the reason.
RunReport run_host(const RunOptions& options, std::ostream& log_stream);

/// The readable report printed at the end of `run`.
std::string format_run_report(const RunReport& report);

/// The verdict that ends the reports of `run` and `demo`: "Result: success",
/// or "Result: failed (exit status N)" and a "  - " line per problem.
std::string format_result(const RunReport& report);

/// The report as a new JSON tree (the --state-out document); caller owns it.
cJSON* run_report_to_json(const RunReport& report);

/// Writes `text` to `path`; false with `error` on failure.
bool write_text_file(const std::string& path, const std::string& text, std::string& error);

/// Writes the --state-out document when asked to; false with `error` on failure.
bool write_state(const RunOptions& options, const RunReport& report, std::string& error);

/// The serial number ("value"/"headset"/"serialNumber") an inventory document
/// names, or "" when the text is no such document.
std::string inventory_serial_number(const std::string& document);

}  // namespace korrin_host

#endif  // KORRIN_HOST_APP_RUN_H
