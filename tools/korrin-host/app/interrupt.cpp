#include "interrupt.h"

#include <csignal>

namespace korrin_host {

namespace {

volatile std::sig_atomic_t interrupted = 0;

void on_signal(int) { interrupted = 1; }

}  // namespace

void install_interrupt_handlers() {
  struct sigaction action {};
  action.sa_handler = on_signal;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool interrupt_requested() { return interrupted != 0; }

void clear_interrupt() { interrupted = 0; }

}  // namespace korrin_host
