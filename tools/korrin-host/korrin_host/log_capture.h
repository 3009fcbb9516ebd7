// A log sink that keeps every record the library delivers, in order, so that
// a host can look at what the library said about one operation.
#ifndef KORRIN_HOST_LOG_CAPTURE_H
#define KORRIN_HOST_LOG_CAPTURE_H

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "korrin/host_log.h"

namespace korrin_host {

/// One record as the library delivered it.
struct LogRecord {
  korrin::log::LogLevel level = korrin::log::debug;
  std::string text;
  bool operator==(const LogRecord& other) const {
    return level == other.level && text == other.text;
  }
};

/// HostLogInterface that keeps every record and, when given one, passes it
/// on to another sink (for instance a LogSink writing to standard error).
/// Thread-safe.
class LogCapture : public korrin::log::HostLogInterface {
 public:
  /// `forward` may be null; when set it must outlive the capture.
  explicit LogCapture(korrin::log::HostLogInterface* forward = nullptr) : forward_(forward) {}

  /// Never throws: the library delivers records from destructors.
  void write_record(korrin::log::LogLevel level, const std::string& text) override;

  /// Number of records kept so far: a mark to ask for the records since.
  std::size_t size() const;
  /// Copies of the records from position `mark` on.
  std::vector<LogRecord> records_since(std::size_t mark) const;
  /// Copies of every record.
  std::vector<LogRecord> records() const { return records_since(0); }

 private:
  korrin::log::HostLogInterface* forward_;
  mutable std::mutex mutex_;
  std::vector<LogRecord> records_;
};

}  // namespace korrin_host

#endif  // KORRIN_HOST_LOG_CAPTURE_H
