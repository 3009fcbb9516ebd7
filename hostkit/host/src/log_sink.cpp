#include "korrin/host/log_sink.h"

#include <syslog.h>

#include <cctype>
#include <cstdio>
#include <ctime>
#include <iostream>

namespace korrin {
namespace host {

namespace {

const char* const kLevelNames[] = {"critical", "error", "warning", "notice", "info", "debug"};
constexpr int kLevelCount = 6;

}  // namespace

const char* level_name(korrin::log::LogLevel level) {
  const int index = static_cast<int>(level);
  return index >= 0 && index < kLevelCount ? kLevelNames[index] : "level?";
}

bool parse_log_level(const std::string& text, korrin::log::LogLevel& level) {
  std::string lowered;
  for (const char c : text) {
    lowered += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  for (int index = 0; index < kLevelCount; ++index) {
    if (lowered == kLevelNames[index] || lowered == std::to_string(index)) {
      level = static_cast<korrin::log::LogLevel>(index);
      return true;
    }
  }
  return false;
}

int syslog_priority(korrin::log::LogLevel level) {
  switch (level) {
    case korrin::log::critical: return LOG_CRIT;
    case korrin::log::error: return LOG_ERR;
    case korrin::log::warning: return LOG_WARNING;
    case korrin::log::notice: return LOG_NOTICE;
    case korrin::log::info: return LOG_INFO;
    case korrin::log::debug: return LOG_DEBUG;
  }
  return LOG_DEBUG;
}

std::string format_utc_timestamp(std::chrono::system_clock::time_point when) {
  using std::chrono::duration_cast;
  using std::chrono::milliseconds;
  const auto since_epoch = duration_cast<milliseconds>(when.time_since_epoch()).count();
  // Floor division keeps the milliseconds positive before 1970 as well.
  std::time_t seconds = static_cast<std::time_t>(since_epoch / 1000);
  long millis = static_cast<long>(since_epoch % 1000);
  if (millis < 0) {
    millis += 1000;
    seconds -= 1;
  }
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03ldZ", parts.tm_year + 1900,
                parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec, millis);
  return text;
}

LogSink::LogSink(LogSinkOptions options) : LogSink(std::move(options), std::cerr) {}

LogSink::LogSink(LogSinkOptions options, std::ostream& out)
    : options_(std::move(options)),
      out_(out),
      clock_([] { return std::chrono::system_clock::now(); }) {
  if (options_.syslog) {
    openlog(options_.syslog_ident.c_str(), LOG_PID, LOG_USER);
    syslog_opened_ = true;
    syslog_writer_ = [](int priority, const std::string& text) {
      syslog(priority, "%s", text.c_str());
    };
  }
}

LogSink::~LogSink() {
  if (syslog_opened_) {
    closelog();
  }
}

bool LogSink::enabled(korrin::log::LogLevel level) const {
  return static_cast<int>(level) <= static_cast<int>(options_.max_level);
}

void LogSink::set_clock(Clock clock) {
  std::lock_guard<std::mutex> guard(mutex_);
  clock_ = std::move(clock);
}

void LogSink::set_syslog_writer(SyslogWriter writer) {
  std::lock_guard<std::mutex> guard(mutex_);
  syslog_writer_ = std::move(writer);
}

void LogSink::write_record(korrin::log::LogLevel level, const std::string& text) {
  if (!enabled(level)) {
    return;
  }
  try {
    std::lock_guard<std::mutex> guard(mutex_);
    char padded[16];
    std::snprintf(padded, sizeof padded, "%-8s", level_name(level));
    std::string line = format_utc_timestamp(clock_());
    line += ' ';
    line += padded;
    line += ' ';
    line += text;
    line += '\n';
    if (options_.stream) {
      out_ << line << std::flush;
    }
    if (options_.syslog && syslog_writer_) {
      syslog_writer_(syslog_priority(level), text);
    }
  } catch (...) {
    // The library delivers records from destructors: losing one record is
    // better than terminating the process.
  }
}

}  // namespace host
}  // namespace korrin
