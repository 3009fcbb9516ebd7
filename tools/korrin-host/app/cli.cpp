#include "cli.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <iostream>
#include <ostream>
#include <string>

#include "demo.h"
#include "korrin/host/log_sink.h"
#include "korrin_check/finding.h"
#include "korrin_host/json_input.h"
#include "plan.h"
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
  if (!korrin::host::parse_log_level(common.log_level, run.log_level)) {
    err << "korrin-host: --log-level: unknown level '" << common.log_level
        << "' (critical, error, warning, notice, info, debug)\n";
    return false;
  }
  return true;
}

// The plan subcommand's options, filled in by CLI11.
struct PlanCommand {
  PlanOptions options;
  std::string format = "text";
  std::string color = "auto";
  bool summary = false;
  std::string log_level;
  CLI::App* command = nullptr;
};

void add_plan_command(CLI::App& app, PlanCommand& plan) {
  plan.command = app.add_subcommand(
      "plan", "Dry run: what the library does with a configuration document, per accessory");
  CLI::App* command = plan.command;
  command->add_option("--document", plan.options.document_file, "Configuration document (JSON)")
      ->required();
  CLI::Option* accessory = command->add_option(
      "--accessory", plan.options.accessory_files,
      "File of one accessory (a JSON object) or several (an array); repeatable");
  CLI::Option* fleet = command->add_option(
      "--fleet", plan.options.fleet_file,
      "Accessories file (examples/accessories.json format): plan them all, then a summary table");
  accessory->excludes(fleet);
  command->add_option("--previous-time", plan.options.previous_time,
                      "Version stamp as a host passes it to configure_accessory (x-1700000000): "
                      "would a configure be required after the document?");
  command->add_option("--format", plan.format, "Output: text or json")
      ->check(CLI::IsMember({"text", "json"}))
      ->capture_default_str();
  command->add_flag("--no-url-template", plan.options.no_url_template,
                    "Plan as a host without a configuration URL template");
  command->add_option("--previous", plan.options.previous_file,
                      "Earlier configuration document: show per accessory what changes");
  command->add_flag("--summary", plan.summary,
                    "Text: print the findings and the summary line only");
  command->add_flag("--strict", plan.options.strict,
                    "Exit with status 5 when there is any finding of severity warning or error");
  command->add_option("--color", plan.color, "Colour in text output: auto, always or never")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->capture_default_str();
  command->add_option("--log-level", plan.log_level,
                      "Also write the library's records to standard error, up to this level");
}

int run_plan_command(PlanCommand& plan, std::ostream& out, std::ostream& err) {
  PlanOptions& options = plan.options;
  if (options.accessory_files.empty() && options.fleet_file.empty()) {
    err << "korrin-host plan: name the accessories with --accessory FILE (repeatable) or "
           "--fleet FILE\n";
    return kExitBadInput;
  }
  options.previous_time_given = plan.command->count("--previous-time") > 0;
  options.format = plan.format == "json" ? PlanFormat::kJson : PlanFormat::kText;
  if (plan.command->count("--log-level") > 0) {
    if (!korrin::host::parse_log_level(plan.log_level, options.log_level)) {
      err << "korrin-host plan: --log-level: unknown level '" << plan.log_level
          << "' (critical, error, warning, notice, info, debug)\n";
      return kExitBadInput;
    }
    options.log_records = true;
  }
  korrin_plan::PlanReport report;
  try {
    report = run_plan(options, err);
  } catch (const InputError& error) {
    // The message may quote the input files: keep it terminal-safe.
    err << "korrin-host plan: " << korrin_check::escape_control_characters(error.what()) << "\n";
    return kExitBadInput;
  }
  korrin_plan::TextOptions text;
  text.summary_only = plan.summary;
  // Only the program's own standard output can be a terminal.
  const bool terminal = &out == &std::cout && isatty(STDOUT_FILENO) == 1;
  text.color = plan_colour(plan.color, terminal, std::getenv("NO_COLOR"));
  out << (options.format == PlanFormat::kJson ? korrin_plan::format_plan_json(report)
                                              : korrin_plan::format_plan_text(report, text));
  if (report.previous_document && report.previous_unreadable) {
    err << "korrin-host plan: " << korrin_plan::previous_unreadable_note(report).substr(6) << "\n";
  }
  std::string refused;
  int count = 0;
  for (const korrin_plan::AccessoryPlan& accessory : report.accessories) {
    if (accessory.outcome != korrin_plan::DocumentOutcome::kTaken) {
      refused += (refused.empty() ? "" : ", ") +
                 korrin_check::escape_control_characters(accessory.facts.id) + " (" +
                 korrin_plan::outcome_name(accessory.outcome) + ")";
      ++count;
    }
  }
  if (count > 0) {
    err << "korrin-host plan: the document was not taken for " << count << " of "
        << report.accessories.size() << " accessories: " << refused
        << " (--log-level info shows the library's records)\n";
  }
  if (options.strict) {
    int serious = 0;
    for (const korrin_check::Finding& finding : report.findings) {
      serious += finding.severity != korrin_check::Severity::kInfo ? 1 : 0;
    }
    if (serious > 0) {
      err << "korrin-host plan: --strict: " << serious << (serious == 1 ? " finding" : " findings")
          << " of severity warning or error\n";
    }
  }
  return report.exit_status;
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

  PlanCommand plan;
  add_plan_command(app, plan);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const int status = app.exit(error, out, err);
    return status == 0 ? 0 : kExitBadInput;
  }

  if (plan.command->parsed()) {
    return run_plan_command(plan, out, err);
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
