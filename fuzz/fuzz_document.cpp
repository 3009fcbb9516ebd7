// update_from_server on arbitrary bytes, for a headset and for a headset
// with a dongle, the way a configuration object meets documents over its
// life: a first document, the accessory re-plugged as another model, the
// same document again, then a reset to the defaults.
//
// Properties checked for every input, besides the sanitizers:
// - nothing throws out of the document update (bad content never throws);
// - every stored setting sits under its own usage id, with an access of
//   "User" or the document's own spelling of "Admin" or "Both";
// - every setting and firmware request reaches the device under the
//   object's own id, and never while a library lock is held;
// - locks, accessory copies and cJSON blocks are all released afterwards.
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "fuzz_support.h"
#include "korrin/korrin.h"
#include "support/json_block_counter.h"
#include "support/sample_accessories.h"

namespace {

using korrin_fuzz::require;
using korrin_test::h9_headset;
using korrin_test::wireless_headset;

// The same hardware reporting "Zelor H-9", an H-8 by its serial number.
korrin_test::AccessoryData h8_headset() {
  korrin_test::AccessoryData data = h9_headset();
  data.serial_number = "ZH9C0004B2";
  data.firmware_version = "4-1-0";
  return data;
}

void require_settings_well_formed(korrin::config::ConfigInterface& config) {
  const std::map<int, korrin::ConfigParam> settings = config.retrieve_config();
  for (const auto& entry : settings) {
    require(entry.first == entry.second.usage_id, "a setting sits under its own usage id",
            std::to_string(entry.first) + " holds " + std::to_string(entry.second.usage_id));
    const std::string& access = entry.second.access;
    require(access == "User" || equals_ignore_case("Admin", access) ||
                equals_ignore_case("Both", access),
            "a stored access is User, Admin or Both", access);
  }
}

// Every device call names `id` (the reports of the configure flow are not
// made by a configuration object on its own).
void require_device_calls_for(korrin_test::FakeHost& host, const std::string& id) {
  for (const std::string& line : host.calls.starting_with("device.")) {
    const auto is = [&line](const std::string& operation) {
      return line.compare(0, operation.size() + 1, operation + "(") == 0;
    };
    if (is("device.apply_setting") || is("device.request_firmware_upgrade") ||
        is("device.delegate_upgrade")) {
      const std::size_t open = line.find('(');
      require(line.compare(open + 1, id.size() + 1, id + ",") == 0 ||
                  line.compare(open + 1, id.size() + 1, id + ")") == 0,
              "device calls name the object's own accessory id", line);
    } else {
      require(is("device.set_follow_user_config"),
              "a configuration object makes no other device call", line);
    }
  }
  require(host.device.calls_under_lock() == 0, "the device is never called under a library lock");
}

void take_document(korrin_test::FakeHost& host, const korrin_test::AccessoryData& first,
                   const korrin_test::AccessoryData* replugged, const std::string& id,
                   const std::string& document) {
  auto accessory = host.accessory(first);
  korrin::config::ConfigInterface* config = create_config(id, accessory.get());
  require(config != nullptr, "a headset gets a configuration object");

  config->update_from_server(document);
  require_settings_well_formed(*config);
  if (replugged != nullptr) {
    auto other = host.accessory(*replugged);
    config->update(other.get());
    config->update_from_server(document);
    require_settings_well_formed(*config);
  }
  config->reset_config();
  config->is_config_required("stamp-1718035200");
  delete_config(config);
  require_device_calls_for(host, id);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string document(reinterpret_cast<const char*>(data), size);
  const korrin_test::JsonBlockCounter json_blocks;
  {
    korrin_fuzz::Session session;
    const korrin_test::AccessoryData h8 = h8_headset();
    take_document(session.host, h9_headset(), &h8, "hs-h9-03", document);
    session.require_everything_released();
  }
  {
    korrin_fuzz::Session session;
    take_document(session.host, wireless_headset(), nullptr, "hs-wireless-05", document);
    session.require_everything_released();
  }
  require(json_blocks.live() == 0, "every cJSON block is freed",
          std::to_string(json_blocks.live()) + " blocks alive");
  return 0;
}
