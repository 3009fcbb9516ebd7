// A system-information object written the way a host that knows nothing of
// get_host_os_version writes it, so that the interface's own answer shows.
#ifndef KORRIN_TESTS_SUPPORT_PLAIN_SYSTEM_INFO_H
#define KORRIN_TESTS_SUPPORT_PLAIN_SYSTEM_INFO_H

#include <string>
#include <vector>

#include "korrin/plugins.h"

namespace korrin_test {

/// Answers one letter for every host fact (client "c", device name "d",
/// serial number "s", model "m", firmware "f", user "u"), empty URLs and no
/// servers; get_host_os_version is left to SystemInfoInterface. Records
/// nothing.
class PlainSystemInfo : public korrin::SystemInfoInterface {
 public:
  std::string get_client() override { return "c"; }
  std::string get_device_name() override { return "d"; }
  std::string get_serial_number() override { return "s"; }
  std::string get_model() override { return "m"; }
  std::string get_firmware_version() override { return "f"; }
  std::string get_user_id() override { return "u"; }
  std::string get_config_url_template() override { return std::string(); }
  std::string get_inventory_url() override { return std::string(); }
  std::string get_config_server(int /*attempt*/) override { return std::string(); }
  std::vector<std::string> get_config_servers() override { return {}; }
};

}  // namespace korrin_test

#endif  // KORRIN_TESTS_SUPPORT_PLAIN_SYSTEM_INFO_H
