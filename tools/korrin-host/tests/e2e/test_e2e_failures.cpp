// korrin-host run when things go wrong: a server answering 500 or refusing
// connections (the library's retries, each against the server of its
// attempt), shutting down while a fetch is pending, bad input files, an
// accessory the library does not take, a document that does not fit.
#include <gtest/gtest.h>

#include <csignal>
#include <memory>
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

const std::vector<std::string> kThreeServers = {"127.0.0.1", "127.0.0.2", "127.0.0.3"};

double started_at(const cJSON* transfer) {
  return cJSON_GetObjectItemCaseSensitive(transfer, "startedSeconds")->valuedouble;
}

// Three servers, on 127.0.0.1, .2 and .3, sharing one port.
bool start_three(std::vector<std::unique_ptr<DocumentServer>>& servers, int& port) {
  for (int attempt = 0; attempt < 5; ++attempt) {
    servers.clear();
    servers.push_back(std::make_unique<DocumentServer>());
    if (!servers[0]->start("127.0.0.1", 0)) {
      continue;
    }
    port = servers[0]->port();
    bool all = true;
    for (const char* address : {"127.0.0.2", "127.0.0.3"}) {
      servers.push_back(std::make_unique<DocumentServer>());
      all = all && servers.back()->start(address, port);
    }
    if (all) {
      return true;
    }
  }
  return false;
}

// Runs with `options` after the run's own and a time-out of one second,
// against a server that holds the fetch until the run has ended.
void run_with_held_fetch(RunFiles& files, const std::vector<std::string>& options,
                         ProcessResult& result) {
  DocumentServer server;
  server.hold_requests();
  ASSERT_TRUE(server.start());
  std::vector<std::string> arguments = files.office_arguments(server.port());
  arguments.back() = "1";  // --timeout 1
  arguments.insert(arguments.end(), options.begin(), options.end());
  result = korrin_host_test::run_korrin_host(arguments);
  server.release_requests();
}

// What a run stopped by its time-out during the fetch leaves behind: exit
// status 3 without waiting for the transfer, the fetch cancelled, no lock
// and no accessory copy alive. The fetch's record, or null.
const cJSON* expect_timed_out_during_the_fetch(const ProcessResult& result, const State& state) {
  EXPECT_EQ(result.exit_code, 3) << result.out << result.err;
  EXPECT_LT(result.seconds, 10.0);
  EXPECT_EQ(state.number({"locksAlive"}), 0);
  EXPECT_EQ(state.number({"accessoryCopiesAlive"}), 0);
  const std::vector<const cJSON*> fetches = state.transfers_of("fetch");
  EXPECT_EQ(fetches.size(), 1u);
  if (fetches.size() != 1) {
    return nullptr;
  }
  EXPECT_TRUE(cJSON_IsTrue(cJSON_GetObjectItemCaseSensitive(fetches[0], "cancelled")));
  return fetches[0];
}

void expect_retried_against_each_server(const State& state, const std::string& port) {
  EXPECT_EQ(state.transfers(),
            (std::vector<std::string>{"fetch http://127.0.0.1:" + port + "/office.json",
                                      "fetch http://127.0.0.2:" + port + "/office.json",
                                      "fetch http://127.0.0.3:" + port + "/office.json"}));
  EXPECT_EQ(state.numbers({"configServerRequests"}), (std::vector<int>{0, 1, 2}));
  // Each retry waits the library's 30 to 40 s back-off, here scaled by 0.01.
  const std::vector<const cJSON*> fetches = state.transfers_of("fetch");
  ASSERT_EQ(fetches.size(), 3u);
  for (std::size_t i = 1; i < fetches.size(); ++i) {
    const double gap = started_at(fetches[i]) - started_at(fetches[i - 1]);
    EXPECT_GE(gap, 0.29) << "attempt " << i;
    EXPECT_LT(gap, 2.0) << "attempt " << i;
  }
  EXPECT_EQ(state.status("hs-1"), "failed: the configuration document could not be fetched");
  EXPECT_TRUE(state.applied("hs-1").empty());
  EXPECT_EQ(state.number({"locksAlive"}), 0);
  EXPECT_EQ(state.number({"accessoryCopiesAlive"}), 0);
}

TEST(HostEndToEndFailures, AServerAnswering500IsRetriedTwiceEachTimeAtTheNextServer) {
  std::vector<std::unique_ptr<DocumentServer>> servers;
  int port = 0;
  ASSERT_TRUE(start_three(servers, port));
  for (auto& server : servers) {
    server->set_get_status(500);
  }
  RunFiles files;
  const std::string port_text = std::to_string(port);
  std::vector<std::string> arguments =
      files.run_arguments("http://{tftp}:" + port_text + "/office.json", "", kThreeServers);
  arguments.push_back("--no-inventory");
  const ProcessResult result = korrin_host_test::run_korrin_host(arguments);
  EXPECT_EQ(result.exit_code, 1) << result.out << result.err;
  EXPECT_TRUE(contains(result.err,
                       " error    Lib::ConfigManagerImpl: on_fetch_config_failure : "
                       "retry limit reached, abort\n"))
      << result.err;
  const State state(files.state_path());
  expect_retried_against_each_server(state, port_text);
  EXPECT_EQ(state.strings({"problems"}).at(0),
            "the configuration server could not be reached: 3 attempt(s) failed and the library "
            "gave up; last fetch http://127.0.0.3:" +
                port_text + "/office.json: failed: HTTP status 500");
  const char* addresses[] = {"127.0.0.1", "127.0.0.2", "127.0.0.3"};
  for (std::size_t i = 0; i < servers.size(); ++i) {
    ASSERT_TRUE(servers[i]->wait_for_requests(1, milliseconds(2000)));
    const std::vector<korrin_host::ReceivedRequest> requests = servers[i]->requests();
    ASSERT_EQ(requests.size(), 1u) << addresses[i];
    EXPECT_EQ(requests[0].path, "/office.json");
    EXPECT_EQ(requests[0].local_address, addresses[i]);
    EXPECT_EQ(requests[0].status, 500);
  }
}

TEST(HostEndToEndFailures, RefusedConnectionsAreRetriedAndEndInTheFailureReport) {
  const std::string port = std::to_string(korrin_host_test::free_tcp_port());
  RunFiles files;
  std::vector<std::string> arguments =
      files.run_arguments("http://{tftp}:" + port + "/office.json", "", kThreeServers);
  arguments.push_back("--no-inventory");
  const ProcessResult result = korrin_host_test::run_korrin_host(arguments);
  EXPECT_EQ(result.exit_code, 1) << result.out << result.err;
  const State state(files.state_path());
  expect_retried_against_each_server(state, port);
  const std::string problem = state.strings({"problems"}).at(0);
  EXPECT_EQ(problem.substr(0, 101),
            "the configuration server could not be reached: 3 attempt(s) failed and the library "
            "gave up; last fetc");
  EXPECT_TRUE(contains(problem, "Couldn't connect to server")) << problem;
  EXPECT_TRUE(contains(result.out, "Result: failed (exit status 1)\n")) << result.out;
  EXPECT_TRUE(contains(result.err, "korrin-host: " + problem + "\n")) << result.err;
}

TEST(HostEndToEndFailures, ATimeOutWhileAFetchIsPendingShutsDownCleanly) {
  RunFiles files;
  ProcessResult result;
  ASSERT_NO_FATAL_FAILURE(run_with_held_fetch(files, {"--no-inventory"}, result));
  const State state(files.state_path());
  EXPECT_TRUE(cJSON_IsTrue(state.at({"timedOut"})));
  EXPECT_EQ(state.strings({"problems"}).at(0),
            "timed out after 1 s waiting for a configure request in progress, a network transfer");
  EXPECT_EQ(state.status("hs-1"), "waiting: the configure request had not ended");
  const cJSON* fetch = expect_timed_out_during_the_fetch(result, state);
  ASSERT_NE(fetch, nullptr);
  EXPECT_FALSE(cJSON_IsTrue(cJSON_GetObjectItemCaseSensitive(fetch, "delivered")));
}

TEST(HostEndToEndFailures, ATimeOutDuringASyncFetchDoesNotWaitForTheTransfer) {
  RunFiles files;
  ProcessResult result;
  // The transfer itself may take 30 s.
  ASSERT_NO_FATAL_FAILURE(run_with_held_fetch(files, {"--sync-fetch", "--no-inventory"}, result));
  expect_timed_out_during_the_fetch(result, State(files.state_path()));
}

TEST(HostEndToEndFailures, SigtermWhileAFetchIsPendingShutsDownCleanly) {
  RunFiles files;
  DocumentServer server;
  server.hold_requests();
  ASSERT_TRUE(server.start());
  std::vector<std::string> argv = {KORRIN_HOST_BINARY};
  const std::vector<std::string> arguments = files.office_arguments(server.port());
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  korrin_host_test::BackgroundProcess host;
  ASSERT_TRUE(host.start(argv, files.dir.path() + "/output.txt"));
  ASSERT_TRUE(server.wait_for_held_request(milliseconds(20000)));
  ASSERT_TRUE(host.send_signal(SIGTERM));
  const ProcessResult result = host.wait(milliseconds(10000));
  server.release_requests();
  ASSERT_FALSE(result.timed_out);
  EXPECT_EQ(result.exit_code, 4);
  const State state(files.state_path());
  EXPECT_TRUE(cJSON_IsTrue(state.at({"interrupted"})));
  EXPECT_EQ(state.strings({"problems"}).at(0), "interrupted; shutting down");
  EXPECT_EQ(state.number({"locksAlive"}), 0);
  EXPECT_EQ(state.number({"accessoryCopiesAlive"}), 0);
}

TEST(HostEndToEndFailures, AnAccessoryThatIsNotReadyYetIsConfiguredOnceItIs) {
  RunFiles files;
  DocumentServer server;
  ASSERT_TRUE(korrin_host_test::start_serving(server, files.dir.path()));
  // Ready 20 s (here 0.2 s) after connection: the library asks again every 6 s (0.06 s).
  const std::string accessory = R"([{"id": "hs-1", "type": 1, "vendor": "Zelor",
      "model": "Zelor H-9", "serial": "ZH9C0007A1", "firmware": "5-0-2", "configReady": 20}])";
  std::vector<std::string> arguments = files.office_arguments(server.port(), accessory);
  arguments.push_back("--no-inventory");
  const ProcessResult result = korrin_host_test::run_korrin_host(arguments);
  ASSERT_EQ(result.exit_code, 0) << result.out << result.err;
  const State state(files.state_path());
  EXPECT_EQ(state.applied("hs-1"), korrin_host_test::h9_settings());
  EXPECT_GE(state.number({"dispatcher", "deferred"}), 1);
  EXPECT_EQ(state.number({"dispatcher", "ran"}), 1);
}

TEST(HostEndToEndFailures, AnAccessoryTheLibraryDoesNotTakeFailsTheRun) {
  RunFiles files;
  DocumentServer server;
  ASSERT_TRUE(korrin_host_test::start_serving(server, files.dir.path()));
  const std::string port = std::to_string(server.port());
  const std::string accessories = R"([{"id": "spk-1", "type": 3, "model": "Speaker"}])";
  const ProcessResult result = korrin_host_test::run_korrin_host(
      files.run_arguments("http://{tftp}:" + port + "/office.json",
                          "http://{qelm}:" + port + "/inventory", {"127.0.0.1"}, accessories));
  EXPECT_EQ(result.exit_code, 1) << result.out << result.err;
  const State state(files.state_path());
  EXPECT_EQ(state.status("spk-1"),
            "not configured: the library queued no configure request (type 3)");
  EXPECT_EQ(state.strings({"problems"}),
            (std::vector<std::string>{
                "spk-1: not configured: the library queued no configure request (type 3)",
                "spk-1: inventory not sent: the library refused it: rics factory: Unsupported "
                "METRICS_TYPE: "}));
  EXPECT_TRUE(state.transfers().empty());
}

TEST(HostEndToEndFailures, ADocumentWithoutTheAccessorysModelIsReportedAsAFailure) {
  RunFiles files;
  DocumentServer server;
  ASSERT_TRUE(korrin_host_test::start_serving(server, files.dir.path()));
  const std::string accessory =
      R"([{"id": "hs-x", "type": 1, "vendor": "Other", "model": "Other M1", "serial": "M1-1"}])";
  std::vector<std::string> arguments = files.office_arguments(server.port(), accessory);
  arguments.push_back("--no-inventory");
  const ProcessResult result = korrin_host_test::run_korrin_host(arguments);
  EXPECT_EQ(result.exit_code, 1) << result.out << result.err;
  const State state(files.state_path());
  EXPECT_EQ(state.status("hs-x"), "failed: configuration failure reported (code 1)");
  EXPECT_EQ(state.numbers({"device", "accessories", "hs-x", "configFailures"}),
            std::vector<int>{1});
  EXPECT_TRUE(state.applied("hs-x").empty());
}

TEST(HostEndToEndFailures, ASyncFetchThatFailsIsReportedWithoutRetries) {
  RunFiles files;
  DocumentServer server;
  ASSERT_TRUE(korrin_host_test::start_serving(server, files.dir.path()));
  std::vector<std::string> arguments = files.run_arguments(
      "http://{tftp}:" + std::to_string(server.port()) + "/absent.json", "", kThreeServers);
  arguments.insert(arguments.end(), {"--sync-fetch", "--no-inventory"});
  const ProcessResult result = korrin_host_test::run_korrin_host(arguments);
  EXPECT_EQ(result.exit_code, 1) << result.out << result.err;
  const State state(files.state_path());
  EXPECT_EQ(state.status("hs-1"), "failed: configuration failure reported (code 1)");
  EXPECT_EQ(state.numbers({"configServerRequests"}), std::vector<int>{0});
  EXPECT_EQ(state.strings({"problems"}).at(0),
            "the configuration fetch failed 1 time(s); last fetch http://127.0.0.1:" +
                std::to_string(server.port()) + "/absent.json: failed: HTTP status 404");
}

TEST(HostEndToEndFailures, AnUnreadableFileIsNamed) {
  RunFiles files;
  const ProcessResult result = korrin_host_test::run_korrin_host(
      {"run", "--host", "/nonexistent/host.json", "--accessories",
       files.dir.write("a.json", korrin_host_test::one_headset())});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.err,
            "korrin-host: cannot read /nonexistent/host.json: No such file or directory\n");
  EXPECT_EQ(result.out, "");
}

TEST(HostEndToEndFailures, BadJsonIsNamedWithFileAndPosition) {
  RunFiles files;
  const std::string accessories = files.dir.write("acc.json", "[\n  {\"id\": \"a\",, }\n]\n");
  const ProcessResult result = korrin_host_test::run_korrin_host(
      {"run", "--host", files.dir.write("host.json", "{}"), "--accessories", accessories});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.err, "korrin-host: " + accessories + ":2:15: invalid JSON near ' }'\n");
}

TEST(HostEndToEndFailures, AMisspelledMemberIsNamed) {
  RunFiles files;
  const std::string host = files.dir.write("host.json", "{\"configServer\": [\"a\"]}");
  const ProcessResult result = korrin_host_test::run_korrin_host(
      {"run", "--host", host, "--accessories", files.dir.write("acc.json", "[]")});
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.err, "korrin-host: " + host + ": \"configServer\" is not a known member\n");
}

TEST(HostEndToEndFailures, AMissingCaFileIsNamed) {
  RunFiles files;
  std::vector<std::string> arguments =
      files.run_arguments("https://{tftp}/office.json", "", {"127.0.0.1"});
  arguments.insert(arguments.end(), {"--ca-file", "/nonexistent/ca.pem"});
  const ProcessResult result = korrin_host_test::run_korrin_host(arguments);
  EXPECT_EQ(result.exit_code, 2);
  EXPECT_EQ(result.err,
            "korrin-host: cannot read /nonexistent/ca.pem: No such file or directory\n");
}

}  // namespace
