// Records composed one after another, nested, across threads and locales:
// each must read exactly as if its stream had been made for it alone.
#include <gtest/gtest.h>

#include <cstdio>
#include <iomanip>
#include <locale>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "korrin/korrin.h"
#include "support/fake_host.h"

namespace {

using korrin_test::LogRecord;

// Groups digits by three with a comma, so a number shows which locale
// formatted it.
struct ThousandsGrouping : std::numpunct<char> {
  char do_thousands_sep() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
};

// Puts the global locale back even when an expectation fails.
class GlobalLocaleGuard {
 public:
  GlobalLocaleGuard() : saved_(std::locale()) {}
  ~GlobalLocaleGuard() { std::locale::global(saved_); }

 private:
  std::locale saved_;
};

// Inserting it writes a record of its own before writing "N".
struct LogsWhileInserted {
  korrin::log::Logger* logger;
};
std::ostream& operator<<(std::ostream& out, const LogsWhileInserted& value) {
  value.logger->debug() << "inner " << 7;
  return out << "N";
}

// Inserting it marks the stream as failed.
struct FailsTheStream {};
std::ostream& operator<<(std::ostream& out, const FailsTheStream&) {
  out.setstate(std::ios_base::failbit);
  return out;
}

class LogStreamReuseTest : public ::testing::Test {
 protected:
  void SetUp() override { logger = create_logger(&sink, "L", true); }
  void TearDown() override { delete_logger(logger); }

  korrin_test::CallLog calls;
  korrin_test::FakeLogSink sink{&calls};
  korrin::log::Logger* logger = nullptr;
};

TEST_F(LogStreamReuseTest, FormatChangesOfOneRecordDoNotReachTheNext) {
  logger->info() << std::hex << 255 << " " << std::setprecision(2) << 3.14159 << " "
                 << std::noboolalpha << true << std::showpos << std::uppercase << std::setfill('*')
                 << std::setw(12);
  logger->info() << 255 << " " << 3.14159 << " " << true << " " << std::setw(4) << 7;
  EXPECT_EQ(sink.texts(), (std::vector<std::string>{"L: ff 3.1 1", "L: 255 3.14159 true    7"}));
}

TEST_F(LogStreamReuseTest, FailedStreamOfOneRecordDoesNotSilenceTheNext) {
  logger->warning() << "before" << FailsTheStream{} << " after";
  logger->warning() << "next " << 1;
  EXPECT_EQ(sink.records(), (std::vector<LogRecord>{{korrin::log::warning, "L: before"},
                                                    {korrin::log::warning, "L: next 1"}}));
}

TEST_F(LogStreamReuseTest, RecordWrittenWhileComposingAnotherArrivesWhole) {
  logger->info() << "outer " << LogsWhileInserted{logger} << " end";
  logger->info() << "after";
  EXPECT_EQ(sink.records(), (std::vector<LogRecord>{{korrin::log::debug, "L: inner 7"},
                                                    {korrin::log::info, "L: outer N end"},
                                                    {korrin::log::info, "L: after"}}));
}

TEST_F(LogStreamReuseTest, RecordUsesTheGlobalLocaleInForceWhenItStarts) {
  GlobalLocaleGuard guard;
  logger->info() << 1234567;
  std::locale::global(std::locale(std::locale::classic(), new ThousandsGrouping));
  logger->info() << 1234567;
  std::locale::global(std::locale::classic());
  logger->info() << 1234567;
  EXPECT_EQ(sink.texts(), (std::vector<std::string>{"L: 1234567", "L: 1,234,567", "L: 1234567"}));
}

TEST_F(LogStreamReuseTest, LongRecordLeavesNothingBehindForAShortOne) {
  const std::string long_text(10000, 'x');
  logger->info() << long_text;
  logger->info() << "y";
  logger->info() << "z";
  ASSERT_EQ(sink.texts().size(), 3u);
  EXPECT_EQ(sink.texts()[0], "L: " + long_text);
  EXPECT_EQ(sink.texts()[1], "L: y");
  EXPECT_EQ(sink.texts()[2], "L: z");
}

TEST_F(LogStreamReuseTest, RecordsOfSeveralThreadsStayApart) {
  constexpr int kThreads = 4;
  constexpr int kRecords = 500;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t] {
      for (int i = 0; i < kRecords; ++i) {
        logger->debug() << "thread " << t << " record " << i;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::vector<int> next(kThreads, 0);
  for (const std::string& text : sink.texts()) {
    int t = -1;
    int i = -1;
    ASSERT_EQ(std::sscanf(text.c_str(), "L: thread %d record %d", &t, &i), 2) << text;
    ASSERT_GE(t, 0);
    ASSERT_LT(t, kThreads);
    EXPECT_EQ(text, "L: thread " + std::to_string(t) + " record " + std::to_string(next[t]));
    next[t] = i + 1;
  }
  EXPECT_EQ(next, std::vector<int>(kThreads, kRecords));
}

// Logs when its thread ends, after the thread's other objects may be gone.
struct LogsAtThreadExit {
  korrin::log::Logger* logger = nullptr;
  ~LogsAtThreadExit() {
    if (logger != nullptr) {
      logger->notice() << "thread exit " << 2;
    }
  }
};

TEST_F(LogStreamReuseTest, RecordWrittenWhileItsThreadEndsIsDelivered) {
  std::thread thread([this] {
    // Made before the thread's first record, so destroyed after whatever
    // that record set up.
    thread_local LogsAtThreadExit at_exit;
    at_exit.logger = logger;
    logger->notice() << "running " << 1;
  });
  thread.join();
  EXPECT_EQ(sink.texts(), (std::vector<std::string>{"L: running 1", "L: thread exit 2"}));
}

TEST(StringConverterLocaleTest, IntegerTextFollowsTheGlobalLocaleLikeAStream) {
  GlobalLocaleGuard guard;
  EXPECT_EQ(stringconverter::to_string<int>(1234567), "1234567");
  EXPECT_EQ(stringconverter::to_string<int>(-42), "-42");
  std::locale::global(std::locale(std::locale::classic(), new ThousandsGrouping));
  EXPECT_EQ(stringconverter::to_string<int>(1234567), "1,234,567");
  EXPECT_EQ(stringconverter::to_string<int>(-1234), "-1,234");
  std::locale::global(std::locale::classic());
  EXPECT_EQ(stringconverter::to_string<int>(1234567), "1234567");
}

}  // namespace
