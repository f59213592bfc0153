#include "common/Helpers.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <random>

std::string generate_uuid(unsigned long length) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string uuid;
  uuid.reserve(length);
  std::random_device device("/dev/urandom");
  std::mt19937 generator(device());
  std::uniform_int_distribution<int> digit(0, 15);
  for (unsigned long i = 0; i < length; ++i) uuid.push_back(kDigits[digit(generator)]);
  return uuid;
}

bool is_number(const std::string& text) {
  // isdigit takes an unsigned char's value; a plain char above 127 would be out of its range.
  return !text.empty() && std::all_of(text.begin(), text.end(),
                                      [](unsigned char c) { return std::isdigit(c) != 0; });
}

std::string itoString(int number) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "%d", number);
  return buffer;
}

std::size_t wholeCharacters(std::string_view text, std::size_t most) {
  constexpr std::size_t kContinuationBytes = 3;  // in a character, at most
  if (text.size() <= most) return text.size();
  std::size_t end = most;
  while (end > 0 && most - end < kContinuationBytes &&
         (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
    --end;
  }
  return end;
}

void openStandardStreams() {
  int fd = open("/dev/null", O_RDWR);
  while (fd >= 0 && fd <= STDERR_FILENO) fd = open("/dev/null", O_RDWR);
  if (fd > STDERR_FILENO) (void)close(fd);
}

std::int64_t getElapsedMilliSeconds() {
  using Clock = std::chrono::steady_clock;
  static const Clock::time_point startTime = Clock::now();
  const auto elapsed = Clock::now() - startTime;
  return std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed).count() / 1000000;
}
