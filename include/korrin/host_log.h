/// \file
/// Severity levels and the host's log sink.
#ifndef KORRIN_HOST_LOG_H
#define KORRIN_HOST_LOG_H

#include <string>

#include "korrin/export.h"

namespace korrin {
namespace log {

/// Severity of a log record; the host sink receives these integers.
enum LogLevel { critical = 0, error = 1, warning = 2, notice = 3, info = 4, debug = 5 };

/// The host's log sink (plugin table member `log`).
///
/// Called on whatever thread runs the logging component: a host thread
/// inside a manager or metric call, or the dispatcher's thread inside a
/// task. The text is the whole record, without a line terminator; copy it
/// if it must outlive the call. Records are delivered from a destructor,
/// so the sink must not throw: an exception leaving it ends the process.
class KORRIN_API HostLogInterface {
 public:
  virtual ~HostLogInterface() = default;
  /// Receives one finished record at the given severity.
  virtual void write_record(LogLevel level, const std::string& text) = 0;
};

}  // namespace log
}  // namespace korrin

#endif  // KORRIN_HOST_LOG_H
