// The korrin-host command line.
#ifndef KORRIN_HOST_APP_CLI_H
#define KORRIN_HOST_APP_CLI_H

#include <iosfwd>

namespace korrin_host {

/// Parses the arguments and runs `run`, `demo` or `plan`; returns the exit status
/// (2 for bad usage). Reports go to `out`, log records and errors to `err`.
int korrin_host_main(int argc, const char* const* argv, std::ostream& out, std::ostream& err);

}  // namespace korrin_host

#endif  // KORRIN_HOST_APP_CLI_H
