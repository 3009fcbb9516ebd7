// Servers the host tests start on 127.0.0.1: the document server serving a
// directory, a TFTP server (Debian's in.tftpd in the foreground) and a
// certificate for the HTTPS server.
#ifndef KORRIN_HOST_TESTS_SERVERS_H
#define KORRIN_HOST_TESTS_SERVERS_H

#include <string>

#include "host_support/process.h"

namespace korrin_host {
class DocumentServer;
}

namespace korrin_host_test {

/// Starts `server` on 127.0.0.1, on any free port, serving the files under
/// `directory`; false when it cannot.
bool start_serving(korrin_host::DocumentServer& server, const std::string& directory);

/// in.tftpd serving one directory on an unprivileged loopback UDP port.
class TftpServer {
 public:
  /// Starts the server on a free port; false (with `error`) when it cannot.
  bool start(const std::string& directory, std::string& error);
  int port() const { return port_; }
  void stop() { process_.stop(); }

 private:
  BackgroundProcess process_;
  int port_ = 0;
};

/// Writes a self-signed certificate for 127.0.0.1 ("cert.pem", "key.pem")
/// into `directory` with the openssl program.
bool make_certificate(const std::string& directory, std::string& certificate, std::string& key,
                      std::string& error);

}  // namespace korrin_host_test

#endif  // KORRIN_HOST_TESTS_SERVERS_H
