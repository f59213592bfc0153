#include "bridge/Log.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace bridge {

namespace {

using Clock = std::chrono::steady_clock;

Clock::time_point sStart = Clock::now();
std::atomic<bool> sIsVerbose{false};

}  // namespace

void Log::setStart(const std::string& nanoseconds) {
  sStart = Clock::time_point(std::chrono::nanoseconds(std::atoll(nanoseconds.c_str())));
}

void Log::setVerbose(bool isVerboseNow) {
  sIsVerbose.store(isVerboseNow, std::memory_order_relaxed);
}

bool Log::isVerbose() {
  return sIsVerbose.load(std::memory_order_relaxed);
}

void Log::line(const std::string& text) {
  const double seconds = std::chrono::duration<double>(Clock::now() - sStart).count();
  std::fprintf(stderr, "%8.4f  %s\n", seconds, text.c_str());
}

void Log::detail(const std::string& text) {
  if (isVerbose()) line(text);
}

}  // namespace bridge
