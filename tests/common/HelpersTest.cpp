#include "common/Helpers.h"

#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

const Clock::time_point kProcessStart = Clock::now();

std::int64_t milliseconds(Clock::duration time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
}

TEST(Helpers, NumbersAreDigitsOnly) {
  for (const char* text : {"0", "007", "100", "99999999999999999999999"}) {
    EXPECT_TRUE(is_number(text)) << text;
  }
  for (const char* text : {"", "-5", "+5", "7.5", " 7", "7 ", "0x1", "\xb2", "1\xe9"}) {
    EXPECT_FALSE(is_number(text)) << text;
  }
  EXPECT_FALSE(is_number(std::string("1\0", 2)));
}

TEST(Helpers, IdentifiersAreRandomHexDigits) {
  EXPECT_EQ(generate_uuid(0), "");
  EXPECT_EQ(generate_uuid(32).size(), 32U);
  EXPECT_NE(generate_uuid(32), generate_uuid(32));
  const std::string digits = generate_uuid(4096);
  EXPECT_EQ(digits.find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_EQ(std::set<char>(digits.begin(), digits.end()).size(), 16U);
}

TEST(Helpers, TheClockCountsMillisecondsOfThisProcess) {
  const auto before = Clock::now();
  const std::int64_t first = getElapsedMilliSeconds();
  EXPECT_GE(first, 0);
  EXPECT_LE(first, milliseconds(Clock::now() - kProcessStart));
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  const std::int64_t passed = getElapsedMilliSeconds() - first;
  EXPECT_GE(passed, 4);
  EXPECT_LE(passed, milliseconds(Clock::now() - before) + 1);
}

}  // namespace
