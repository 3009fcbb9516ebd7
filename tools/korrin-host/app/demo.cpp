#include "demo.h"

#include <cjson/cJSON.h>

#include <chrono>
#include <ostream>
#include <sstream>

#include "korrin_host/document_server.h"

namespace korrin_host {

namespace {

// A JSON text re-printed with two-space indentation under `indent`.
std::string indented_json(const std::string& text, const std::string& indent) {
  cJSON* tree = cJSON_Parse(text.c_str());
  if (tree == nullptr) {
    return indent + text + "\n";
  }
  char* printed = cJSON_Print(tree);
  std::string formatted = printed != nullptr ? printed : text;
  cJSON_free(printed);
  cJSON_Delete(tree);
  std::string result = indent;
  for (const char c : formatted) {
    if (c == '\t') {
      result += "  ";
    } else if (c == '\n') {
      result += "\n" + indent;
    } else {
      result += c;
    }
  }
  return result + "\n";
}

std::string describe_accessory(const AccessoryFacts& facts) {
  std::string text = accessory_type_name(facts.type) + " " + facts.model + ", serial " +
                     facts.serial_number + ", firmware " + facts.firmware_version;
  if (!facts.dock_model.empty()) {
    text += ", in dock " + facts.dock_model;
  }
  if (!facts.dongle_model.empty()) {
    text += ", dongle " + facts.dongle_model + " (firmware " + facts.dongle_firmware_version + ")";
  }
  return text;
}

}  // namespace

std::string format_demo_summary(const RunReport& report, const std::string& server_url,
                                const std::string& documents_dir,
                                const std::vector<std::string>& server_log) {
  std::ostringstream out;
  out << "korrin-host demo\n";
  out << "  server: " << server_url << " serving " << documents_dir
      << " and collecting inventory POSTs\n";
  out << "  configuration URL template: " << report.config_url_template << "\n";
  out << "  inventory URL: " << report.inventory_url << "\n";
  for (const AccessoryOutcome& outcome : report.accessories) {
    out << "\n" << outcome.facts.id << ": " << describe_accessory(outcome.facts) << "\n";
    out << "  result: " << outcome.status << "\n";
    out << "  settings applied, in order:";
    if (outcome.device.applied.empty()) {
      out << " none\n";
    } else {
      out << "\n";
      for (const AppliedSetting& setting : outcome.device.applied) {
        out << "    " << setting.key << " (usage " << setting.usage_id << ") = " << setting.value
            << "\n";
      }
    }
    out << "  firmware: " << describe_firmware(outcome.device) << "\n";
    if (outcome.inventory_posts.empty()) {
      out << "  inventory: "
          << (outcome.inventory_error.empty() ? std::string("not received")
                                              : "not sent: " + outcome.inventory_error)
          << "\n";
    }
    for (const TransferRecord& post : outcome.inventory_posts) {
      out << "  inventory document received by the server";
      if (!post.ok) {
        out << " (answered: " << post.error << ")";
      }
      out << ":\n" << indented_json(post.body, "    ");
    }
  }
  out << "\nDual settings (the host is told per usage id):";
  if (report.follow_user.empty()) {
    out << " none";
  }
  out << "\n";
  for (const auto& flag : report.follow_user) {
    out << "  usage " << flag.first << ": "
        << (flag.second ? "follows the user's own value" : "uses the configured value") << "\n";
  }
  out << "\nServer log:\n";
  for (const std::string& line : server_log) {
    out << "  " << line << "\n";
  }
  for (const std::string& note : report.notes) {
    out << "Note: " << note << "\n";
  }
  if (report.problems.empty()) {
    out << "\nResult: success\n";
  } else {
    out << "\nResult: failed (exit status " << report.exit_status << ")\n";
    for (const std::string& problem : report.problems) {
      out << "  - " << problem << "\n";
    }
  }
  return out.str();
}

int run_demo(const DemoOptions& options, std::ostream& out, std::ostream& err) {
  DocumentServer server;
  if (!server.serve_directory(options.documents_dir)) {
    err << "korrin-host: cannot serve " << options.documents_dir << ": not a directory\n";
    return kExitBadInput;
  }
  if (!server.start("127.0.0.1", 0)) {
    err << "korrin-host: cannot start the demo server on 127.0.0.1\n";
    return kExitFailure;
  }
  const std::string port = std::to_string(server.port());
  const std::string server_url = "http://127.0.0.1:" + port + "/";

  // The server's port goes into the URL templates; the server address that
  // replaces {tftp} and {qelm} stays a bare address.
  RunOptions run = options.run;
  run.config_url = "http://{tftp}:" + port + "/{userid}.json";
  run.config_url_given = true;
  run.inventory_url = "http://{qelm}:" + port + "/inventory";
  run.inventory_url_given = true;
  run.config_servers = {"127.0.0.1"};

  RunReport report = run_host(run, err);
  if (report.exit_status == kExitBadInput) {
    for (const std::string& problem : report.problems) {
      err << "korrin-host: " << problem << "\n";
    }
    return report.exit_status;
  }
  // The server notes a request once it has answered it.
  std::size_t answered = 0;
  for (const TransferRecord& record : report.transfers) {
    if (!record.cancelled && (record.ok || record.status != 0)) {
      ++answered;
    }
  }
  server.wait_for_requests(answered, std::chrono::milliseconds(2000));
  server.stop();
  std::vector<std::string> server_log;
  for (const ReceivedRequest& request : server.requests()) {
    server_log.push_back(request.method + " " + request.path + " -> " +
                         std::to_string(request.status));
  }
  out << format_demo_summary(report, server_url, options.documents_dir, server_log);
  std::string error;
  if (!write_state(run, report, error)) {
    err << "korrin-host: " << error << "\n";
    return kExitFailure;
  }
  return report.exit_status;
}

}  // namespace korrin_host
