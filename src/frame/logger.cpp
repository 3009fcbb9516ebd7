// Loggers and the stream that composes and delivers one record.
#include "korrin/logger.h"

namespace korrin {
namespace log {

LogStream::LogStream(HostLogInterface* host_sink, LogLevel record_level, const std::string& name,
                     bool is_enabled)
    : host(host_sink), level(record_level), enabled(is_enabled) {
  stream << std::boolalpha << name << ": ";
}

LogStream::~LogStream() { flush(); }

void LogStream::flush() {
  if (!enabled || host == nullptr) {
    return;
  }
  host->write_record(level, stream.str());
}

Logger::Logger(HostLogInterface* host_sink, const std::string& logger_name, bool is_enabled)
    : host(host_sink), name(logger_name), enabled(is_enabled) {}

Logger::~Logger() = default;

LogStream Logger::critical() { return LogStream(host, LogLevel::critical, name, enabled); }
LogStream Logger::error() { return LogStream(host, LogLevel::error, name, enabled); }
LogStream Logger::warning() { return LogStream(host, LogLevel::warning, name, enabled); }
LogStream Logger::notice() { return LogStream(host, LogLevel::notice, name, enabled); }
LogStream Logger::info() { return LogStream(host, LogLevel::info, name, enabled); }
LogStream Logger::debug() { return LogStream(host, LogLevel::debug, name, enabled); }

}  // namespace log
}  // namespace korrin

korrin::log::Logger* create_logger(korrin::log::HostLogInterface* host, const std::string& name,
                                   bool enabled) {
  return new korrin::log::Logger(host, name, enabled);
}

void delete_logger(korrin::log::Logger* logger) { delete logger; }
