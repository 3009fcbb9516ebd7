/// \file
/// Named loggers and the one-statement stream that composes a record.
#ifndef KORRIN_LOGGER_H
#define KORRIN_LOGGER_H

#include <sstream>
#include <string>

#include "korrin/export.h"
#include "korrin/host_log.h"

namespace korrin {
namespace log {

/// Composes one record and hands it to the sink when destroyed.
///
/// Returned by value from a Logger level operation and used for one full
/// expression: `logger->notice() << "send: Enter";`.
class KORRIN_API LogStream {
 public:
  /// Starts a record holding `name` and ": "; booleans print as words.
  LogStream(HostLogInterface* host, LogLevel level, const std::string& name, bool enabled);
  // Returned only as a prvalue (guaranteed elision), so never copied or moved.
  LogStream(LogStream&&) = delete;
  LogStream(const LogStream&) = delete;
  LogStream& operator=(const LogStream&) = delete;
  LogStream& operator=(LogStream&&) = delete;
  /// Delivers the record (see flush()).
  virtual ~LogStream();

  /// Appends the formatted form of `value` to the record.
  template <typename T>
  LogStream& operator<<(const T& value) {
    stream << value;
    return *this;
  }

  /// Hands the text composed so far to the sink, unless disabled or without a sink.
  void flush();

  /// The record composed so far: a stream lent to this record by a
  /// per-thread pool (set up like a new one) and taken back when the record
  /// has been delivered.
  std::ostringstream& stream;
  HostLogInterface* host;  ///< the sink the record goes to; may be null
  LogLevel level;          ///< severity handed to the sink
  bool enabled;            ///< false: the record is dropped
};

/// A named logger bound to the host sink. Made by create_logger().
class KORRIN_API Logger {
 public:
  /// A logger named `name` on `host`; a disabled one delivers nothing.
  Logger(HostLogInterface* host, const std::string& name, bool enabled);
  virtual ~Logger();

  ///@{
  /// A record at the level of the operation's name.
  LogStream critical();
  LogStream error();
  LogStream warning();
  LogStream notice();
  LogStream info();
  LogStream debug();
  ///@}

  HostLogInterface* host;  ///< the sink records go to; may be null (nothing is delivered)
  std::string name;        ///< put in front of every record, followed by ": "
  bool enabled;            ///< false: records are composed but not delivered
};

}  // namespace log
}  // namespace korrin

/// A new logger on `host`; the caller owns it and frees it with delete_logger().
KORRIN_API korrin::log::Logger* create_logger(korrin::log::HostLogInterface* host,
                                              const std::string& name, bool enabled);
/// Destroys a logger made by create_logger(); null is ignored.
KORRIN_API void delete_logger(korrin::log::Logger* logger);

#endif  // KORRIN_LOGGER_H
