// korrin-host demo end to end, and the pieces of the program that need no
// child process: the demo's URLs, the fetch listener on a real manager and
// the command line's refusals.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "demo.h"
#include "e2e/e2e_support.h"
#include "host_support/run_main.h"
#include "korrin/config_manager.h"
#include "korrin/host/network.h"

namespace {

using korrin_host_test::contains;
using korrin_host_test::MainResult;
using korrin_host_test::ProcessResult;
using korrin_host_test::run_main;
using korrin_host_test::State;

struct Expected {
  std::string id;
  std::string header;
  std::vector<std::string> settings;
  std::string firmware;
  std::string inventory_key;
};

// What the office document does to each example accessory.
const std::vector<Expected>& expected_accessories() {
  static const std::vector<Expected> expected = {
      {"hs-desk-01",
       "hs-desk-01: headset Zelor H-5, serial ZH5B2231907, firmware 2-3-1, in dock Zelor Dock 5",
       {"statusLed(5)=on", "micBoost(30)=1"},
       "upgrade to 2-4-0 requested (firmware name zelor-h5-2-4-0.bin), host accepted",
       "headsetInventory"},
      {"hs-pro-02",
       "hs-pro-02: headset Zelor H-5 Pro, serial ZH5P1180044, firmware 2-4-10",
       {"statusLed(5)=on", "micBoost(30)=2"},
       "no upgrade requested",
       "headsetInventory"},
      {"hs-h9-03",
       "hs-h9-03: headset Zelor H-9, serial ZH9C0007A1, firmware 5-0-2, in dock Zelor Dock 9",
       {"statusLed(5)=on", "noiseCancelling(20)=high", "busylight(21)=1"},
       "upgrade to 5-1-0 requested (firmware name zelor-h9-5-1-0.bin), host accepted",
       "headsetInventory"},
      {"hs-h8-04",
       "hs-h8-04: headset Zelor H-9, serial ZH9C0004B2, firmware 4-1-0",
       {"statusLed(5)=on", "noiseCancelling(20)=medium"},
       "no upgrade requested",
       "headsetInventory"},
      {"hs-wireless-05",
       "hs-wireless-05: headset Zelor H-7 Wireless, serial ZH7W5521309, firmware 1-8-0, dongle "
       "Zelor D-2 (firmware 3-0-9)",
       {"statusLed(5)=on", "radioPower(31)=low"},
       "upgrade delegated to the host's driver",
       "headsetInventory"},
      {"cam-room-06",
       "cam-room-06: camera Zelor C-20, serial ZC20A0099812, firmware 4-1-7",
       {"statusLed(5)=on", "fieldOfView(40)=90"},
       "upgrade to 4-2-0 requested (firmware name zelor-c20-4-2-0.bin), host accepted",
       "cameraInventory"},
      {"hs-acme-07",
       "hs-acme-07: headset Acme Talk 3, serial AT3-000-1187, firmware 1.4.2",
       {"statusLed(5)=on", "autoAnswer(9)=on"},
       "no upgrade requested",
       "headsetInventory"},
  };
  return expected;
}

std::string text_member(const cJSON* object, const char* key) {
  const cJSON* item = cJSON_GetObjectItemCaseSensitive(object, key);
  return cJSON_IsString(item) ? item->valuestring : "<absent>";
}

TEST(HostDemo, ConfiguresEveryExampleAccessoryAndShowsWhatTheServerReceived) {
  korrin_host_test::TempDir dir;
  const std::string state_path = dir.path() + "/state.json";
  const ProcessResult result =
      korrin_host_test::run_korrin_host({"demo", "--state-out", state_path});
  ASSERT_EQ(result.exit_code, 0) << result.out << result.err;
  EXPECT_EQ(result.err, "");  // the demo keeps the library's records for --log-level
  EXPECT_EQ(result.out.rfind("korrin-host demo\n  server: http://127.0.0.1:", 0), 0u) << result.out;
  EXPECT_TRUE(contains(result.out, "  configuration URL template: http://{tftp}:")) << result.out;
  EXPECT_TRUE(contains(result.out, "/office.json?user={userid}\n")) << result.out;

  const State state(state_path);
  for (const Expected& expected : expected_accessories()) {
    SCOPED_TRACE(expected.id);
    EXPECT_EQ(state.status(expected.id), "configured");
    EXPECT_EQ(state.applied(expected.id), expected.settings);
    EXPECT_EQ(state.firmware(expected.id), expected.firmware);
    EXPECT_TRUE(contains(result.out, "\n" + expected.header + "\n  result: configured\n"));
    EXPECT_TRUE(contains(result.out, "  firmware: " + expected.firmware + "\n"));
    const cJSON* posts =
        cJSON_GetObjectItemCaseSensitive(state.accessory(expected.id), "inventoryPosts");
    ASSERT_EQ(cJSON_GetArraySize(posts), 1);
    cJSON* document = cJSON_Parse(text_member(posts->child, "body").c_str());
    EXPECT_EQ(text_member(document, "key"), expected.inventory_key);
    const cJSON* value = cJSON_GetObjectItemCaseSensitive(document, "value");
    EXPECT_EQ(text_member(cJSON_GetObjectItemCaseSensitive(value, "host"), "userId"), "user-1017");
    EXPECT_EQ(text_member(cJSON_GetObjectItemCaseSensitive(value, "headset"), "serialNumber"),
              text_member(state.accessory(expected.id), "serialNumber"));
    cJSON_Delete(document);
  }
  // One fetch served all seven accessories; seven inventories were posted.
  const std::vector<std::string> transfers = state.transfers();
  ASSERT_EQ(transfers.size(), 8u);
  EXPECT_TRUE(contains(transfers[0], "fetch http://127.0.0.1:"));
  EXPECT_TRUE(contains(transfers[0], "/office.json?user=user-1017"));
  EXPECT_TRUE(contains(result.out,
                       "\nServer log:\n  GET /office.json -> 200\n"
                       "  POST /inventory -> 200\n  POST /inventory -> 200\n"
                       "  POST /inventory -> 200\n  POST /inventory -> 200\n"
                       "  POST /inventory -> 200\n  POST /inventory -> 200\n"
                       "  POST /inventory -> 200\n\nResult: success\n"))
      << result.out;
  EXPECT_TRUE(contains(result.out,
                       "Dual settings (the host is told per usage id):\n"
                       "  usage 12: follows the user's own value\n"
                       "  usage 21: uses the configured value\n"));
  // The third-party headset's inventory carries only the user in its host part.
  EXPECT_TRUE(contains(result.out,
                       "        \"host\": {\n          \"userId\": \"user-1017\"\n"
                       "        },\n"))
      << result.out;
}

TEST(HostDemo, AMissingDocumentsDirectoryIsNamed) {
  const ProcessResult result =
      korrin_host_test::run_korrin_host({"demo", "--documents", "/nonexistent/documents"});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.err, "korrin-host: cannot serve /nonexistent/documents: not a directory\n");
}

TEST(HostDemo, TheDemoPutsItsPortIntoTheHostFilesUrls) {
  std::string error;
  EXPECT_EQ(
      korrin_host::demo_url("http://{tftp}:8080/office.json?user={userid}", "{tftp}", 4242, error),
      "http://{tftp}:4242/office.json?user={userid}");
  EXPECT_EQ(korrin_host::demo_url("http://{qelm}/inventory", "{qelm}", 4242, error),
            "http://{qelm}:4242/inventory");
  EXPECT_EQ(error, "");
  EXPECT_EQ(korrin_host::demo_url("https://{tftp}/x.json", "{tftp}", 4242, error), "");
  EXPECT_EQ(error,
            "the demo serves plain http: the URL \"https://{tftp}/x.json\" must start with "
            "\"http://{tftp}\"");
}

TEST(HostCommandLine, AnUnknownLogLevelIsBadUsage) {
  const MainResult result = run_main({"demo", "--log-level", "chatty"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err,
            "korrin-host: --log-level: unknown level 'chatty' (critical, error, warning, notice, "
            "info, debug)\n");
}

TEST(HostCommandLine, RunWithoutItsFilesIsBadUsage) {
  const MainResult result = run_main({"run", "--host", "h.json"});
  EXPECT_EQ(result.status, 2);
  EXPECT_TRUE(contains(result.err, "--accessories is required")) << result.err;
}

TEST(HostCommandLine, ACommandIsRequired) { EXPECT_EQ(run_main({}).status, 2); }

TEST(HostCommandLine, HelpIsNotAnError) {
  const MainResult result = run_main({"run", "--help"});
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(contains(result.out, "--time-scale")) << result.out;
  EXPECT_TRUE(contains(result.out, "--ca-file")) << result.out;
}

// Records what the manager's completions receive.
class RecordingManager : public korrin::config::ConfigManager {
 public:
  std::string initialize_accessory(const std::string&,
                                   const korrin::AccessoryInfoInterface*) override {
    return "";
  }
  bool configure_accessory(const std::string&, std::string) override { return false; }
  void remove_accessory(const std::string&) override {}
  bool on_fetch_config_success(std::string& data) override {
    calls.push_back("success:" + data);
    return true;
  }
  bool on_fetch_config_failure(int reason) override {
    calls.push_back("failure:" + std::to_string(reason));
    return false;
  }
  bool reset_to_admin_defaults(const std::string&) override { return false; }
  std::map<int, korrin::ConfigParam> retrieve_config(const std::string&) override { return {}; }
  std::string retrieve_config(const std::string&, int) override { return ""; }
  std::vector<std::string> calls;
};

TEST(HostFetchListener, ForwardsOutcomesToTheManagerAndReturnsItsAnswers) {
  RecordingManager manager;
  korrin::host::ConfigManagerListener listener(&manager);
  std::string document = "{}";
  EXPECT_TRUE(listener.on_fetch_success(document));
  EXPECT_FALSE(listener.on_fetch_failure(500));
  EXPECT_EQ(manager.calls, (std::vector<std::string>{"success:{}", "failure:500"}));
}

}  // namespace
