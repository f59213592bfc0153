// The link's clock and its pauses. A test may give the link another one, to let minutes pass at
// once.
#pragma once

#include <cstdint>

class LinkClock {
 public:
  // The machine's own. Lives as long as the process.
  static LinkClock& system();

  virtual ~LinkClock() = default;
  virtual std::int64_t now() = 0;                        // milliseconds, monotonic
  virtual void pauseFor(std::int64_t milliseconds) = 0;  // blocks the calling thread
};
