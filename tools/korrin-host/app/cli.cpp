#include "cli.h"

#include <CLI/CLI.hpp>
#include <ostream>
#include <string>

#include "demo.h"
#include "korrin_host/log_sink.h"
#include "run.h"

#ifndef KORRIN_HOST_EXAMPLES_DIR
#define KORRIN_HOST_EXAMPLES_DIR "examples"
#endif

namespace korrin_host {

namespace {

// The options `run` and `demo` share.
struct CommonOptions {
  std::string log_level;
};

void add_common_options(CLI::App* command, RunOptions& run, CommonOptions& common) {
  command
      ->add_option("--log-level", common.log_level,
                   "Most verbose level written: critical, error, warning, notice, info, debug")
      ->capture_default_str();
  command->add_flag("--syslog", run.syslog, "Copy log records to syslog(3)");
  command->add_flag("--sync-fetch", run.sync_fetch,
                    "Fetch on the dispatcher's thread and hand the document back at once");
  command->add_option("--connect-timeout", run.connect_timeout_s, "Connection time-out, seconds")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  command
      ->add_option("--transfer-timeout", run.transfer_timeout_s,
                   "Time-out of a whole transfer, seconds")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  command->add_option("--ca-file", run.ca_file, "CA certificates (PEM) for https servers");
  command
      ->add_option("--time-scale", run.time_scale,
                   "Multiply every task wait and readiness delay by this (tests: 0.01)")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  command
      ->add_option("--timeout", run.timeout_s,
                   "Give up waiting for the configure requests after this many seconds")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  command->add_option("--state-out", run.state_out, "Write the final state as JSON to this file");
  command->add_flag(
      "--no-inventory", [&run](std::int64_t) { run.send_inventory = false; },
      "Do not send the inventory of the accessories");
  command->add_flag(
      "--refuse-firmware", [&run](std::int64_t) { run.firmware_answer = false; },
      "Answer firmware upgrade requests with false");
}

bool apply_log_level(const CommonOptions& common, RunOptions& run, std::ostream& err) {
  if (!parse_log_level(common.log_level, run.log_level)) {
    err << "korrin-host: --log-level: unknown level '" << common.log_level
        << "' (critical, error, warning, notice, info, debug)\n";
    return false;
  }
  return true;
}

}  // namespace

int korrin_host_main(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
  CLI::App app{"korrin-host: the reference host of libkorrin"};
  app.require_subcommand(1);

  RunOptions run;
  CommonOptions run_common{"warning"};
  CLI::App* run_command = app.add_subcommand(
      "run", "Configure the accessories of a host through the library, then report");
  run_command->add_option("--host", run.host_file, "Host description (JSON)")->required();
  run_command->add_option("--accessories", run.accessories_file, "Accessory descriptions (JSON)")
      ->required();
  run_command->add_option("--config-url", run.config_url,
                          "Configuration URL template; replaces the host file's");
  run_command->add_option("--inventory-url", run.inventory_url,
                          "Inventory URL; replaces the host file's");
  run_command->add_option("--config-server", run.config_servers,
                          "Configuration server of each attempt, in order; replaces the host "
                          "file's (an address only: a port belongs in the URL template)");
  add_common_options(run_command, run, run_common);

  DemoOptions demo;
  demo.documents_dir = KORRIN_HOST_EXAMPLES_DIR "/documents";
  demo.run.host_file = KORRIN_HOST_EXAMPLES_DIR "/host.json";
  demo.run.accessories_file = KORRIN_HOST_EXAMPLES_DIR "/accessories.json";
  // The demo's summary tells the story; the library's records are there
  // for whoever asks with --log-level.
  CommonOptions demo_common{"critical"};
  CLI::App* demo_command = app.add_subcommand(
      "demo", "Serve the example documents on 127.0.0.1 and run the example host against them");
  demo_command->add_option("--documents", demo.documents_dir, "Directory of documents to serve")
      ->capture_default_str();
  demo_command->add_option("--host", demo.run.host_file, "Host description (JSON)")
      ->capture_default_str();
  demo_command
      ->add_option("--accessories", demo.run.accessories_file, "Accessory descriptions (JSON)")
      ->capture_default_str();
  add_common_options(demo_command, demo.run, demo_common);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const int status = app.exit(error, out, err);
    return status == 0 ? 0 : kExitBadInput;
  }

  if (run_command->parsed()) {
    if (!apply_log_level(run_common, run, err)) {
      return kExitBadInput;
    }
    run.config_url_given = run_command->count("--config-url") > 0;
    run.inventory_url_given = run_command->count("--inventory-url") > 0;
    const RunReport report = run_host(run, err);
    if (report.exit_status == kExitBadInput) {
      for (const std::string& problem : report.problems) {
        err << "korrin-host: " << problem << "\n";
      }
      return report.exit_status;
    }
    out << format_run_report(report);
    std::string error;
    if (!write_state(run, report, error)) {
      err << "korrin-host: " << error << "\n";
      return kExitFailure;
    }
    for (const std::string& problem : report.problems) {
      err << "korrin-host: " << problem << "\n";
    }
    return report.exit_status;
  }
  if (!apply_log_level(demo_common, demo.run, err)) {
    return kExitBadInput;
  }
  return run_demo(demo, out, err);
}

}  // namespace korrin_host
