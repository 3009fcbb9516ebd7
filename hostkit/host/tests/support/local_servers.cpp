#include "support/local_servers.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <httplib.h>
#include <netinet/in.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace kit_test {

namespace {

int bound_port(int type) {
  const int fd = socket(AF_INET, type, 0);
  if (fd < 0) {
    return 0;
  }
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  int port = 0;
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
    port = ntohs(address.sin_port);
  }
  close(fd);
  return port;
}

bool udp_port_taken(int port) {
  const int fd = socket(AF_INET, SOCK_DGRAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(port));
  const bool taken =
      bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 && errno == EADDRINUSE;
  close(fd);
  return taken;
}

}  // namespace

TempDir::TempDir() {
  char pattern[] = "/tmp/korrin-kit-test-XXXXXX";
  if (mkdtemp(pattern) == nullptr) {
    throw std::runtime_error("mkdtemp failed");
  }
  path_ = pattern;
  chmod(path_.c_str(), 0755);
}

TempDir::~TempDir() {
  const std::string command = "rm -rf '" + path_ + "'";
  if (std::system(command.c_str()) != 0) {
    // A leftover directory in /tmp is harmless.
  }
}

std::string TempDir::write(const std::string& name, const std::string& content) const {
  std::string file = path_ + "/" + name;
  std::ofstream out(file, std::ios::binary);
  out << content;
  out.close();
  chmod(file.c_str(), 0644);
  return file;
}

HttpServer::HttpServer() : server_(new httplib::Server), scheme_("http") { install(); }

HttpServer::HttpServer(const std::string& certificate, const std::string& key)
    : server_(new httplib::SSLServer(certificate.c_str(), key.c_str())), scheme_("https") {
  install();
}

HttpServer::~HttpServer() { stop(); }

void HttpServer::install() {
  server_->Get(".*", [this](const httplib::Request& request, httplib::Response& response) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (holding_) {
      ++held_;
      changed_.notify_all();
      changed_.wait(lock, [this] { return !holding_ || stopping_; });
      --held_;
    }
    if (request.path == "/endless") {
      response.set_chunked_content_provider("application/octet-stream",
                                            [this](std::size_t, httplib::DataSink& sink) {
                                              const std::string block(std::size_t{64} * 1024, 'x');
                                              if (!sink.write(block.data(), block.size())) {
                                                return false;
                                              }
                                              std::lock_guard<std::mutex> guard(mutex_);
                                              endless_sent_ += block.size();
                                              return !stopping_;
                                            });
      return;
    }
    if (request.path == "/announced-large") {
      response.set_content_provider(std::size_t(1) << 30, "application/octet-stream",
                                    [this](std::size_t, std::size_t, httplib::DataSink& sink) {
                                      const std::string block(1024, 'y');
                                      std::this_thread::sleep_for(std::chrono::milliseconds(5));
                                      std::lock_guard<std::mutex> guard(mutex_);
                                      return !stopping_ && sink.write(block.data(), block.size());
                                    });
      return;
    }
    if (request.path == "/redirect-file") {
      response.set_redirect("file:///etc/hostname");
      return;
    }
    const auto document = documents_.find(request.path);
    if (document == documents_.end()) {
      response.status = 404;
      return;
    }
    response.set_content(document->second, "application/json");
  });
  server_->Post(".*", [this](const httplib::Request&, httplib::Response& response) {
    std::lock_guard<std::mutex> guard(mutex_);
    response.status = post_status_;
    response.set_content("{}", "application/json");
  });
  server_->set_logger([this](const httplib::Request& request, const httplib::Response&) {
    Received received;
    received.method = request.method;
    received.path = request.path;
    received.content_type = request.get_header_value("Content-Type");
    received.body = request.body;
    std::lock_guard<std::mutex> guard(mutex_);
    requests_.push_back(std::move(received));
    changed_.notify_all();
  });
}

bool HttpServer::start() {
  if (!server_->is_valid()) {
    return false;
  }
  port_ = server_->bind_to_any_port("127.0.0.1");
  if (port_ <= 0) {
    return false;
  }
  thread_ = std::thread([this] { server_->listen_after_bind(); });
  for (int i = 0; i < 500 && !server_->is_running(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return server_->is_running();
}

void HttpServer::stop() {
  {
    std::lock_guard<std::mutex> guard(mutex_);
    stopping_ = true;
    changed_.notify_all();
  }
  server_->stop();
  if (thread_.joinable()) {
    thread_.join();
  }
}

std::string HttpServer::url(const std::string& path) const {
  return scheme_ + "://127.0.0.1:" + std::to_string(port_) + path;
}

void HttpServer::set_document(const std::string& path, const std::string& body) {
  std::lock_guard<std::mutex> guard(mutex_);
  documents_[path] = body;
}

void HttpServer::set_post_status(int status) {
  std::lock_guard<std::mutex> guard(mutex_);
  post_status_ = status;
}

void HttpServer::hold() {
  std::lock_guard<std::mutex> guard(mutex_);
  holding_ = true;
}

void HttpServer::release() {
  std::lock_guard<std::mutex> guard(mutex_);
  holding_ = false;
  changed_.notify_all();
}

bool HttpServer::wait_for_held(std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [this] { return held_ > 0; });
}

bool HttpServer::wait_for_requests(std::size_t count, std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] { return requests_.size() >= count; });
}

std::vector<Received> HttpServer::requests() {
  std::lock_guard<std::mutex> guard(mutex_);
  return requests_;
}

std::size_t HttpServer::endless_bytes_sent() {
  std::lock_guard<std::mutex> guard(mutex_);
  return endless_sent_;
}

bool TftpServer::start(const std::string& directory, std::string& error) {
  const char* const program = "/usr/sbin/in.tftpd";
  if (access(program, X_OK) != 0) {
    error = std::string(program) + " is missing (Debian package tftpd-hpa)";
    return false;
  }
  port_ = bound_port(SOCK_DGRAM);
  const std::string address = "127.0.0.1:" + std::to_string(port_);
  const pid_t pid = fork();
  if (pid == 0) {
    const int null_fd = open("/dev/null", O_RDWR);
    dup2(null_fd, STDIN_FILENO);
    dup2(null_fd, STDOUT_FILENO);
    dup2(null_fd, STDERR_FILENO);
    execl(program, program, "--foreground", "--listen", "--address", address.c_str(), "--secure",
          directory.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  if (pid < 0) {
    error = "fork failed";
    return false;
  }
  pid_ = pid;
  for (int i = 0; i < 300; ++i) {
    if (udp_port_taken(port_)) {
      return true;
    }
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      error = "in.tftpd ended at once";
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  error = "in.tftpd did not bind its port";
  return false;
}

void TftpServer::stop() {
  if (pid_ <= 0) {
    return;
  }
  kill(pid_, SIGTERM);
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
}

bool make_certificate(const std::string& directory, std::string& certificate, std::string& key,
                      std::string& error) {
  certificate = directory + "/cert.pem";
  key = directory + "/key.pem";
  const std::string command =
      "/usr/bin/openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes "
      "-keyout '" +
      key + "' -out '" + certificate +
      "' -days 2 -subj /CN=127.0.0.1 -addext subjectAltName=IP:127.0.0.1 >/dev/null 2>&1";
  if (std::system(command.c_str()) != 0) {
    error = "openssl could not make a certificate";
    return false;
  }
  return true;
}

int free_tcp_port() { return bound_port(SOCK_STREAM); }

}  // namespace kit_test
