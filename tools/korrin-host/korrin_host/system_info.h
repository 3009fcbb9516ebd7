// The host's system information, read from a JSON file (examples/host.json),
// with the operating-system version taken from the running system unless the
// file names one.
#ifndef KORRIN_HOST_SYSTEM_INFO_H
#define KORRIN_HOST_SYSTEM_INFO_H

#include <mutex>
#include <string>
#include <vector>

#include "korrin/plugins.h"

namespace korrin_host {

/// What a host file says about the host. Every member is optional.
struct HostFacts {
  std::string client;
  std::string device_name;
  std::string serial_number;
  std::string model;
  std::string firmware_version;
  std::string user_id;
  /// Empty with `host_os_version_given` false: read from the running system.
  std::string host_os_version;
  bool host_os_version_given = false;
  /// Configuration URL template; a server port belongs here
  /// ("http://{tftp}:8080/{userid}.json"), never in a server address.
  std::string config_url_template;
  /// Inventory URL, may hold "{qelm}".
  std::string inventory_url;
  /// Configuration servers by attempt number.
  std::vector<std::string> config_servers;
};

/// Parses a host file's text; `origin` names it in errors (InputError).
HostFacts parse_host_facts(const std::string& text, const std::string& origin);
/// Reads and parses a host file; InputError when unreadable or malformed.
HostFacts load_host_facts(const std::string& path);

/// "PRETTY_NAME of os-release, KERNEL RELEASE", e.g.
/// "Debian GNU/Linux 12 (bookworm), Linux 6.1.0-18-amd64"; only the kernel
/// part when the os-release file cannot be read or has no PRETTY_NAME.
std::string running_os_version(const std::string& os_release_path = "/etc/os-release");

/// SystemInfoInterface over HostFacts. The facts are fixed at construction,
/// so the answers are safe from any thread. Every get_config_server() call
/// is remembered, to show which server each attempt asked for.
class SystemInfo : public korrin::SystemInfoInterface {
 public:
  explicit SystemInfo(HostFacts facts, const std::string& os_release_path = "/etc/os-release");

  std::string get_client() override { return facts_.client; }
  std::string get_device_name() override { return facts_.device_name; }
  std::string get_serial_number() override { return facts_.serial_number; }
  std::string get_model() override { return facts_.model; }
  std::string get_firmware_version() override { return facts_.firmware_version; }
  std::string get_user_id() override { return facts_.user_id; }
  std::string get_host_os_version() override { return os_version_; }
  std::string get_config_url_template() override { return facts_.config_url_template; }
  std::string get_inventory_url() override { return facts_.inventory_url; }
  /// The server of that attempt, or "" past the end of the list.
  std::string get_config_server(int attempt) override;
  std::vector<std::string> get_config_servers() override { return facts_.config_servers; }

  const HostFacts& facts() const { return facts_; }
  /// The attempt numbers get_config_server() was asked for, in order.
  std::vector<int> config_server_requests() const;

 private:
  const HostFacts facts_;
  const std::string os_version_;
  mutable std::mutex mutex_;
  std::vector<int> server_requests_;
};

}  // namespace korrin_host

#endif  // KORRIN_HOST_SYSTEM_INFO_H
