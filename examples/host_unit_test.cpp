// How a host developer tests their own integration code with korrin::testing:
// the code under test (AccessoryService) connects accessories to the library
// and hands it the documents the host's network fetched. The test runs it
// against the recording fakes, drives the deferred tasks by hand and asserts
// the settings and firmware the host was asked to apply, call by call.
//
// It uses no test framework (korrin::testing works with any, GoogleTest
// included): each check prints what differs, and the exit status is the
// number of failed checks.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "korrin/config_manager.h"
#include "korrin/plugins.h"
#include "korrin/testing/fake_host.h"

namespace {

// ---- the host's own code under test --------------------------------------

/// Connects accessories to the library and delivers fetched documents.
class AccessoryService {
 public:
  explicit AccessoryService(korrin::config::ConfigManager* manager) : manager_(manager) {}

  /// Registers the accessory under `id` and starts its configure request.
  void connect(const std::string& id, const korrin::AccessoryInfoInterface& accessory) {
    manager_->initialize_accessory(id, &accessory);
  }
  /// The host's network fetched the document the library asked for.
  bool document_arrived(std::string document) {
    return manager_->on_fetch_config_success(document);
  }

 private:
  korrin::config::ConfigManager* manager_;
};

// ---- the test --------------------------------------------------------------

int failures = 0;

void check_lines(const std::vector<std::string>& actual, const std::vector<std::string>& expected,
                 const char* what) {
  if (actual == expected) {
    return;
  }
  ++failures;
  std::fprintf(stderr, "FAILED: %s\n  expected:\n", what);
  for (const std::string& line : expected) {
    std::fprintf(stderr, "    %s\n", line.c_str());
  }
  std::fprintf(stderr, "  actual:\n");
  for (const std::string& line : actual) {
    std::fprintf(stderr, "    %s\n", line.c_str());
  }
}

void check(bool ok, const char* what) {
  if (!ok) {
    ++failures;
    std::fprintf(stderr, "FAILED: %s\n", what);
  }
}

const char* const kDocument =
    "{\"templateConfiguration\": {\"updatedTime\": 1730000000,"
    " \"commonSettings\": [{\"name\": \"statusLed\", \"usageId\": 5, \"value\": \"on\","
    " \"access\": \"Admin\"}],"
    " \"modelSpecificSettings\": [{\"models\": [\"Zelor H-9\"], \"modelFirmware\": ["
    "{\"firmwareName\": \"zelor-h9-5-1-0.bin\", \"firmwareVersion\": \"5-1-0\","
    " \"firmwareParams\": [{\"name\": \"noiseCancelling\", \"usageId\": 20,"
    " \"value\": \"high\", \"access\": \"Admin\"}]}]}]}}";

void connecting_a_headset_applies_the_settings_of_the_delivered_document() {
  korrin::testing::FakeHost host;
  // The host's network answers "pending": the document comes later.
  host.network.default_status = korrin::dispatcher::FETCH_PENDING;
  host.install();
  korrin::config::ConfigManager* manager = korrin::config::create_config_manager();
  AccessoryService service(manager);

  korrin::testing::AccessoryData data;
  data.model = "Zelor H-9";
  data.firmware_version = "5-0-2";
  std::unique_ptr<korrin::testing::FakeAccessory> headset = host.accessory(data);
  service.connect("headset-1", *headset);

  // The library queued its configure task; nothing ran yet.
  check(host.dispatcher.size() == 1, "one configure task queued");
  check(host.network.fetches().empty(), "no fetch before the task runs");
  host.dispatcher.run_all();
  check_lines(host.calls.starting_with("network."),
              {"network.fetch(CONFIGMGR, http://10.0.0.5/config/user-7.json)"},
              "the task fetched the document from the first configuration server");
  check_lines(host.calls.starting_with("device."), {"device.report_config_pending(headset-1, 2)"},
              "the pending fetch was reported");

  host.calls.clear();
  check(service.document_arrived(kDocument), "the document was taken");
  check_lines(host.calls.starting_with("device."),
              {"device.apply_setting(headset-1, statusLed, 5, on)",
               "device.apply_setting(headset-1, noiseCancelling, 20, high)",
               "device.request_firmware_upgrade(headset-1, 5-1-0, zelor-h9-5-1-0.bin)"},
              "the settings and the firmware the host was asked to apply");
  check(host.mutexes.violations() == 0, "no lock misused");

  korrin::config::delete_config_manager();
  check(host.mutexes.live() == 0, "the library returned every lock");
  korrin::testing::uninstall_plugins();
}

void a_fetch_that_fails_is_reported_to_the_device() {
  korrin::testing::FakeHost host;
  host.network.queue_fetch_answer(korrin::dispatcher::FETCH_UNAVAILABLE);
  host.install();
  korrin::config::ConfigManager* manager = korrin::config::create_config_manager();
  AccessoryService service(manager);
  std::unique_ptr<korrin::testing::FakeAccessory> headset =
      host.accessory(korrin::testing::AccessoryData());
  service.connect("headset-2", *headset);
  host.dispatcher.run_all();
  check_lines(host.calls.starting_with("device."), {"device.report_config_failure(headset-2, 1)"},
              "an unavailable network is reported as a failure");
  korrin::config::delete_config_manager();
  korrin::testing::uninstall_plugins();
}

// The dispatcher's virtual clock: a headset that is not ready yet makes the
// library wait and ask again; the test moves time on instead of sleeping.
void a_headset_is_configured_once_it_becomes_ready() {
  korrin::testing::FakeHost host;
  host.network.queue_fetch_answer(korrin::dispatcher::FETCH_DONE, kDocument);
  host.install();
  korrin::config::ConfigManager* manager = korrin::config::create_config_manager();
  AccessoryService service(manager);
  korrin::testing::AccessoryData data;
  data.model = "Zelor H-9";
  data.firmware_version = "5-0-2";
  data.config_ready = false;
  std::unique_ptr<korrin::testing::FakeAccessory> headset = host.accessory(data);
  service.connect("headset-3", *headset);

  host.dispatcher.advance(0);
  check(host.dispatcher.size() == 1 && host.network.fetches().empty(),
        "while the headset is not ready the task waits and nothing is fetched");
  check(host.dispatcher.next_due() == 6, "the library asks again 6 seconds later");

  headset->data().config_ready = true;
  host.dispatcher.advance(5);
  check(host.network.fetches().empty(), "5 seconds later it still waits");
  host.dispatcher.advance(1);
  check_lines(host.calls.starting_with("device.apply_setting"),
              {"device.apply_setting(headset-3, statusLed, 5, on)",
               "device.apply_setting(headset-3, noiseCancelling, 20, high)"},
              "once ready, the headset gets the document's settings");
  korrin::config::delete_config_manager();
  korrin::testing::uninstall_plugins();
}

}  // namespace

int main() {
  connecting_a_headset_applies_the_settings_of_the_delivered_document();
  a_fetch_that_fails_is_reported_to_the_device();
  a_headset_is_configured_once_it_becomes_ready();
  if (failures == 0) {
    std::printf("korrin-host-unit-test: OK\n");
  }
  return failures;
}
