// korrin::host::Network against servers started here on 127.0.0.1: http,
// https with a CA file, tftp and file fetches, POSTs, failures, time-outs,
// the response size bound, restricted protocols and cancellation at stop.
#include <arpa/inet.h>
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "korrin/config_manager.h"
#include "korrin/host/network.h"
#include "korrin/request.h"
#include "support/local_servers.h"
#include "support/recording_log.h"

namespace {

using korrin::dispatcher::RequestContext;
using korrin::host::Network;
using korrin::host::NetworkOptions;
using korrin::host::TransferRecord;
using std::chrono::milliseconds;

const char* const kDocument = "{\"templateConfiguration\": {\"updatedTime\": 1700000000}}\n";

class RecordingListener : public korrin::host::FetchListener {
 public:
  bool on_fetch_success(std::string& document) override {
    return note("success:" +
                (document.size() > 200 ? std::to_string(document.size()) + " bytes" : document));
  }
  bool on_fetch_failure(int reason) override { return note("failure:" + std::to_string(reason)); }
  std::vector<std::string> deliveries() {
    std::lock_guard<std::mutex> guard(mutex_);
    return deliveries_;
  }
  bool wait_for(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, milliseconds(15000),
                             [&] { return deliveries_.size() >= count; });
  }
  bool answer = true;

 private:
  bool note(const std::string& delivery) {
    std::lock_guard<std::mutex> guard(mutex_);
    deliveries_.push_back(delivery);
    changed_.notify_all();
    return answer;
  }
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> deliveries_;
};

RequestContext get(const std::string& url) {
  RequestContext request;
  request.url = url;
  request.requester = "CONFIGMGR";
  return request;
}

class KitNetwork : public ::testing::Test {
 protected:
  void SetUp() override {
    dir.write("config.json", kDocument);
    server.set_document("/config.json", kDocument);
    ASSERT_TRUE(server.start());
  }
  NetworkOptions options() {
    NetworkOptions options;
    options.connect_timeout_ms = 2000;
    options.transfer_timeout_ms = 5000;
    options.log = &log;
    return options;
  }

  kit_test::TempDir dir;
  kit_test::HttpServer server;
  kit_test::RecordingLog log;
  RecordingListener listener;
};

TEST_F(KitNetwork, AnHttpFetchIsPendingAndItsDocumentIsDeliveredLater) {
  Network network(options());
  network.set_listener(&listener);
  std::string response = "untouched";
  EXPECT_EQ(network.fetch(get(server.url("/config.json")), response),
            korrin::dispatcher::FETCH_PENDING);
  EXPECT_EQ(response, "untouched");
  ASSERT_TRUE(listener.wait_for(1));
  EXPECT_EQ(listener.deliveries(), std::vector<std::string>{std::string("success:") + kDocument});
  ASSERT_TRUE(network.wait_idle(milliseconds(5000)));
  const std::vector<TransferRecord> records = network.records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].kind, "fetch");
  EXPECT_EQ(records[0].requester, "CONFIGMGR");
  EXPECT_TRUE(records[0].ok);
  EXPECT_EQ(records[0].status, 200);
  EXPECT_EQ(records[0].bytes, std::string(kDocument).size());
  EXPECT_TRUE(records[0].listener_called);
  EXPECT_TRUE(records[0].listener_answer);
}

TEST_F(KitNetwork, ASynchronousFetchAnswersZeroWithTheDocumentOrOne) {
  NetworkOptions sync = options();
  sync.sync_fetch = true;
  Network network(sync);
  network.set_listener(&listener);
  std::string response;
  EXPECT_EQ(network.fetch(get(server.url("/config.json")), response),
            korrin::dispatcher::FETCH_DONE);
  EXPECT_EQ(response, kDocument);
  std::string missing;
  EXPECT_EQ(network.fetch(get(server.url("/missing.json")), missing),
            korrin::dispatcher::FETCH_UNAVAILABLE);
  EXPECT_EQ(missing, "");
  EXPECT_TRUE(listener.deliveries().empty());
  ASSERT_EQ(network.records().size(), 2u);
  EXPECT_EQ(network.records()[1].error, "HTTP status 404");
}

TEST_F(KitNetwork, AnHttpErrorIsDeliveredWithItsStatus) {
  Network network(options());
  network.set_listener(&listener);
  listener.answer = false;
  std::string response;
  network.fetch(get(server.url("/missing.json")), response);
  ASSERT_TRUE(listener.wait_for(1));
  EXPECT_EQ(listener.deliveries(), std::vector<std::string>{"failure:404"});
  ASSERT_TRUE(network.wait_idle(milliseconds(5000)));
  EXPECT_FALSE(network.records().at(0).listener_answer);
  EXPECT_EQ(log.lines_from("Host::Network: fetch: " + server.url("/missing.json") + " failed"),
            std::vector<std::string>{"2 Host::Network: fetch: " + server.url("/missing.json") +
                                     " failed: HTTP status 404"});
}

TEST_F(KitNetwork, ARefusedConnectionIsDeliveredWithTheTransportCode) {
  Network network(options());
  network.set_listener(&listener);
  std::string response;
  network.fetch(get("http://127.0.0.1:" + std::to_string(kit_test::free_tcp_port()) + "/x"),
                response);
  ASSERT_TRUE(listener.wait_for(1));
  EXPECT_EQ(listener.deliveries(),
            std::vector<std::string>{"failure:" + std::to_string(CURLE_COULDNT_CONNECT)});
}

TEST_F(KitNetwork, FileUrlsAreFetched) {
  Network network(options());
  network.set_listener(&listener);
  std::string response;
  network.fetch(get("file://" + dir.path() + "/config.json"), response);
  network.fetch(get("file://" + dir.path() + "/absent.json"), response);
  ASSERT_TRUE(listener.wait_for(2));
  EXPECT_EQ(listener.deliveries(),
            (std::vector<std::string>{std::string("success:") + kDocument,
                                      "failure:" + std::to_string(CURLE_FILE_COULDNT_READ_FILE)}));
}

TEST_F(KitNetwork, HttpsIsVerifiedAgainstTheGivenCaFile) {
  std::string certificate;
  std::string key;
  std::string error;
  ASSERT_TRUE(kit_test::make_certificate(dir.path(), certificate, key, error)) << error;
  kit_test::HttpServer https(certificate, key);
  https.set_document("/config.json", kDocument);
  ASSERT_TRUE(https.start());

  NetworkOptions trusting = options();
  trusting.ca_file = certificate;
  Network network(trusting);
  network.set_listener(&listener);
  std::string response;
  network.fetch(get(https.url("/config.json")), response);
  ASSERT_TRUE(listener.wait_for(1));
  EXPECT_EQ(listener.deliveries(), std::vector<std::string>{std::string("success:") + kDocument});

  // The system's store does not know the test's certificate.
  RecordingListener strict_listener;
  Network strict(options());
  strict.set_listener(&strict_listener);
  strict.fetch(get(https.url("/config.json")), response);
  ASSERT_TRUE(strict_listener.wait_for(1));
  EXPECT_EQ(strict_listener.deliveries(),
            std::vector<std::string>{"failure:" + std::to_string(CURLE_PEER_FAILED_VERIFICATION)});
}

TEST_F(KitNetwork, TftpUrlsAreFetchedFromARealTftpServer) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "in.tftpd needs root to serve a directory as its root";
  }
  kit_test::TftpServer tftp;
  std::string error;
  ASSERT_TRUE(tftp.start(dir.path(), error)) << error;
  Network network(options());
  network.set_listener(&listener);
  std::string response;
  network.fetch(get("tftp://127.0.0.1:" + std::to_string(tftp.port()) + "/config.json"), response);
  ASSERT_TRUE(listener.wait_for(1));
  EXPECT_EQ(listener.deliveries(), std::vector<std::string>{std::string("success:") + kDocument});
  ASSERT_TRUE(network.wait_idle(milliseconds(5000)));
  EXPECT_EQ(network.records().at(0).status, 0);  // no HTTP status for tftp
}

TEST_F(KitNetwork, APostSendsItsBodyAsJsonAndNeedsAnHttpUrl) {
  Network network(options());
  network.set_listener(&listener);
  RequestContext request;
  request.url = server.url("/inventory");
  request.method = "POST";
  request.requester = "INVENTORY";
  request.body = "{\"key\": \"headsetInventory\"}";
  network.post(request);
  request.body = "changed after the call";  // the network keeps its own copy
  RequestContext to_file;
  to_file.url = "file://" + dir.path() + "/inventory.json";
  to_file.method = "POST";
  network.post(to_file);
  ASSERT_TRUE(network.wait_idle(milliseconds(10000)));
  ASSERT_TRUE(server.wait_for_requests(1, milliseconds(5000)));
  const std::vector<kit_test::Received> received = server.requests();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0].method, "POST");
  EXPECT_EQ(received[0].path, "/inventory");
  EXPECT_EQ(received[0].content_type, "application/json");
  EXPECT_EQ(received[0].body, "{\"key\": \"headsetInventory\"}");
  const std::vector<TransferRecord> records = network.records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_TRUE(records[0].ok);
  EXPECT_EQ(records[0].requester, "INVENTORY");
  EXPECT_FALSE(records[1].ok);
  EXPECT_EQ(records[1].error, "a POST needs an http or https URL");
  EXPECT_TRUE(listener.deliveries().empty());
  // Each record keeps the body its POST sent, as the caller gave it.
  EXPECT_EQ(records[0].body, "{\"key\": \"headsetInventory\"}");
  EXPECT_EQ(records[1].body, "");
}

TEST_F(KitNetwork, EveryAcceptedRequestCountsAsActivity) {
  NetworkOptions synchronous = options();
  synchronous.sync_fetch = true;
  Network network(synchronous);
  EXPECT_EQ(network.activity(), 0u);
  std::string response;
  EXPECT_EQ(network.fetch(get(server.url("/config.json")), response),
            korrin::dispatcher::FETCH_DONE);
  EXPECT_EQ(network.activity(), 1u);
  RequestContext post;
  post.url = server.url("/inventory");
  post.body = "{}";
  network.post(post);
  EXPECT_EQ(network.activity(), 2u);
  ASSERT_TRUE(network.wait_idle(milliseconds(10000)));
  const std::vector<TransferRecord> records = network.records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].kind, "fetch");
  EXPECT_EQ(records[0].body, "");
  EXPECT_EQ(records[1].kind, "post");
  EXPECT_EQ(records[1].body, "{}");
  // A post after stop() is dropped, not accepted: the count stays.
  network.stop();
  network.post(post);
  EXPECT_EQ(network.activity(), 2u);
}

TEST_F(KitNetwork, ASlowServerRunsIntoTheTransferTimeOut) {
  server.hold();
  NetworkOptions quick = options();
  quick.transfer_timeout_ms = 300;
  Network network(quick);
  network.set_listener(&listener);
  std::string response;
  network.fetch(get(server.url("/config.json")), response);
  ASSERT_TRUE(listener.wait_for(1));
  EXPECT_EQ(listener.deliveries(),
            std::vector<std::string>{"failure:" + std::to_string(CURLE_OPERATION_TIMEDOUT)});
  ASSERT_TRUE(network.wait_idle(milliseconds(5000)));
  EXPECT_GE(network.records().at(0).duration_s, 0.25);
  EXPECT_LT(network.records().at(0).duration_s, 5.0);
  server.release();
}

TEST_F(KitNetwork, AServerThatNeverAcceptsRunsIntoTheConnectTimeOut) {
  // A listening socket whose accept queue is full drops further connection
  // attempts, so the client waits for its connect time-out.
  const int listening = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(bind(listening, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(listening, 0), 0);
  ASSERT_EQ(getsockname(listening, reinterpret_cast<sockaddr*>(&address), &length), 0);
  std::vector<int> fillers;
  for (int i = 0; i < 3; ++i) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
    // Non-blocking: the connection only waits in the backlog.
    (void)connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    fillers.push_back(fd);
  }
  NetworkOptions quick = options();
  quick.connect_timeout_ms = 300;
  Network network(quick);
  network.set_listener(&listener);
  std::string response;
  network.fetch(get("http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/x"),
                response);
  ASSERT_TRUE(listener.wait_for(1));
  EXPECT_EQ(listener.deliveries(),
            std::vector<std::string>{"failure:" + std::to_string(CURLE_OPERATION_TIMEDOUT)});
  ASSERT_TRUE(network.wait_idle(milliseconds(5000)));
  EXPECT_LT(network.records().at(0).duration_s, 3.0);
  for (const int fd : fillers) {
    close(fd);
  }
  close(listening);
}

TEST_F(KitNetwork, AServerThatNeverStopsSendingFailsAtTheSizeBound) {
  NetworkOptions bounded = options();
  bounded.max_response_bytes = std::size_t{1024} * 1024;
  bounded.transfer_timeout_ms = 60000;
  Network network(bounded);
  network.set_listener(&listener);
  std::string response;
  network.fetch(get(server.url("/endless")), response);
  ASSERT_TRUE(listener.wait_for(1));
  EXPECT_EQ(listener.deliveries(),
            std::vector<std::string>{"failure:" + std::to_string(CURLE_WRITE_ERROR)});
  ASSERT_TRUE(network.wait_idle(milliseconds(5000)));
  const TransferRecord record = network.records().at(0);
  EXPECT_FALSE(record.ok);
  EXPECT_EQ(record.error,
            "the response is larger than the limit of 1048576 bytes; transfer aborted");
  EXPECT_LE(record.bytes, 1024u * 1024u);
  EXPECT_EQ(log.lines_from("Host::Network: fetch: " + server.url("/endless") + " failed"),
            std::vector<std::string>{"2 Host::Network: fetch: " + server.url("/endless") +
                                     " failed: the response is larger than the limit of 1048576 "
                                     "bytes; transfer aborted"});
}

TEST_F(KitNetwork, AnAnnouncedLengthOverTheBoundFailsAtOnce) {
  NetworkOptions bounded = options();
  bounded.max_response_bytes = std::size_t{1024} * 1024;
  NetworkOptions sync = bounded;
  sync.sync_fetch = true;
  Network network(sync);
  std::string response;
  EXPECT_EQ(network.fetch(get(server.url("/announced-large")), response),
            korrin::dispatcher::FETCH_UNAVAILABLE);
  const TransferRecord record = network.records().at(0);
  EXPECT_EQ(record.transport_code, CURLE_FILESIZE_EXCEEDED);
  EXPECT_EQ(record.error,
            "the response is larger than the limit of 1048576 bytes; transfer aborted");
  EXPECT_EQ(record.bytes, 0u);
  EXPECT_LT(record.duration_s, 3.0);
}

TEST_F(KitNetwork, TheDefaultBoundIs64MiB) {
  EXPECT_EQ(NetworkOptions().max_response_bytes, 64u * 1024u * 1024u);
}

TEST_F(KitNetwork, OnlyHttpHttpsTftpAndFileAreAllowedAndRedirectsOnlyToHttp) {
  Network network(options());
  network.set_listener(&listener);
  std::string response;
  network.fetch(get("ftp://127.0.0.1/config.json"), response);
  network.fetch(get(server.url("/redirect-file")), response);
  ASSERT_TRUE(listener.wait_for(2));
  EXPECT_EQ(listener.deliveries(),
            (std::vector<std::string>{"failure:" + std::to_string(CURLE_UNSUPPORTED_PROTOCOL),
                                      "failure:" + std::to_string(CURLE_UNSUPPORTED_PROTOCOL)}));
}

TEST_F(KitNetwork, StopDuringATransferCancelsItAtOnceWithoutADelivery) {
  server.hold();
  Network network(options());
  network.set_listener(&listener);
  std::string response;
  network.fetch(get(server.url("/config.json")), response);
  network.fetch(get(server.url("/second.json")), response);
  ASSERT_TRUE(server.wait_for_held(milliseconds(10000)));
  const auto started = std::chrono::steady_clock::now();
  network.stop();
  const double stop_seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
  EXPECT_LT(stop_seconds, 0.9);  // not waiting for libcurl's one-second poll
  EXPECT_TRUE(listener.deliveries().empty());
  const std::vector<TransferRecord> records = network.records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_TRUE(records[0].cancelled);
  EXPECT_EQ(records[0].error, "cancelled by shut-down");
  EXPECT_TRUE(records[1].cancelled);
  EXPECT_EQ(records[1].error, "cancelled by shut-down before it started");
  server.release();
  // After stop: fetches unavailable, posts dropped, both logged.
  EXPECT_EQ(network.fetch(get("http://127.0.0.1:1/x"), response),
            korrin::dispatcher::FETCH_UNAVAILABLE);
  RequestContext post;
  post.url = "http://127.0.0.1:1/inventory";
  network.post(post);
  EXPECT_EQ(network.records().size(), 2u);
  const std::vector<std::string> lines = log.lines();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(std::vector<std::string>(lines.end() - 2, lines.end()),
            (std::vector<std::string>{
                "2 Host::Network: fetch: network stopped or no listener, cannot fetch "
                "http://127.0.0.1:1/x",
                "2 Host::Network: post: network stopped, request to http://127.0.0.1:1/inventory "
                "dropped"}));
}

TEST_F(KitNetwork, TheHistoryKeepsTheLatestRecords) {
  NetworkOptions sync = options();
  sync.sync_fetch = true;
  sync.history = 2;
  Network network(sync);
  std::string response;
  network.fetch(get(server.url("/a")), response);
  network.fetch(get(server.url("/b")), response);
  network.fetch(get(server.url("/c")), response);
  const std::vector<TransferRecord> records = network.records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].url, server.url("/b"));
  EXPECT_EQ(records[1].url, server.url("/c"));
}

// The manager's two completion entry points, recorded.
class RecordingManager : public korrin::config::ConfigManager {
 public:
  std::string initialize_accessory(const std::string&,
                                   const korrin::AccessoryInfoInterface*) override {
    return "";
  }
  bool configure_accessory(const std::string&, std::string) override { return false; }
  void remove_accessory(const std::string&) override {}
  bool on_fetch_config_success(std::string& data) override {
    std::lock_guard<std::mutex> guard(mutex);
    calls.push_back("on_fetch_config_success " + data);
    return true;
  }
  bool on_fetch_config_failure(int reason) override {
    std::lock_guard<std::mutex> guard(mutex);
    calls.push_back("on_fetch_config_failure " + std::to_string(reason));
    return false;
  }
  bool reset_to_admin_defaults(const std::string&) override { return false; }
  std::map<int, korrin::ConfigParam> retrieve_config(const std::string&) override { return {}; }
  std::string retrieve_config(const std::string&, int) override { return ""; }

  std::mutex mutex;
  std::vector<std::string> calls;
};

TEST_F(KitNetwork, TheManagerListenerCompletesFetchesThroughTheLibrarysEntryPoints) {
  RecordingManager manager;
  korrin::host::ConfigManagerListener completion(&manager);
  Network network(options());
  network.set_listener(&completion);
  std::string response;
  network.fetch(get(server.url("/config.json")), response);
  network.fetch(get(server.url("/missing.json")), response);
  ASSERT_TRUE(network.wait_idle(milliseconds(10000)));
  network.stop();
  EXPECT_EQ(manager.calls,
            (std::vector<std::string>{std::string("on_fetch_config_success ") + kDocument,
                                      "on_fetch_config_failure 404"}));
  const std::vector<TransferRecord> records = network.records();
  ASSERT_EQ(records.size(), 2u);
  EXPECT_TRUE(records[0].listener_answer);
  EXPECT_FALSE(records[1].listener_answer);
}

}  // namespace
