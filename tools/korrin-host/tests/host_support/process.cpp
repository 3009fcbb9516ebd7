#include "host_support/process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

namespace korrin_host_test {

namespace {

using Clock = std::chrono::steady_clock;

std::vector<char*> c_arguments(const std::vector<std::string>& argv) {
  std::vector<char*> arguments;
  for (const std::string& argument : argv) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  return arguments;
}

void decode_status(int status, ProcessResult& result) {
  if (WIFEXITED(status)) {
    result.exit_code = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    result.signal = WTERMSIG(status);
  }
}

int bound_port(int type) {
  const int fd = socket(AF_INET, type, 0);
  if (fd < 0) {
    return 0;
  }
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = 0;
  socklen_t length = sizeof address;
  int port = 0;
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
    port = ntohs(address.sin_port);
  }
  close(fd);
  return port;
}

}  // namespace

ProcessResult run_process(const std::vector<std::string>& argv, std::chrono::milliseconds timeout) {
  ProcessResult result;
  int out_pipe[2];
  int err_pipe[2];
  if (pipe2(out_pipe, O_CLOEXEC) != 0 || pipe2(err_pipe, O_CLOEXEC) != 0) {
    result.err = "pipe failed";
    return result;
  }
  std::vector<char*> arguments = c_arguments(argv);
  const Clock::time_point started = Clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(out_pipe[1], STDOUT_FILENO);
    dup2(err_pipe[1], STDERR_FILENO);
    const int null_fd = open("/dev/null", O_RDONLY);
    dup2(null_fd, STDIN_FILENO);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  close(out_pipe[1]);
  close(err_pipe[1]);
  pollfd fds[2] = {{out_pipe[0], POLLIN, 0}, {err_pipe[0], POLLIN, 0}};
  std::string* targets[2] = {&result.out, &result.err};
  int open_pipes = 2;
  while (open_pipes > 0) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(started + timeout - Clock::now());
    if (left.count() <= 0) {
      result.timed_out = true;
      kill(pid, SIGKILL);
      break;
    }
    if (poll(fds, 2, static_cast<int>(left.count())) < 0 && errno != EINTR) {
      break;
    }
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd >= 0 && (fds[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
        char buffer[4096];
        const ssize_t count = read(fds[i].fd, buffer, sizeof buffer);
        if (count > 0) {
          targets[i]->append(buffer, static_cast<std::size_t>(count));
        } else {
          close(fds[i].fd);
          fds[i].fd = -1;
          --open_pipes;
        }
      }
    }
  }
  for (pollfd& fd : fds) {
    if (fd.fd >= 0) {
      close(fd.fd);
    }
  }
  int status = 0;
  waitpid(pid, &status, 0);
  decode_status(status, result);
  result.seconds = std::chrono::duration<double>(Clock::now() - started).count();
  return result;
}

bool BackgroundProcess::start(const std::vector<std::string>& argv, const std::string& log_file) {
  if (pid_ > 0) {
    return false;
  }
  std::vector<char*> arguments = c_arguments(argv);
  const pid_t pid = fork();
  if (pid == 0) {
    const int out_fd = log_file.empty()
                           ? open("/dev/null", O_WRONLY)
                           : open(log_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(out_fd, STDOUT_FILENO);
    dup2(out_fd, STDERR_FILENO);
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  if (pid < 0) {
    return false;
  }
  pid_ = pid;
  return true;
}

bool BackgroundProcess::send_signal(int signal) const {
  return pid_ > 0 && kill(pid_, signal) == 0;
}

ProcessResult BackgroundProcess::wait(std::chrono::milliseconds timeout) {
  ProcessResult result;
  const Clock::time_point deadline = Clock::now() + timeout;
  while (pid_ > 0) {
    int status = 0;
    const pid_t done = waitpid(pid_, &status, WNOHANG);
    if (done == pid_) {
      decode_status(status, result);
      pid_ = -1;
      return result;
    }
    if (Clock::now() >= deadline) {
      result.timed_out = true;
      return result;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return result;
}

void BackgroundProcess::stop() {
  if (pid_ <= 0) {
    return;
  }
  kill(pid_, SIGTERM);
  if (wait(std::chrono::milliseconds(1000)).timed_out) {
    kill(pid_, SIGKILL);
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
  }
}

int free_udp_port() { return bound_port(SOCK_DGRAM); }

int free_tcp_port() { return bound_port(SOCK_STREAM); }

bool running_as_root() { return geteuid() == 0; }

}  // namespace korrin_host_test
