#include "plugin/LinkClock.h"

#include <chrono>
#include <thread>

#include "common/Helpers.h"

std::function<std::int64_t()> LinkClock::now = getElapsedMilliSeconds;

std::function<void(std::int64_t)> LinkClock::pauseFor = [](std::int64_t milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
};
