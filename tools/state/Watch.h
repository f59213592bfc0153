// Watches a store for changes: whether something is written, whether it is taken, and since when
// nothing is.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "tools/state/RegionAudit.h"

class Watch {
 public:
  using Clock = std::chrono::steady_clock;

  // A panel that is connected writes at least every 2.5 s, and looks can be half a second apart.
  // Whatever is older than this counts no more.
  static constexpr std::chrono::milliseconds kSpan{3500};

  // Takes in a look at the store; nullopt if it couldn't be looked into.
  void see(const std::optional<RegionAudit>& audit, Clock::time_point time);

  // Whether something was written, or taken, within the span before the last look.
  bool isWritten() const { return isWithinSpan(lastWritten); }
  bool isTaken() const { return isWithinSpan(lastTaken); }

  // How long ago something was seen to be written. Endless: nothing was.
  std::chrono::duration<double> sinceWritten() const;

  // How long the oldest value has waited, as far as that was seen. Zero: nothing waits.
  std::chrono::duration<double> waits() const { return lastLook - oldestSince; }

 private:
  bool isWithinSpan(const std::optional<Clock::time_point>& time) const {
    return time && lastLook - *time <= kSpan;
  }

  std::optional<u64> writes;  // as of the last look; nothing before it
  u64 waiting = 0;
  std::string oldest;
  Clock::time_point oldestSince;
  Clock::time_point lastLook;
  std::optional<Clock::time_point> lastWritten;
  std::optional<Clock::time_point> lastTaken;
};
