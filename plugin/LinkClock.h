// The link's clock and its pauses. The program uses what stands here; a test may replace both,
// while no link thread runs, to let minutes pass at once.
#pragma once

#include <cstdint>
#include <functional>

struct LinkClock {
  static std::function<std::int64_t()> now;           // milliseconds, monotonic
  static std::function<void(std::int64_t)> pauseFor;  // milliseconds
};
