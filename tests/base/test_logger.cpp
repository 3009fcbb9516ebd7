// Loggers, log streams and the record delivered to the host sink.
#include <gtest/gtest.h>

#include <string>

#include "korrin/korrin.h"
#include "support/fake_host.h"

namespace {

using korrin::log::LogLevel;
using korrin_test::LogRecord;

class LoggerTest : public ::testing::Test {
 protected:
  korrin_test::CallLog calls;
  korrin_test::FakeLogSink sink{&calls};
};

TEST(LogLevelTest, LevelsHaveTheContractIntegers) {
  EXPECT_EQ(static_cast<int>(korrin::log::critical), 0);
  EXPECT_EQ(static_cast<int>(korrin::log::error), 1);
  EXPECT_EQ(static_cast<int>(korrin::log::warning), 2);
  EXPECT_EQ(static_cast<int>(korrin::log::notice), 3);
  EXPECT_EQ(static_cast<int>(korrin::log::info), 4);
  EXPECT_EQ(static_cast<int>(korrin::log::debug), 5);
}

TEST_F(LoggerTest, CreateLoggerKeepsItsThreeFields) {
  korrin::log::Logger* logger = create_logger(&sink, "Comp", true);
  ASSERT_NE(logger, nullptr);
  EXPECT_EQ(logger->host, &sink);
  EXPECT_EQ(logger->name, "Comp");
  EXPECT_TRUE(logger->enabled);
  delete_logger(logger);
}

TEST_F(LoggerTest, RecordWithoutInsertionsIsNameAndColon) {
  korrin::log::Logger* logger = create_logger(&sink, "Comp", true);
  logger->notice();
  delete_logger(logger);
  EXPECT_EQ(sink.records(), (std::vector<LogRecord>{{korrin::log::notice, "Comp: "}}));
}

TEST_F(LoggerTest, EachLevelOperationDeliversItsInteger) {
  korrin::log::Logger* logger = create_logger(&sink, "L", true);
  logger->critical() << "a";
  logger->error() << "b";
  logger->warning() << "c";
  logger->notice() << "d";
  logger->info() << "e";
  logger->debug() << "f";
  delete_logger(logger);
  const std::vector<LogRecord> expected = {
      {static_cast<LogLevel>(0), "L: a"}, {static_cast<LogLevel>(1), "L: b"},
      {static_cast<LogLevel>(2), "L: c"}, {static_cast<LogLevel>(3), "L: d"},
      {static_cast<LogLevel>(4), "L: e"}, {static_cast<LogLevel>(5), "L: f"}};
  EXPECT_EQ(sink.records(), expected);
}

TEST_F(LoggerTest, PiecesAreJoinedWithoutSeparators) {
  korrin::log::Logger* logger = create_logger(&sink, "Lib::ConfigManagerImpl", true);
  logger->notice() << "remove_accessory"
                   << ": erased [" << 1 << "] pending config";
  logger->notice() << "configure_accessory_task" << 2 << " pending accessories";
  delete_logger(logger);
  EXPECT_EQ(sink.texts(),
            (std::vector<std::string>{
                "Lib::ConfigManagerImpl: remove_accessory: erased [1] pending config",
                "Lib::ConfigManagerImpl: configure_accessory_task2 pending accessories"}));
}

TEST_F(LoggerTest, BooleansAreWrittenAsWords) {
  korrin::log::Logger* logger = create_logger(&sink, "B", true);
  logger->info() << "flag " << true << "/" << false;
  delete_logger(logger);
  EXPECT_EQ(sink.texts(), std::vector<std::string>{"B: flag true/false"});
}

TEST_F(LoggerTest, DoublesUseTheDefaultSixDigitFormat) {
  korrin::log::Logger* logger = create_logger(&sink, "D", true);
  logger->info() << 1700000000.0 << " " << 0.0 << " " << 1.5;
  delete_logger(logger);
  EXPECT_EQ(sink.texts(), std::vector<std::string>{"D: 1.7e+09 0 1.5"});
}

TEST_F(LoggerTest, DisabledLoggerNeverCallsTheSink) {
  korrin::log::Logger* logger = create_logger(&sink, "Off", false);
  logger->error() << "dropped";
  logger->debug();
  delete_logger(logger);
  EXPECT_TRUE(sink.records().empty());
  EXPECT_TRUE(calls.all().empty());
}

TEST_F(LoggerTest, NullHostDiscardsRecordsSilently) {
  korrin::log::Logger* logger = create_logger(nullptr, "NoSink", true);
  logger->error() << "dropped";
  EXPECT_EQ(logger->host, nullptr);
  delete_logger(logger);
  EXPECT_TRUE(sink.records().empty());
}

TEST_F(LoggerTest, RecordReachesTheSinkOnceWhenTheStreamIsDestroyed) {
  {
    korrin::log::LogStream stream(&sink, korrin::log::info, "S", true);
    stream << "part one";
    EXPECT_TRUE(sink.records().empty());
    stream << ", part two";
    EXPECT_TRUE(sink.records().empty());
  }
  EXPECT_EQ(sink.records(), (std::vector<LogRecord>{{korrin::log::info, "S: part one, part two"}}));
}

TEST_F(LoggerTest, FlushDeliversTheWholeTextSoFarWithoutClearing) {
  {
    korrin::log::LogStream stream(&sink, korrin::log::debug, "F", true);
    stream << "x";
    stream.flush();
    stream << "y";
  }
  EXPECT_EQ(sink.texts(), (std::vector<std::string>{"F: x", "F: xy"}));
}

TEST_F(LoggerTest, StreamKeepsItsFields) {
  korrin::log::LogStream stream(&sink, korrin::log::warning, "N", false);
  EXPECT_EQ(stream.host, &sink);
  EXPECT_EQ(stream.level, korrin::log::warning);
  EXPECT_FALSE(stream.enabled);
  EXPECT_EQ(stream.stream.str(), "N: ");
}

TEST_F(LoggerTest, DeleteLoggerAcceptsNull) {
  delete_logger(nullptr);
  EXPECT_TRUE(calls.all().empty());
}

TEST_F(LoggerTest, SinkReceivesTheRecordAsAWholeLineWithoutTerminator) {
  korrin::log::Logger* logger = create_logger(&sink, "T", true);
  logger->info() << "line";
  delete_logger(logger);
  EXPECT_EQ(calls.all(), std::vector<std::string>{"log.info(T: line)"});
}

}  // namespace
