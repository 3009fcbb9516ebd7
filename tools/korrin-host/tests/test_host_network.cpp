// The reference host's network (the host kit's libcurl network) against the
// program's own document server and other real local servers: http, https, tftp and
// file fetches, POSTs, failures, time-outs and shutting down mid-transfer.
#include <arpa/inet.h>
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "host_support/process.h"
#include "host_support/servers.h"
#include "host_support/temp_dir.h"
#include "korrin/host/network.h"
#include "korrin_host/document_server.h"
#include "support/fake_host.h"

namespace {

using korrin::dispatcher::RequestContext;
using korrin::host::NetworkOptions;
using korrin::host::TransferRecord;
using korrin_host::DocumentServer;
using std::chrono::milliseconds;

const char* const kDocument = "{\"templateConfiguration\": {\"updatedTime\": 1700000000}}\n";

// Remembers every delivery and answers with `answer`.
class RecordingListener : public korrin::host::FetchListener {
 public:
  bool on_fetch_success(std::string& document) override {
    std::lock_guard<std::mutex> guard(mutex_);
    deliveries_.push_back("success:" + document);
    changed_.notify_all();
    return answer;
  }
  bool on_fetch_failure(int reason) override {
    std::lock_guard<std::mutex> guard(mutex_);
    deliveries_.push_back("failure:" + std::to_string(reason));
    changed_.notify_all();
    return answer;
  }
  std::vector<std::string> deliveries() {
    std::lock_guard<std::mutex> guard(mutex_);
    return deliveries_;
  }
  bool wait_for(std::size_t count, milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return deliveries_.size() >= count; });
  }
  bool answer = true;

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> deliveries_;
};

// The kit's network as korrin-host makes it, its records going to `log`.
class Network : public korrin::host::Network {
 public:
  Network(NetworkOptions options, korrin::log::HostLogInterface* log)
      : korrin::host::Network(with_log(std::move(options), log)) {}

 private:
  static NetworkOptions with_log(NetworkOptions options, korrin::log::HostLogInterface* log) {
    options.log = log;
    return options;
  }
};

RequestContext get(const std::string& url) {
  RequestContext request;
  request.url = url;
  request.requester = "CONFIGMGR";
  return request;
}

class HostNetwork : public ::testing::Test {
 protected:
  void SetUp() override { dir.write_readable("config.json", kDocument); }
  std::string http_url(const DocumentServer& server, const std::string& path) {
    return "http://127.0.0.1:" + std::to_string(server.port()) + path;
  }
  NetworkOptions quick_options() {
    NetworkOptions options;
    options.connect_timeout_ms = 2000;
    options.transfer_timeout_ms = 5000;
    return options;
  }
  // Fetches on the caller's thread, handing the document back at once.
  NetworkOptions sync_options() {
    NetworkOptions options = quick_options();
    options.sync_fetch = true;
    return options;
  }

  korrin_host_test::TempDir dir;
  korrin_test::CallLog calls;
  korrin_test::FakeLogSink log{&calls};
  RecordingListener listener;
};

TEST_F(HostNetwork, AnHttpFetchIsPendingAndItsDocumentIsDeliveredLater) {
  DocumentServer server;
  ASSERT_TRUE(korrin_host_test::start_serving(server, dir.path()));
  Network network(quick_options(), &log);
  network.set_listener(&listener);
  std::string response = "untouched";
  EXPECT_EQ(network.fetch(get(http_url(server, "/config.json")), response),
            korrin::dispatcher::FETCH_PENDING);
  EXPECT_EQ(response, "untouched");
  ASSERT_TRUE(listener.wait_for(1, milliseconds(10000)));
  EXPECT_EQ(listener.deliveries(), std::vector<std::string>{std::string("success:") + kDocument});
  ASSERT_TRUE(network.wait_idle(milliseconds(5000)));
  const std::vector<TransferRecord> records = network.records();
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].kind, "fetch");
  EXPECT_EQ(records[0].url, http_url(server, "/config.json"));
  EXPECT_EQ(records[0].requester, "CONFIGMGR");
  EXPECT_TRUE(records[0].ok);
  EXPECT_EQ(records[0].status, 200);
  EXPECT_EQ(records[0].bytes, std::string(kDocument).size());
  EXPECT_TRUE(records[0].listener_called);
  EXPECT_TRUE(records[0].listener_answer);
  // The server notes a request after answering it.
  ASSERT_TRUE(server.wait_for_requests(1, milliseconds(5000)));
  const std::vector<korrin_host::ReceivedRequest> requests = server.requests();
  ASSERT_EQ(requests.size(), 1u);
  EXPECT_EQ(requests[0].method, "GET");
  EXPECT_EQ(requests[0].path, "/config.json");
}

TEST_F(HostNetwork, ASyncFetchAnswersZeroWithTheWholeDocument) {
  DocumentServer server;
  ASSERT_TRUE(korrin_host_test::start_serving(server, dir.path()));
  Network network(sync_options(), &log);
  network.set_listener(&listener);
  std::string response;
  EXPECT_EQ(network.fetch(get(http_url(server, "/config.json")), response),
            korrin::dispatcher::FETCH_DONE);
  EXPECT_EQ(response, kDocument);
  EXPECT_TRUE(listener.deliveries().empty());
  ASSERT_EQ(network.records().size(), 1u);
  EXPECT_FALSE(network.records()[0].listener_called);
}

TEST_F(HostNetwork, ASyncFetchThatFailsAnswersOneWithNothing) {
  DocumentServer server;
  ASSERT_TRUE(korrin_host_test::start_serving(server, dir.path()));
  Network network(sync_options(), &log);
  std::string response;
  EXPECT_EQ(network.fetch(get(http_url(server, "/missing.json")), response),
            korrin::dispatcher::FETCH_UNAVAILABLE);
  EXPECT_EQ(response, "");
  ASSERT_EQ(network.records().size(), 1u);
  EXPECT_EQ(network.records()[0].status, 404);
  EXPECT_EQ(network.records()[0].error, "HTTP status 404");
}

TEST_F(HostNetwork, AnHttpErrorIsDeliveredAsAFailureWithTheStatus) {
  DocumentServer server;
  server.set_get_status(500);
  ASSERT_TRUE(server.start());
  Network network(quick_options(), &log);
  network.set_listener(&listener);
  listener.answer = false;
  std::string response;
  EXPECT_EQ(network.fetch(get(http_url(server, "/config.json")), response),
            korrin::dispatcher::FETCH_PENDING);
  ASSERT_TRUE(listener.wait_for(1, milliseconds(10000)));
  EXPECT_EQ(listener.deliveries(), std::vector<std::string>{"failure:500"});
  ASSERT_TRUE(network.wait_idle(milliseconds(5000)));
  const TransferRecord record = network.records().at(0);
  EXPECT_FALSE(record.ok);
  EXPECT_EQ(record.status, 500);
  EXPECT_EQ(record.transport_code, 0);
  EXPECT_EQ(record.error, "HTTP status 500");
  EXPECT_TRUE(record.listener_called);
  EXPECT_FALSE(record.listener_answer);
  const std::vector<korrin_test::LogRecord> records = log.records();
  ASSERT_FALSE(records.empty());
  EXPECT_EQ(records.back().level, korrin::log::warning);
  EXPECT_EQ(records.back().text, "Host::Network: fetch: " + http_url(server, "/config.json") +
                                     " failed: HTTP status 500");
}

TEST_F(HostNetwork, ARefusedConnectionIsDeliveredWithTheTransportCode) {
  const int port = korrin_host_test::free_tcp_port();
  Network network(quick_options(), &log);
  network.set_listener(&listener);
  std::string response;
  network.fetch(get("http://127.0.0.1:" + std::to_string(port) + "/config.json"), response);
  ASSERT_TRUE(listener.wait_for(1, milliseconds(10000)));
  EXPECT_EQ(listener.deliveries(),
            std::vector<std::string>{"failure:" + std::to_string(CURLE_COULDNT_CONNECT)});
  ASSERT_TRUE(network.wait_idle(milliseconds(5000)));
  const TransferRecord record = network.records().at(0);
  EXPECT_EQ(record.transport_code, CURLE_COULDNT_CONNECT);
  EXPECT_EQ(record.status, 0);
  EXPECT_NE(record.error.find("127.0.0.1"), std::string::npos) << record.error;
}

TEST_F(HostNetwork, FileUrlsAreFetched) {
  Network network(quick_options(), &log);
  network.set_listener(&listener);
  std::string response;
  network.fetch(get("file://" + dir.path() + "/config.json"), response);
  network.fetch(get("file://" + dir.path() + "/absent.json"), response);
  ASSERT_TRUE(listener.wait_for(2, milliseconds(10000)));
  EXPECT_EQ(listener.deliveries(),
            (std::vector<std::string>{std::string("success:") + kDocument,
                                      "failure:" + std::to_string(CURLE_FILE_COULDNT_READ_FILE)}));
}

TEST_F(HostNetwork, HttpsIsVerifiedAgainstTheGivenCaFile) {
  std::string certificate;
  std::string key;
  std::string error;
  ASSERT_TRUE(korrin_host_test::make_certificate(dir.path(), certificate, key, error)) << error;
  DocumentServer server(certificate, key);
  ASSERT_TRUE(korrin_host_test::start_serving(server, dir.path()));
  const std::string url = "https://127.0.0.1:" + std::to_string(server.port()) + "/config.json";

  NetworkOptions trusting = quick_options();
  trusting.ca_file = certificate;
  Network network(trusting, &log);
  network.set_listener(&listener);
  std::string response;
  network.fetch(get(url), response);
  ASSERT_TRUE(listener.wait_for(1, milliseconds(10000)));
  EXPECT_EQ(listener.deliveries(), std::vector<std::string>{std::string("success:") + kDocument});
  ASSERT_TRUE(network.wait_idle(milliseconds(5000)));
  EXPECT_EQ(network.records().at(0).status, 200);

  // The system's store does not know the test's certificate.
  RecordingListener strict_listener;
  Network strict(quick_options(), &log);
  strict.set_listener(&strict_listener);
  strict.fetch(get(url), response);
  ASSERT_TRUE(strict_listener.wait_for(1, milliseconds(10000)));
  EXPECT_EQ(strict_listener.deliveries(),
            std::vector<std::string>{"failure:" + std::to_string(CURLE_PEER_FAILED_VERIFICATION)});
}

TEST_F(HostNetwork, TftpUrlsAreFetchedFromARealTftpServer) {
  if (!korrin_host_test::running_as_root()) {
    GTEST_SKIP() << "in.tftpd needs root to serve a directory as its root";
  }
  korrin_host_test::TftpServer tftp;
  std::string error;
  ASSERT_TRUE(tftp.start(dir.path(), error)) << error;
  Network network(quick_options(), &log);
  network.set_listener(&listener);
  std::string response;
  network.fetch(get("tftp://127.0.0.1:" + std::to_string(tftp.port()) + "/config.json"), response);
  ASSERT_TRUE(listener.wait_for(1, milliseconds(10000)));
  EXPECT_EQ(listener.deliveries(), std::vector<std::string>{std::string("success:") + kDocument});
  ASSERT_TRUE(network.wait_idle(milliseconds(5000)));
  const TransferRecord record = network.records().at(0);
  EXPECT_TRUE(record.ok);
  EXPECT_EQ(record.status, 0);  // no HTTP status for tftp
}

TEST_F(HostNetwork, APostSendsTheBodyAsJson) {
  DocumentServer server;
  ASSERT_TRUE(server.start());
  Network network(quick_options(), &log);
  RequestContext request;
  request.url = http_url(server, "/inventory");
  request.method = "POST";
  request.requester = "INVENTORY";
  request.body = "{\"key\": \"headsetInventory\"}";
  network.post(request);
  request.body = "changed after the call";  // the network keeps its own copy
  ASSERT_TRUE(network.wait_idle(milliseconds(10000)));
  ASSERT_TRUE(server.wait_for_requests(1, milliseconds(5000)));
  const std::vector<korrin_host::ReceivedRequest> posts = server.posts();
  ASSERT_EQ(posts.size(), 1u);
  EXPECT_EQ(posts[0].path, "/inventory");
  EXPECT_EQ(posts[0].content_type, "application/json");
  EXPECT_EQ(posts[0].body, "{\"key\": \"headsetInventory\"}");
  const TransferRecord record = network.records().at(0);
  EXPECT_EQ(record.kind, "post");
  EXPECT_EQ(record.requester, "INVENTORY");
  EXPECT_TRUE(record.ok);
  EXPECT_EQ(record.status, 200);
  EXPECT_EQ(record.bytes, std::string("{\"key\": \"headsetInventory\"}").size());
  EXPECT_EQ(record.body, "{\"key\": \"headsetInventory\"}");
  EXPECT_FALSE(record.listener_called);
}

TEST_F(HostNetwork, ARefusedPostIsRecordedAndNothingIsDelivered) {
  DocumentServer server;
  server.set_post_status(503);
  ASSERT_TRUE(server.start());
  Network network(quick_options(), &log);
  network.set_listener(&listener);
  RequestContext request;
  request.url = http_url(server, "/inventory");
  request.method = "POST";
  request.body = "{}";
  network.post(request);
  ASSERT_TRUE(network.wait_idle(milliseconds(10000)));
  const TransferRecord record = network.records().at(0);
  EXPECT_FALSE(record.ok);
  EXPECT_EQ(record.status, 503);
  EXPECT_TRUE(listener.deliveries().empty());
}

TEST_F(HostNetwork, APostNeedsAnHttpUrl) {
  Network network(quick_options(), &log);
  RequestContext request;
  request.url = "file://" + dir.path() + "/inventory.json";
  request.method = "POST";
  network.post(request);
  ASSERT_TRUE(network.wait_idle(milliseconds(5000)));
  const TransferRecord record = network.records().at(0);
  EXPECT_FALSE(record.ok);
  EXPECT_EQ(record.error, "a POST needs an http or https URL");
}

TEST_F(HostNetwork, ASlowServerRunsIntoTheTransferTimeOut) {
  DocumentServer server;
  server.hold_requests();
  ASSERT_TRUE(server.start());
  NetworkOptions options = quick_options();
  options.transfer_timeout_ms = 300;
  Network network(options, &log);
  network.set_listener(&listener);
  std::string response;
  network.fetch(get(http_url(server, "/config.json")), response);
  ASSERT_TRUE(listener.wait_for(1, milliseconds(10000)));
  EXPECT_EQ(listener.deliveries(),
            std::vector<std::string>{"failure:" + std::to_string(CURLE_OPERATION_TIMEDOUT)});
  ASSERT_TRUE(network.wait_idle(milliseconds(5000)));
  const TransferRecord record = network.records().at(0);
  EXPECT_GE(record.duration_s, 0.25);
  EXPECT_LT(record.duration_s, 5.0);
  server.release_requests();
}

TEST_F(HostNetwork, AServerThatNeverAcceptsRunsIntoTheConnectTimeOut) {
  // A listening socket whose accept queue is full drops further connection
  // attempts, so the client waits for its connect time-out.
  const int listener_fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(bind(listener_fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(listener_fd, 0), 0);
  ASSERT_EQ(getsockname(listener_fd, reinterpret_cast<sockaddr*>(&address), &length), 0);
  std::vector<int> fillers;
  for (int i = 0; i < 3; ++i) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
    // Non-blocking: the connection only waits in the backlog.
    (void)connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    fillers.push_back(fd);
  }
  NetworkOptions options = quick_options();
  options.connect_timeout_ms = 300;
  Network network(options, &log);
  network.set_listener(&listener);
  std::string response;
  network.fetch(get("http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/x"),
                response);
  ASSERT_TRUE(listener.wait_for(1, milliseconds(10000)));
  EXPECT_EQ(listener.deliveries(),
            std::vector<std::string>{"failure:" + std::to_string(CURLE_OPERATION_TIMEDOUT)});
  ASSERT_TRUE(network.wait_idle(milliseconds(5000)));
  EXPECT_LT(network.records().at(0).duration_s, 3.0);
  for (const int fd : fillers) {
    close(fd);
  }
  close(listener_fd);
}

TEST_F(HostNetwork, StopDuringATransferCancelsItAtOnceWithoutADelivery) {
  DocumentServer server;
  server.hold_requests();
  ASSERT_TRUE(server.start());
  Network network(quick_options(), &log);
  network.set_listener(&listener);
  std::string response;
  network.fetch(get(http_url(server, "/config.json")), response);
  network.fetch(get(http_url(server, "/second.json")), response);
  ASSERT_TRUE(server.wait_for_held_request(milliseconds(10000)));
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
  EXPECT_EQ(records[1].url, http_url(server, "/second.json"));
  EXPECT_EQ(records[1].error, "cancelled by shut-down before it started");
  EXPECT_TRUE(network.idle());
  server.release_requests();
}

TEST_F(HostNetwork, AfterStopFetchesAreUnavailableAndPostsDropped) {
  Network network(quick_options(), &log);
  network.set_listener(&listener);
  network.stop();
  network.stop();
  std::string response;
  EXPECT_EQ(network.fetch(get("http://127.0.0.1:1/x"), response),
            korrin::dispatcher::FETCH_UNAVAILABLE);
  RequestContext request;
  request.url = "http://127.0.0.1:1/inventory";
  network.post(request);
  EXPECT_TRUE(network.records().empty());
  EXPECT_EQ(log.texts_containing("Host::Network"),
            (std::vector<std::string>{
                "Host::Network: fetch: network stopped or no listener, cannot fetch "
                "http://127.0.0.1:1/x",
                "Host::Network: post: network stopped, request to http://127.0.0.1:1/inventory "
                "dropped"}));
}

TEST_F(HostNetwork, WithoutAListenerAnAsyncFetchIsUnavailable) {
  Network network(quick_options(), &log);
  std::string response;
  EXPECT_EQ(network.fetch(get("http://127.0.0.1:1/x"), response),
            korrin::dispatcher::FETCH_UNAVAILABLE);
  EXPECT_EQ(network.activity(), 0u);
}

TEST_F(HostNetwork, TransfersHappenOneAtATimeInArrivalOrder) {
  DocumentServer server;
  ASSERT_TRUE(korrin_host_test::start_serving(server, dir.path()));
  Network network(quick_options(), &log);
  network.set_listener(&listener);
  std::string response;
  RequestContext post;
  post.url = http_url(server, "/inventory");
  post.method = "POST";
  post.body = "{}";
  network.fetch(get(http_url(server, "/config.json")), response);
  network.post(post);
  network.fetch(get(http_url(server, "/missing.json")), response);
  EXPECT_EQ(network.activity(), 3u);
  ASSERT_TRUE(listener.wait_for(2, milliseconds(10000)));
  ASSERT_TRUE(network.wait_idle(milliseconds(5000)));
  ASSERT_TRUE(server.wait_for_requests(3, milliseconds(5000)));
  // The server records a request after it has answered it, so two of its
  // threads may record in either order: it proves only what arrived.
  std::vector<std::string> received;
  for (const korrin_host::ReceivedRequest& request : server.requests()) {
    received.push_back(request.method + " " + request.path);
  }
  std::sort(received.begin(), received.end());
  EXPECT_EQ(received,
            (std::vector<std::string>{"GET /config.json", "GET /missing.json", "POST /inventory"}));
  EXPECT_EQ(listener.deliveries(),
            (std::vector<std::string>{std::string("success:") + kDocument, "failure:404"}));
  // The network's own records give the order: each transfer starts once the
  // one before it has ended (a microsecond allowed for rounding).
  const std::vector<TransferRecord> records = network.records();
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[0].kind + " " + records[0].url, "fetch " + http_url(server, "/config.json"));
  EXPECT_EQ(records[1].kind + " " + records[1].url, "post " + http_url(server, "/inventory"));
  EXPECT_EQ(records[2].kind + " " + records[2].url, "fetch " + http_url(server, "/missing.json"));
  EXPECT_LE(records[0].started_s + records[0].duration_s, records[1].started_s + 1e-6);
  EXPECT_LE(records[1].started_s + records[1].duration_s, records[2].started_s + 1e-6);
}

TEST_F(HostNetwork, OnlyTheFourSchemesAreAllowed) {
  Network network(quick_options(), &log);
  network.set_listener(&listener);
  std::string response;
  network.fetch(get("ftp://127.0.0.1/config.json"), response);
  ASSERT_TRUE(listener.wait_for(1, milliseconds(10000)));
  EXPECT_EQ(listener.deliveries(),
            std::vector<std::string>{"failure:" + std::to_string(CURLE_UNSUPPORTED_PROTOCOL)});
}

}  // namespace
