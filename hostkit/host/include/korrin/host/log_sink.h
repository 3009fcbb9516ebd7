// A log sink for libkorrin's records: one line per record on an output
// stream (standard error by default) with a UTC timestamp and the level name,
// filtered by a maximum level, and optionally copied to syslog(3).
#ifndef KORRIN_HOST_LOG_SINK_H
#define KORRIN_HOST_LOG_SINK_H

#include <chrono>
#include <functional>
#include <iosfwd>
#include <mutex>
#include <string>

#include "korrin/host_log.h"

namespace korrin {
namespace host {

/// Lower-case name of a level ("notice"); "level?" for a value out of range.
const char* level_name(korrin::log::LogLevel level);

/// Reads a level name ("warning", any case) or its number ("2") into `level`.
/// Returns false, leaving `level` alone, for anything else.
bool parse_log_level(const std::string& text, korrin::log::LogLevel& level);

/// The syslog(3) priority of a level (LOG_CRIT ... LOG_DEBUG).
int syslog_priority(korrin::log::LogLevel level);

/// "2024-05-01T12:30:45.123Z": UTC, millisecond precision.
std::string format_utc_timestamp(std::chrono::system_clock::time_point when);

/// Where and what the sink writes.
struct LogSinkOptions {
  /// Records of a higher (less severe) level are dropped.
  korrin::log::LogLevel max_level = korrin::log::warning;
  /// Write every record that passes the filter to the output stream.
  bool stream = true;
  /// Copy every record that passes the filter to syslog(3) (facility
  /// LOG_USER, the level mapped to the syslog priority).
  bool syslog = false;
  /// Identity given to openlog(3); the sink keeps the string alive.
  std::string syslog_ident = "korrin";
};

/// A thread-safe line-per-record sink, korrin::log::HostLogInterface.
///
/// Each record becomes "TIMESTAMP LEVEL TEXT" (the level padded to eight
/// columns), written with one call under a lock so that records from the
/// dispatcher, network and host threads never interleave.
///
/// Threads: write_record() may be called from any thread at any time,
/// including from destructors. Ownership: the sink does not own the stream;
/// it must outlive every logger bound to it (destroy it after
/// korrin::config::delete_config_manager() and after stopping the dispatcher
/// and the network). With syslog on, the sink calls openlog(3) and closelog(3),
/// which are process-wide: use one syslog sink per process.
class LogSink : public korrin::log::HostLogInterface {
 public:
  using Clock = std::function<std::chrono::system_clock::time_point()>;
  using SyslogWriter = std::function<void(int priority, const std::string& text)>;

  /// Writes to `out`, which must outlive the sink (std::cerr by default).
  explicit LogSink(LogSinkOptions options);
  LogSink(LogSinkOptions options, std::ostream& out);
  LogSink(const LogSink&) = delete;
  LogSink& operator=(const LogSink&) = delete;
  ~LogSink() override;

  /// Never throws: a failing stream or writer loses the record only.
  void write_record(korrin::log::LogLevel level, const std::string& text) override;

  /// Replaces the clock of the timestamps (tests pin the time with it).
  void set_clock(Clock clock);
  /// Replaces syslog(3) as the destination of the syslog copy.
  void set_syslog_writer(SyslogWriter writer);

  korrin::log::LogLevel max_level() const { return options_.max_level; }
  /// Whether a record of `level` passes the filter.
  bool enabled(korrin::log::LogLevel level) const;

 private:
  LogSinkOptions options_;
  std::ostream& out_;
  std::mutex mutex_;
  Clock clock_;
  SyslogWriter syslog_writer_;
  bool syslog_opened_ = false;
};

}  // namespace host
}  // namespace korrin

#endif  // KORRIN_HOST_LOG_SINK_H
