// Servers the host kit's tests start on 127.0.0.1: an HTTP(S) server on
// cpp-httplib with fixed documents and misbehaving routes, Debian's in.tftpd,
// and a scratch directory.
#ifndef KORRIN_HOSTKIT_TESTS_LOCAL_SERVERS_H
#define KORRIN_HOSTKIT_TESTS_LOCAL_SERVERS_H

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace httplib {
class Server;
}

namespace kit_test {

/// A scratch directory removed with its content.
class TempDir {
 public:
  TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  ~TempDir();
  const std::string& path() const { return path_; }
  /// Writes a world-readable file (in.tftpd serves as an unprivileged user).
  std::string write(const std::string& name, const std::string& content) const;

 private:
  std::string path_;
};

/// One request the server answered.
struct Received {
  std::string method;
  std::string path;
  std::string content_type;
  std::string body;
};

/// An HTTP (or, with a certificate, HTTPS) server on 127.0.0.1.
///
/// GET of a path given to set_document() answers it; "/endless" streams
/// bytes without end (chunked, no length); "/announced-large" announces a
/// length of 1 GiB and sends slowly; "/redirect-file" redirects to a file://
/// URL; anything else is 404. hold() makes GETs wait until release(). POST
/// answers post_status with "{}".
class HttpServer {
 public:
  HttpServer();
  HttpServer(const std::string& certificate, const std::string& key);
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;
  ~HttpServer();

  bool start();
  void stop();
  int port() const { return port_; }
  std::string url(const std::string& path) const;

  void set_document(const std::string& path, const std::string& body);
  void set_post_status(int status);
  void hold();
  void release();
  /// Waits until a GET is being held.
  bool wait_for_held(std::chrono::milliseconds timeout);
  /// Waits until `count` requests were answered.
  bool wait_for_requests(std::size_t count, std::chrono::milliseconds timeout);
  std::vector<Received> requests();
  /// Bytes sent so far on "/endless".
  std::size_t endless_bytes_sent();

 private:
  void install();

  std::unique_ptr<httplib::Server> server_;
  std::string scheme_;
  std::thread thread_;
  int port_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::string, std::string> documents_;
  std::vector<Received> requests_;
  int post_status_ = 200;
  bool holding_ = false;
  int held_ = 0;
  bool stopping_ = false;
  std::size_t endless_sent_ = 0;
};

/// in.tftpd serving one directory on a free loopback UDP port.
class TftpServer {
 public:
  TftpServer() = default;
  TftpServer(const TftpServer&) = delete;
  TftpServer& operator=(const TftpServer&) = delete;
  ~TftpServer() { stop(); }
  bool start(const std::string& directory, std::string& error);
  int port() const { return port_; }
  void stop();

 private:
  pid_t pid_ = -1;
  int port_ = 0;
};

/// A self-signed certificate for 127.0.0.1 made with the openssl program.
bool make_certificate(const std::string& directory, std::string& certificate, std::string& key,
                      std::string& error);

/// A free TCP port on 127.0.0.1 that nobody listens on.
int free_tcp_port();

}  // namespace kit_test

#endif  // KORRIN_HOSTKIT_TESTS_LOCAL_SERVERS_H
