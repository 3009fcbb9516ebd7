// The reference host's log sink (the host kit's stderr/syslog sink): line
// format, level filter, syslog copy, level names.
#include <gtest/gtest.h>
#include <syslog.h>

#include <chrono>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "korrin/host/log_sink.h"

namespace {

using korrin::host::LogSink;
using korrin::host::LogSinkOptions;
using korrin::log::LogLevel;

// 2024-05-01T12:30:45.123Z
std::chrono::system_clock::time_point fixed_time() {
  return std::chrono::system_clock::time_point(std::chrono::milliseconds(1714566645123LL));
}

LogSinkOptions options_up_to(LogLevel level) {
  LogSinkOptions options;
  options.max_level = level;
  return options;
}

TEST(HostLogLevels, NamesFollowTheLibraryIntegers) {
  EXPECT_STREQ(korrin::host::level_name(korrin::log::critical), "critical");
  EXPECT_STREQ(korrin::host::level_name(korrin::log::error), "error");
  EXPECT_STREQ(korrin::host::level_name(korrin::log::warning), "warning");
  EXPECT_STREQ(korrin::host::level_name(korrin::log::notice), "notice");
  EXPECT_STREQ(korrin::host::level_name(korrin::log::info), "info");
  EXPECT_STREQ(korrin::host::level_name(korrin::log::debug), "debug");
  EXPECT_STREQ(korrin::host::level_name(static_cast<LogLevel>(9)), "level?");
}

TEST(HostLogLevels, ParsesNamesInAnyCaseAndNumbers) {
  LogLevel level = korrin::log::critical;
  ASSERT_TRUE(korrin::host::parse_log_level("NOTICE", level));
  EXPECT_EQ(level, korrin::log::notice);
  ASSERT_TRUE(korrin::host::parse_log_level("5", level));
  EXPECT_EQ(level, korrin::log::debug);
  ASSERT_TRUE(korrin::host::parse_log_level("error", level));
  EXPECT_EQ(level, korrin::log::error);
}

TEST(HostLogLevels, RejectsUnknownTextAndKeepsTheLevel) {
  LogLevel level = korrin::log::info;
  EXPECT_FALSE(korrin::host::parse_log_level("verbose", level));
  EXPECT_FALSE(korrin::host::parse_log_level("6", level));
  EXPECT_FALSE(korrin::host::parse_log_level("", level));
  EXPECT_EQ(level, korrin::log::info);
}

TEST(HostLogLevels, SyslogPrioritiesMatchTheLevels) {
  EXPECT_EQ(korrin::host::syslog_priority(korrin::log::critical), LOG_CRIT);
  EXPECT_EQ(korrin::host::syslog_priority(korrin::log::error), LOG_ERR);
  EXPECT_EQ(korrin::host::syslog_priority(korrin::log::warning), LOG_WARNING);
  EXPECT_EQ(korrin::host::syslog_priority(korrin::log::notice), LOG_NOTICE);
  EXPECT_EQ(korrin::host::syslog_priority(korrin::log::info), LOG_INFO);
  EXPECT_EQ(korrin::host::syslog_priority(korrin::log::debug), LOG_DEBUG);
}

TEST(HostLogTimestamp, IsUtcWithMilliseconds) {
  EXPECT_EQ(korrin::host::format_utc_timestamp(fixed_time()), "2024-05-01T12:30:45.123Z");
  EXPECT_EQ(korrin::host::format_utc_timestamp(std::chrono::system_clock::time_point()),
            "1970-01-01T00:00:00.000Z");
}

TEST(HostLogSink, WritesTimestampPaddedLevelAndText) {
  std::ostringstream out;
  LogSink sink(options_up_to(korrin::log::debug), out);
  sink.set_clock(fixed_time);
  sink.write_record(korrin::log::notice, "Lib::ConfigManagerImpl: remove_accessory: ENTER");
  sink.write_record(korrin::log::critical, "X: y");
  EXPECT_EQ(out.str(),
            "2024-05-01T12:30:45.123Z notice   Lib::ConfigManagerImpl: remove_accessory: ENTER\n"
            "2024-05-01T12:30:45.123Z critical X: y\n");
}

TEST(HostLogSink, DropsRecordsBelowTheChosenLevel) {
  std::ostringstream out;
  LogSink sink(options_up_to(korrin::log::warning), out);
  sink.set_clock(fixed_time);
  sink.write_record(korrin::log::debug, "d");
  sink.write_record(korrin::log::info, "i");
  sink.write_record(korrin::log::notice, "n");
  sink.write_record(korrin::log::warning, "w");
  sink.write_record(korrin::log::error, "e");
  EXPECT_EQ(out.str(),
            "2024-05-01T12:30:45.123Z warning  w\n"
            "2024-05-01T12:30:45.123Z error    e\n");
  EXPECT_TRUE(sink.enabled(korrin::log::critical));
  EXPECT_FALSE(sink.enabled(korrin::log::notice));
}

TEST(HostLogSink, SyslogReceivesFilteredRecordsWithTheirPriority) {
  std::ostringstream out;
  LogSinkOptions options = options_up_to(korrin::log::notice);
  options.syslog = true;
  LogSink sink(options, out);
  std::vector<std::pair<int, std::string>> sent;
  sink.set_syslog_writer(
      [&](int priority, const std::string& text) { sent.emplace_back(priority, text); });
  sink.write_record(korrin::log::error, "A: failed");
  sink.write_record(korrin::log::info, "A: chatter");
  sink.write_record(korrin::log::notice, "A: note");
  const std::vector<std::pair<int, std::string>> expected = {{LOG_ERR, "A: failed"},
                                                             {LOG_NOTICE, "A: note"}};
  EXPECT_EQ(sent, expected);
}

TEST(HostLogSink, WithoutSyslogTheWriterIsNotUsed) {
  std::ostringstream out;
  LogSink sink(options_up_to(korrin::log::debug), out);
  int calls = 0;
  sink.set_syslog_writer([&](int, const std::string&) { ++calls; });
  sink.write_record(korrin::log::error, "A: failed");
  EXPECT_EQ(calls, 0);
  EXPECT_NE(out.str().find("A: failed"), std::string::npos);
}

TEST(HostLogSink, AThrowingSyslogWriterLosesOnlyTheCopy) {
  std::ostringstream out;
  LogSinkOptions options = options_up_to(korrin::log::debug);
  options.syslog = true;
  LogSink sink(options, out);
  sink.set_clock(fixed_time);
  sink.set_syslog_writer([](int, const std::string&) { throw std::runtime_error("full"); });
  EXPECT_NO_THROW(sink.write_record(korrin::log::error, "A: b"));
  EXPECT_EQ(out.str(), "2024-05-01T12:30:45.123Z error    A: b\n");
}

TEST(HostLogSink, RecordsFromManyThreadsStayWholeLines) {
  std::ostringstream out;
  LogSink sink(options_up_to(korrin::log::debug), out);
  sink.set_clock(fixed_time);
  const std::string text(200, 'x');
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) {
        sink.write_record(korrin::log::info, text);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::istringstream lines(out.str());
  std::string line;
  int count = 0;
  while (std::getline(lines, line)) {
    EXPECT_EQ(line, "2024-05-01T12:30:45.123Z info     " + text);
    ++count;
  }
  EXPECT_EQ(count, 800);
}

}  // namespace
