#include "korrin_host/system_info.h"

#include <sys/utsname.h>

#include <fstream>

#include "korrin_host/input_files.h"
#include "korrin_host/json_input.h"

namespace korrin_host {

namespace {

std::string unquote(const std::string& value) {
  if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
      value.back() == value.front()) {
    return value.substr(1, value.size() - 2);
  }
  return value;
}

std::string pretty_name(const std::string& os_release_path) {
  std::ifstream in(os_release_path);
  std::string line;
  while (std::getline(in, line)) {
    const std::string prefix = "PRETTY_NAME=";
    if (line.compare(0, prefix.size(), prefix) == 0) {
      return unquote(line.substr(prefix.size()));
    }
  }
  return std::string();
}

}  // namespace

HostFacts parse_host_facts(const std::string& text, const std::string& origin) {
  const JsonDocument document(text, origin);
  const JsonObjectReader host(document.root(), origin);
  host.reject_unknown({"client", "deviceName", "serialNumber", "model", "firmwareVersion", "userId",
                       "hostOSVersion", "configUrlTemplate", "inventoryUrl", "configServers"});
  HostFacts facts;
  facts.client = host.string("client");
  facts.device_name = host.string("deviceName");
  facts.serial_number = host.string("serialNumber");
  facts.model = host.string("model");
  facts.firmware_version = host.string("firmwareVersion");
  facts.user_id = host.string("userId");
  facts.host_os_version_given = host.has("hostOSVersion");
  facts.host_os_version = host.string("hostOSVersion");
  facts.config_url_template = host.string("configUrlTemplate");
  facts.inventory_url = host.string("inventoryUrl");
  facts.config_servers = host.string_array("configServers");
  return facts;
}

HostFacts load_host_facts(const std::string& path) {
  return parse_host_facts(read_text_file(path), path);
}

std::string running_os_version(const std::string& os_release_path) {
  std::string kernel;
  struct utsname system {};
  if (uname(&system) == 0) {
    kernel = std::string(system.sysname) + " " + system.release;
  }
  const std::string name = pretty_name(os_release_path);
  if (name.empty()) {
    return kernel;
  }
  return kernel.empty() ? name : name + ", " + kernel;
}

SystemInfo::SystemInfo(HostFacts facts, const std::string& os_release_path)
    : facts_(std::move(facts)),
      os_version_(facts_.host_os_version_given ? facts_.host_os_version
                                               : running_os_version(os_release_path)) {}

std::string SystemInfo::get_config_server(int attempt) {
  {
    std::lock_guard<std::mutex> guard(mutex_);
    server_requests_.push_back(attempt);
  }
  if (attempt < 0 || static_cast<std::size_t>(attempt) >= facts_.config_servers.size()) {
    return std::string();
  }
  return facts_.config_servers[static_cast<std::size_t>(attempt)];
}

std::vector<int> SystemInfo::config_server_requests() const {
  std::lock_guard<std::mutex> guard(mutex_);
  return server_requests_;
}

}  // namespace korrin_host
