// Child processes for the host tests: programs run to completion with their
// output captured, and servers (in.tftpd, openssl) started and stopped.
#ifndef KORRIN_HOST_TESTS_PROCESS_H
#define KORRIN_HOST_TESTS_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace korrin_host_test {

/// What a finished program did.
struct ProcessResult {
  int exit_code = -1;  ///< -1 when it ended by a signal
  int signal = 0;      ///< the signal that ended it, or 0
  bool timed_out = false;
  std::string out;
  std::string err;
  double seconds = 0;
};

/// Runs `argv` (argv[0] is a path) with its standard output and error
/// captured; kills it with SIGKILL after `timeout`.
ProcessResult run_process(const std::vector<std::string>& argv, std::chrono::milliseconds timeout);

/// A program running in the background until stop() or destruction.
class BackgroundProcess {
 public:
  BackgroundProcess() = default;
  BackgroundProcess(const BackgroundProcess&) = delete;
  BackgroundProcess& operator=(const BackgroundProcess&) = delete;
  ~BackgroundProcess() { stop(); }

  /// Starts `argv` with its output sent to `log_file` (or discarded when empty).
  bool start(const std::vector<std::string>& argv, const std::string& log_file = std::string());
  /// Sends `signal` to the program (only this one process).
  bool send_signal(int signal) const;
  /// Waits up to `timeout` for the program to end; its result, timed_out if it did not.
  ProcessResult wait(std::chrono::milliseconds timeout);
  /// SIGTERM, then SIGKILL after a second; reaps it. Idempotent.
  void stop();
  pid_t pid() const { return pid_; }
  bool running() const { return pid_ > 0; }

 private:
  pid_t pid_ = -1;
};

/// A free UDP port on 127.0.0.1 (closed again: a short race is accepted).
int free_udp_port();
/// A free TCP port on 127.0.0.1 nobody listens on.
int free_tcp_port();

/// Whether the tests run as root (in.tftpd needs it to chroot).
bool running_as_root();

}  // namespace korrin_host_test

#endif  // KORRIN_HOST_TESTS_PROCESS_H
