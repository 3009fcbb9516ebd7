// The two timing helpers offered to hosts.
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <ctime>

#include "korrin/korrin.h"

namespace {

TEST(SecondsToWaitTest, StaysWithinMinimumAndMinimumPlusSpread) {
  for (int i = 0; i < 20; ++i) {
    const unsigned wait = get_seconds_to_wait(30, 10);
    EXPECT_GE(wait, 30u);
    EXPECT_LE(wait, 40u);
  }
}

TEST(SecondsToWaitTest, NoSpreadGivesTheMinimum) {
  EXPECT_EQ(get_seconds_to_wait(5, 0), 5u);
  EXPECT_EQ(get_seconds_to_wait(0, 0), 0u);
}

TEST(SecondsToWaitTest, TheWidestSpreadDoesNotDivideByZero) {
  const unsigned wait = get_seconds_to_wait(7, UINT_MAX);
  EXPECT_GE(wait, 7u);
}

TEST(SecondsToWaitTest, TwoDrawsInTheSameSecondAreEqual) {
  // The generator is reseeded from the current second on every call.
  for (int attempt = 0; attempt < 3; ++attempt) {
    const std::time_t before = std::time(nullptr);
    const unsigned first = get_seconds_to_wait(0, 1000);
    const unsigned second = get_seconds_to_wait(0, 1000);
    if (std::time(nullptr) == before) {
      EXPECT_EQ(first, second);
      return;
    }
  }
  GTEST_SKIP() << "the clock kept crossing a second boundary";
}

TEST(SleepForTest, ZeroReturnsAtOnce) {
  const auto start = std::chrono::steady_clock::now();
  sleep_for(0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
}

TEST(SleepForTest, OneSecondSleepsAtLeastASecond) {
  const auto start = std::chrono::steady_clock::now();
  sleep_for(1);
  const auto elapsed = std::chrono::steady_clock::now() - start;
  EXPECT_GE(elapsed, std::chrono::milliseconds(1000));
  EXPECT_LT(elapsed, std::chrono::milliseconds(3000));
}

}  // namespace
