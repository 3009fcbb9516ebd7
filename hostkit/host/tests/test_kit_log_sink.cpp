// korrin::host::LogSink: one line per record with time and level, the level
// filter, and the syslog copy with its priorities.
#include <gtest/gtest.h>
#include <syslog.h>

#include <chrono>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "korrin/host/log_sink.h"

namespace {

using korrin::host::LogSink;
using korrin::host::LogSinkOptions;

std::chrono::system_clock::time_point pinned() {
  // 2024-05-01T12:30:45.123Z
  return std::chrono::system_clock::time_point(std::chrono::milliseconds(1714566645123LL));
}

TEST(KitLogSink, WritesOneLinePerRecordUpToTheMaximumLevel) {
  std::ostringstream out;
  LogSinkOptions options;
  options.max_level = korrin::log::notice;
  LogSink sink(options, out);
  sink.set_clock(pinned);
  sink.write_record(korrin::log::error, "Lib::ConfigManagerImpl: a");
  sink.write_record(korrin::log::notice, "Lib::ConfigManagerImpl: b");
  sink.write_record(korrin::log::info, "Lib::ConfigManagerImpl: c");
  sink.write_record(korrin::log::debug, "Lib::ConfigManagerImpl: d");
  EXPECT_EQ(out.str(),
            "2024-05-01T12:30:45.123Z error    Lib::ConfigManagerImpl: a\n"
            "2024-05-01T12:30:45.123Z notice   Lib::ConfigManagerImpl: b\n");
  EXPECT_TRUE(sink.enabled(korrin::log::critical));
  EXPECT_FALSE(sink.enabled(korrin::log::info));
}

TEST(KitLogSink, CopiesRecordsToSyslogWithTheirPriority) {
  std::ostringstream out;
  LogSinkOptions options;
  options.max_level = korrin::log::debug;
  options.stream = false;
  options.syslog = true;
  options.syslog_ident = "korrin-kit-test";
  LogSink sink(options, out);
  std::vector<std::pair<int, std::string>> sent;
  sink.set_syslog_writer(
      [&](int priority, const std::string& text) { sent.emplace_back(priority, text); });
  for (int level = 0; level <= 5; ++level) {
    sink.write_record(static_cast<korrin::log::LogLevel>(level), "r" + std::to_string(level));
  }
  EXPECT_EQ(out.str(), "");
  EXPECT_EQ(sent, (std::vector<std::pair<int, std::string>>{{LOG_CRIT, "r0"},
                                                            {LOG_ERR, "r1"},
                                                            {LOG_WARNING, "r2"},
                                                            {LOG_NOTICE, "r3"},
                                                            {LOG_INFO, "r4"},
                                                            {LOG_DEBUG, "r5"}}));
}

TEST(KitLogSink, ParsesLevelNamesAndNumbers) {
  korrin::log::LogLevel level = korrin::log::critical;
  EXPECT_TRUE(korrin::host::parse_log_level("Warning", level));
  EXPECT_EQ(level, korrin::log::warning);
  EXPECT_TRUE(korrin::host::parse_log_level("5", level));
  EXPECT_EQ(level, korrin::log::debug);
  EXPECT_FALSE(korrin::host::parse_log_level("loud", level));
  EXPECT_EQ(level, korrin::log::debug);
  EXPECT_STREQ(korrin::host::level_name(korrin::log::notice), "notice");
  EXPECT_STREQ(korrin::host::level_name(static_cast<korrin::log::LogLevel>(9)), "level?");
}

}  // namespace
