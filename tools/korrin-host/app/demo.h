// `korrin-host demo`: an embedded HTTP server on 127.0.0.1 serving the
// example configuration documents and collecting inventory POSTs, and a
// `run` of the example host and accessories against it.
#ifndef KORRIN_HOST_APP_DEMO_H
#define KORRIN_HOST_APP_DEMO_H

#include <iosfwd>
#include <string>

#include "run.h"

namespace korrin_host {

/// What `demo` is told; the run options' host, accessory and URL settings
/// are filled in by the demo itself.
struct DemoOptions {
  std::string documents_dir;
  RunOptions run;
};

/// Runs the demo, prints its summary to `out`, log records and errors to
/// `err`; returns the exit status.
int run_demo(const DemoOptions& options, std::ostream& out, std::ostream& err);

/// `url_template` pointed at the demo server: it must start with
/// "http://" + `token` ("{tftp}" or "{qelm}"); the port after the token is
/// replaced by `port` (or added). Empty, with `error` set, otherwise.
std::string demo_url(const std::string& url_template, const std::string& token, int port,
                     std::string& error);

/// The demo's summary: per accessory, the settings applied in order, the
/// firmware decision and the inventory document the server received.
std::string format_demo_summary(const RunReport& report, const std::string& server_url,
                                const std::string& documents_dir,
                                const std::vector<std::string>& server_log);

}  // namespace korrin_host

#endif  // KORRIN_HOST_APP_DEMO_H
