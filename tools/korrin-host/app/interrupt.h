// SIGINT / SIGTERM turned into a flag that the waiting loop of `run` reads,
// so that an interrupted host still shuts the library down in order.
#ifndef KORRIN_HOST_APP_INTERRUPT_H
#define KORRIN_HOST_APP_INTERRUPT_H

namespace korrin_host {

/// Installs handlers for SIGINT and SIGTERM that set the flag.
void install_interrupt_handlers();
/// Whether an interrupt arrived.
bool interrupt_requested();
/// Clears the flag (tests).
void clear_interrupt();

}  // namespace korrin_host

#endif  // KORRIN_HOST_APP_INTERRUPT_H
