#include "host_support/servers.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "korrin_host/document_server.h"

namespace korrin_host_test {

namespace {

const char* const kTftpServer = "/usr/sbin/in.tftpd";
const char* const kOpenssl = "/usr/bin/openssl";

// The port is taken once binding it fails with "address in use".
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

bool start_serving(korrin_host::DocumentServer& server, const std::string& directory) {
  return server.serve_directory(directory) && server.start();
}

bool TftpServer::start(const std::string& directory, std::string& error) {
  if (access(kTftpServer, X_OK) != 0) {
    error = std::string(kTftpServer) + " is missing (Debian package tftpd-hpa)";
    return false;
  }
  port_ = free_udp_port();
  // --secure serves `directory` as the root; the files must be world-readable.
  if (!process_.start({kTftpServer, "--foreground", "--listen", "--address",
                       "127.0.0.1:" + std::to_string(port_), "--secure", directory})) {
    error = "cannot start in.tftpd";
    return false;
  }
  for (int i = 0; i < 300; ++i) {
    if (udp_port_taken(port_)) {
      return true;
    }
    if (process_.wait(std::chrono::milliseconds(10)).exit_code >= 0) {
      error = "in.tftpd ended at once";
      return false;
    }
  }
  error = "in.tftpd did not bind its port";
  return false;
}

bool make_certificate(const std::string& directory, std::string& certificate, std::string& key,
                      std::string& error) {
  certificate = directory + "/cert.pem";
  key = directory + "/key.pem";
  const ProcessResult result = run_process(
      {kOpenssl, "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
       "-nodes", "-keyout", key, "-out", certificate, "-days", "2", "-subj", "/CN=127.0.0.1",
       "-addext", "subjectAltName=IP:127.0.0.1"},
      std::chrono::seconds(60));
  if (result.exit_code != 0) {
    error = "openssl failed: " + result.err;
    return false;
  }
  return true;
}

}  // namespace korrin_host_test
