// korrin-host run against real servers, one per claimed scheme: http (with
// the inventory POST parsed back), https with a generated certificate,
// file, and tftp from Debian's in.tftpd.
#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <vector>

#include "e2e/e2e_support.h"
#include "host_support/servers.h"
#include "korrin_host/document_server.h"

namespace {

using korrin_host::DocumentServer;
using korrin_host_test::contains;
using korrin_host_test::ProcessResult;
using korrin_host_test::RunFiles;
using korrin_host_test::State;
using std::chrono::milliseconds;

std::string port_of(const DocumentServer& server) { return std::to_string(server.port()); }

// The inventory document without its "time", printed compactly.
std::string without_time(const std::string& document, double& time) {
  cJSON* root = cJSON_Parse(document.c_str());
  const cJSON* stamp = cJSON_GetObjectItemCaseSensitive(root, "time");
  time = cJSON_IsNumber(stamp) ? stamp->valuedouble : -1;
  cJSON_DeleteItemFromObjectCaseSensitive(root, "time");
  char* printed = cJSON_PrintUnformatted(root);
  std::string text = printed != nullptr ? printed : "<not JSON>";
  cJSON_free(printed);
  cJSON_Delete(root);
  return text;
}

TEST(HostEndToEnd, HttpFetchConfiguresTheAccessoryAndTheInventoryIsPostedAsJson) {
  RunFiles files;
  DocumentServer server;
  ASSERT_TRUE(korrin_host_test::start_serving(server, files.dir.path()));
  const std::string port = port_of(server);
  const double before = static_cast<double>(std::time(nullptr));
  const ProcessResult result = korrin_host_test::run_korrin_host(
      files.run_arguments("http://{tftp}:" + port + "/office.json?user={userid}",
                          "http://{qelm}:" + port + "/inventory", {"127.0.0.1"}));
  const double after = static_cast<double>(std::time(nullptr));
  ASSERT_EQ(result.exit_code, 0) << result.out << result.err;
  EXPECT_TRUE(contains(result.out, "Result: success\n")) << result.out;

  const State state(files.state_path());
  EXPECT_EQ(state.status("hs-1"), "configured");
  EXPECT_EQ(state.applied("hs-1"), korrin_host_test::h9_settings());
  EXPECT_EQ(state.firmware("hs-1"),
            "upgrade to 5-1-0 requested (firmware name zelor-h9-5-1-0.bin), host accepted");
  EXPECT_EQ(state.transfers(), (std::vector<std::string>{
                                   "fetch http://127.0.0.1:" + port + "/office.json?user=user-1017",
                                   "post http://127.0.0.1:" + port + "/inventory"}));
  EXPECT_EQ(state.numbers({"configServerRequests"}), std::vector<int>{0});
  EXPECT_EQ(state.number({"locksAlive"}), 0);
  EXPECT_EQ(state.number({"accessoryCopiesAlive"}), 0);

  ASSERT_TRUE(server.wait_for_requests(2, milliseconds(5000)));
  const std::vector<korrin_host::ReceivedRequest> posts = server.posts();
  ASSERT_EQ(posts.size(), 1u);
  EXPECT_EQ(posts[0].path, "/inventory");
  EXPECT_EQ(posts[0].content_type, "application/json");
  double time = 0;
  EXPECT_EQ(without_time(posts[0].body, time),
            "{\"key\":\"headsetInventory\",\"value\":{\"host\":{\"client\":\"korrin-host\","
            "\"serialNumber\":\"HOST-7\",\"deviceName\":\"lab\",\"model\":\"Test Host\","
            "\"firmwareVersion\":\"1-0-0\",\"hostOSVersion\":\"Test OS 1\",\"userId\":\"user-"
            "1017\"},\"dock\":{\"serialNumber\":\"DK-1\",\"model\":\"Zelor Dock 9\"},"
            "\"headset\":{\"serialNumber\":\"ZH9C0007A1\",\"firmwareVersion\":\"5-0-2\","
            "\"vendor\":\"Zelor\",\"model\":\"Zelor H-9\",\"connectionType\":\"USB\","
            "\"connectionStatus\":\"connected\"}}}");
  EXPECT_GE(time, before);
  EXPECT_LE(time, after);
}

TEST(HostEndToEnd, HttpsFetchIsTrustedThroughTheCaFileOnly) {
  RunFiles files;
  std::string certificate;
  std::string key;
  std::string error;
  ASSERT_TRUE(korrin_host_test::make_certificate(files.dir.path(), certificate, key, error))
      << error;
  DocumentServer server(certificate, key);
  ASSERT_TRUE(korrin_host_test::start_serving(server, files.dir.path()));
  const std::string url = "https://{tftp}:" + port_of(server) + "/office.json";

  std::vector<std::string> trusting = files.run_arguments(url, "", {"127.0.0.1"});
  trusting.insert(trusting.end(), {"--ca-file", certificate, "--no-inventory"});
  const ProcessResult trusted = korrin_host_test::run_korrin_host(trusting);
  ASSERT_EQ(trusted.exit_code, 0) << trusted.out << trusted.err;
  const State state(files.state_path());
  EXPECT_EQ(state.applied("hs-1"), korrin_host_test::h9_settings());
  EXPECT_EQ(state.transfers(), std::vector<std::string>{
                                   "fetch https://127.0.0.1:" + port_of(server) + "/office.json"});

  std::vector<std::string> strict = files.run_arguments(url, "", {"127.0.0.1"});
  strict.push_back("--no-inventory");
  const ProcessResult refused = korrin_host_test::run_korrin_host(strict);
  EXPECT_EQ(refused.exit_code, 1) << refused.out << refused.err;
  const State failed(files.state_path());
  EXPECT_EQ(failed.status("hs-1"), "failed: the configuration document could not be fetched");
  const std::vector<const cJSON*> fetches = failed.transfers_of("fetch");
  ASSERT_FALSE(fetches.empty());
  EXPECT_EQ(cJSON_GetObjectItemCaseSensitive(fetches[0], "transportCode")->valueint, 60)
      << "peer certificate not verified";
  EXPECT_TRUE(failed.applied("hs-1").empty());
}

TEST(HostEndToEnd, AFileUrlIsFetchedWithoutAskingForAServer) {
  RunFiles files;
  const std::string url = "file://" + files.dir.path() + "/office.json";
  std::vector<std::string> arguments = files.run_arguments(url, "", {"127.0.0.1"});
  arguments.push_back("--no-inventory");
  const ProcessResult result = korrin_host_test::run_korrin_host(arguments);
  ASSERT_EQ(result.exit_code, 0) << result.out << result.err;
  const State state(files.state_path());
  EXPECT_EQ(state.applied("hs-1"), korrin_host_test::h9_settings());
  EXPECT_EQ(state.transfers(), std::vector<std::string>{"fetch " + url});
  EXPECT_TRUE(state.numbers({"configServerRequests"}).empty());
}

TEST(HostEndToEnd, ATftpTemplateIsFetchedFromARealTftpServer) {
  if (!korrin_host_test::running_as_root()) {
    GTEST_SKIP() << "in.tftpd needs root to serve a directory as its root";
  }
  RunFiles files;
  korrin_host_test::TftpServer tftp;
  std::string error;
  ASSERT_TRUE(tftp.start(files.dir.path(), error)) << error;
  const std::string port = std::to_string(tftp.port());
  std::vector<std::string> arguments =
      files.run_arguments("tftp://{tftp}:" + port + "/office.json", "", {"127.0.0.1"});
  arguments.push_back("--no-inventory");
  const ProcessResult result = korrin_host_test::run_korrin_host(arguments);
  ASSERT_EQ(result.exit_code, 0) << result.out << result.err;
  const State state(files.state_path());
  EXPECT_EQ(state.applied("hs-1"), korrin_host_test::h9_settings());
  EXPECT_EQ(state.transfers(),
            std::vector<std::string>{"fetch tftp://127.0.0.1:" + port + "/office.json"});
  EXPECT_EQ(state.numbers({"configServerRequests"}), std::vector<int>{0});
}

TEST(HostEndToEnd, ASyncFetchHandsTheDocumentBackAtOnce) {
  RunFiles files;
  DocumentServer server;
  ASSERT_TRUE(korrin_host_test::start_serving(server, files.dir.path()));
  std::vector<std::string> arguments = files.office_arguments(server.port());
  arguments.insert(arguments.end(), {"--sync-fetch", "--no-inventory"});
  const ProcessResult result = korrin_host_test::run_korrin_host(arguments);
  ASSERT_EQ(result.exit_code, 0) << result.out << result.err;
  const State state(files.state_path());
  EXPECT_EQ(state.applied("hs-1"), korrin_host_test::h9_settings());
  const std::vector<const cJSON*> fetches = state.transfers_of("fetch");
  ASSERT_EQ(fetches.size(), 1u);
  EXPECT_FALSE(cJSON_IsTrue(cJSON_GetObjectItemCaseSensitive(fetches[0], "delivered")));
  // Nothing was pending: no pending report reached the device.
  EXPECT_EQ(cJSON_GetArraySize(state.at({"device", "accessories", "hs-1", "configPending"})), 0);
  EXPECT_EQ(state.at({"device", "accessories", ""}), nullptr);
}

TEST(HostEndToEnd, TheDeviceAnswerToAFirmwareRequestIsRecorded) {
  RunFiles files;
  DocumentServer server;
  ASSERT_TRUE(korrin_host_test::start_serving(server, files.dir.path()));
  std::vector<std::string> arguments = files.office_arguments(server.port());
  arguments.insert(arguments.end(), {"--refuse-firmware", "--no-inventory"});
  const ProcessResult result = korrin_host_test::run_korrin_host(arguments);
  ASSERT_EQ(result.exit_code, 0) << result.out << result.err;
  EXPECT_EQ(State(files.state_path()).firmware("hs-1"),
            "upgrade to 5-1-0 requested (firmware name zelor-h9-5-1-0.bin), host refused");
}

}  // namespace
