// The whole manager flow on an arbitrary document: three accessories (a
// headset, a headset with a dongle, a camera) are initialised, the fetch is
// left pending and the document is delivered through
// on_fetch_config_success; the settings are retrieved, one accessory is
// reset, a host setting is stored; then a version stamp asks every
// accessory again and the same document comes back from a synchronous
// fetch; finally the accessories are removed and the manager deleted.
//
// Properties checked for every input, besides the sanitizers:
// - the request is in progress until the document arrives, and ended after;
// - a failure report names one of the three accessories, with code 1;
// - retrieve_config(id, usage id) agrees with retrieve_config(id), and every
//   stored setting sits under its own usage id;
// - locks, accessory copies and cJSON blocks are all released at the end.
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "korrin/korrin.h"
#include "support/json_block_counter.h"
#include "support/sample_accessories.h"

namespace {

using korrin::config::ConfigManagerImpl;
using korrin_fuzz::require;

struct Connected {
  std::string id;
  korrin_test::AccessoryData data;
};

std::vector<Connected> accessories() {
  return {{"hs-h9-03", korrin_test::h9_headset()},
          {"hs-wireless-05", korrin_test::wireless_headset()},
          {"cam-room-06", korrin_test::c20_camera()}};
}

void require_reports_well_formed(korrin_test::FakeHost& host) {
  for (const std::string& line : host.calls.starting_with("device.report_config_failure(")) {
    require(line == "device.report_config_failure(hs-h9-03, 1)" ||
                line == "device.report_config_failure(hs-wireless-05, 1)" ||
                line == "device.report_config_failure(cam-room-06, 1)",
            "a failure report names one accessory with code 1", line);
  }
}

void require_retrieval_consistent(ConfigManagerImpl& manager, const std::string& id) {
  const std::map<int, korrin::ConfigParam> settings = manager.retrieve_config(id);
  for (const auto& entry : settings) {
    require(entry.first == entry.second.usage_id, "a setting sits under its own usage id");
    require(manager.retrieve_config(id, entry.first) == entry.second.value,
            "retrieving one setting gives its value", std::to_string(entry.first));
  }
  require(manager.retrieve_config(id, -123456789).empty() || settings.count(-123456789) == 1,
          "an absent usage id gives an empty value");
}

void run_flow(korrin_test::FakeHost& host, const std::string& document) {
  korrin::config::create_config_manager();
  ConfigManagerImpl& manager = *ConfigManagerImpl::get_instance();
  const std::vector<Connected> connected = accessories();
  {
    std::vector<std::unique_ptr<korrin_test::FakeAccessory>> descriptions;
    for (const Connected& accessory : connected) {
      descriptions.push_back(host.accessory(accessory.data));
      require(manager.initialize_accessory(accessory.id, descriptions.back().get()) == accessory.id,
              "a new accessory's configuration is requested");
    }
  }
  host.network.queue_fetch_answer(korrin::dispatcher::FETCH_PENDING);
  host.dispatcher.run_all();
  require(manager.is_configure_accessory_pending(), "a pending fetch keeps the request going");
  require(host.calls.count("device.report_config_pending(, 2)") == 1,
          "the pending fetch is reported once for every accessory");

  std::string delivered = document;
  require(manager.on_fetch_config_success(delivered), "the awaited document is taken");
  require(!manager.is_configure_accessory_pending() && manager.get_number_of_pending_configs() == 0,
          "the request has ended");
  require_reports_well_formed(host);

  for (const Connected& accessory : connected) {
    require_retrieval_consistent(manager, accessory.id);
  }
  manager.reset_to_admin_defaults(connected[0].id);
  require(manager.update_config_from_host(connected[2].id, "zoom", 9, "2"),
          "a host setting is stored");
  require(manager.retrieve_config(connected[2].id, 9) == "2", "the host setting is retrievable");

  // A new version for everyone, fetched synchronously this time.
  host.network.queue_fetch_answer(korrin::dispatcher::FETCH_DONE, document);
  manager.configure_accessory(connected[1].id, "version-1718035201");
  host.dispatcher.run_all();
  require(!manager.is_configure_accessory_pending(), "the second request has ended");
  require_reports_well_formed(host);
  for (const Connected& accessory : connected) {
    require_retrieval_consistent(manager, accessory.id);
  }

  for (const Connected& accessory : connected) {
    manager.remove_accessory(accessory.id);
  }
  require(manager.get_number_of_configs() == 0, "every accessory is removed");
  korrin::config::delete_config_manager();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string document(reinterpret_cast<const char*>(data), size);
  const korrin_test::JsonBlockCounter json_blocks;
  {
    korrin_fuzz::Session session;
    run_flow(session.host, document);
    require(session.host.dispatcher.size() == 0, "no task is left queued");
    session.require_everything_released();
  }
  require(json_blocks.live() == 0, "every cJSON block is freed",
          std::to_string(json_blocks.live()) + " blocks alive");
  return 0;
}
