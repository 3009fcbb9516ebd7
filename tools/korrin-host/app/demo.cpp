#include "demo.h"

#include <cjson/cJSON.h>

#include <chrono>
#include <ostream>
#include <sstream>

#include "korrin_host/document_server.h"
#include "korrin_host/json_input.h"
#include "korrin_host/system_info.h"

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
  char previous = '\0';
  for (const char c : formatted) {
    if (c == '\t') {
      result += previous == ':' ? " " : "  ";
    } else if (c == '\n') {
      result += "\n" + indent;
    } else {
      result += c;
    }
    previous = c;
  }
  return result + "\n";
}

}  // namespace

std::string demo_url(const std::string& url_template, const std::string& token, int port,
                     std::string& error) {
  const std::string prefix = "http://" + token;
  if (url_template.compare(0, prefix.size(), prefix) != 0) {
    error = "the demo serves plain http: the URL \"" + url_template + "\" must start with \"" +
            prefix + "\"";
    return std::string();
  }
  std::size_t rest = prefix.size();
  if (rest < url_template.size() && url_template[rest] == ':') {
    ++rest;
    while (rest < url_template.size() && url_template[rest] >= '0' && url_template[rest] <= '9') {
      ++rest;
    }
  }
  return prefix + ":" + std::to_string(port) + url_template.substr(rest);
}

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
    out << format_settings_and_firmware(outcome.device, "  ");
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
  out << "\n" << format_result(report);
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
  const std::string server_url = "http://127.0.0.1:" + std::to_string(server.port()) + "/";

  // The server's port goes into the host file's URL templates; the server
  // address that replaces {tftp} and {qelm} stays a bare address.
  RunOptions run = options.run;
  std::string config_url_template;
  std::string inventory_url;
  try {
    const HostFacts facts = load_host_facts(run.host_file);
    config_url_template = facts.config_url_template;
    inventory_url = facts.inventory_url;
  } catch (const InputError& error) {
    err << "korrin-host: " << error.what() << "\n";
    return kExitBadInput;
  }
  std::string error;
  run.config_url = demo_url(config_url_template, "{tftp}", server.port(), error);
  if (!error.empty()) {
    err << "korrin-host: " << run.host_file << ": configUrlTemplate: " << error << "\n";
    return kExitBadInput;
  }
  run.inventory_url = demo_url(inventory_url, "{qelm}", server.port(), error);
  if (!error.empty()) {
    err << "korrin-host: " << run.host_file << ": inventoryUrl: " << error << "\n";
    return kExitBadInput;
  }
  run.config_url_given = true;
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
  if (!write_state(run, report, error)) {
    err << "korrin-host: " << error << "\n";
    return kExitFailure;
  }
  return report.exit_status;
}

}  // namespace korrin_host
