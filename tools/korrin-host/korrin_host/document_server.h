// A small HTTP(S) server on cpp-httplib that serves a directory of
// configuration documents and collects inventory POSTs: the demo's server
// and the test suites' stand-in for the configuration and inventory servers.
#ifndef KORRIN_HOST_DOCUMENT_SERVER_H
#define KORRIN_HOST_DOCUMENT_SERVER_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace httplib {
class Server;
}

namespace korrin_host {

/// One request the server answered.
struct ReceivedRequest {
  std::string method;
  std::string path;
  std::string content_type;
  std::string body;
  std::string local_address;  ///< the address the client reached
  int status = 0;             ///< the status answered
};

/// Serves GET from a directory and answers every POST with a status
/// (200 by default), remembering each request.
class DocumentServer {
 public:
  /// Plain HTTP.
  DocumentServer();
  /// HTTPS with a PEM certificate and its key.
  DocumentServer(const std::string& certificate_file, const std::string& key_file);
  DocumentServer(const DocumentServer&) = delete;
  DocumentServer& operator=(const DocumentServer&) = delete;
  /// Stops the server.
  ~DocumentServer();

  /// Files under `directory` are served at "/". Call before start().
  bool serve_directory(const std::string& directory);
  /// Every GET is answered with this status and no body (0: serve files).
  void set_get_status(int status);
  /// Every POST is answered with this status.
  void set_post_status(int status);
  /// While held, every GET waits (until release_requests() or stop()).
  void hold_requests();
  void release_requests();

  /// Listens on `address`, on `port` or (0) any free port; false on failure.
  bool start(const std::string& address = "127.0.0.1", int port = 0);
  /// The port listened on (0 before start()).
  int port() const { return port_; }
  /// Stops listening and joins the server thread. Idempotent.
  void stop();

  /// Every request answered so far, in the order the requests arrived (a
  /// client that waits for each answer sees its own order, whichever of the
  /// server's threads finished noting an answer first).
  std::vector<ReceivedRequest> requests() const;
  /// The POSTs among them.
  std::vector<ReceivedRequest> posts() const;
  /// Waits until at least `count` requests were answered; false on time-out.
  bool wait_for_requests(std::size_t count, std::chrono::milliseconds timeout) const;
  /// Waits until a GET is being held; false on time-out.
  bool wait_for_held_request(std::chrono::milliseconds timeout) const;

 private:
  void install_handlers();

  std::unique_ptr<httplib::Server> server_;
  std::thread thread_;
  int port_ = 0;
  int get_status_ = 0;
  int post_status_ = 200;
  bool holding_ = false;
  int held_ = 0;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<ReceivedRequest> requests_;
  // Arrival numbers: of each request being handled, and of each answered one
  // (parallel to requests_, ascending).
  std::uint64_t next_arrival_ = 0;
  std::map<const void*, std::uint64_t> arriving_;
  std::vector<std::uint64_t> arrivals_;
};

}  // namespace korrin_host

#endif  // KORRIN_HOST_DOCUMENT_SERVER_H
