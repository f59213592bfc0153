// Watches a store for changes: whether values are written and taken, and how long the oldest waits.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "tools/state/RegionAudit.h"

class Watch {
 public:
  using Clock = std::chrono::steady_clock;

  // A change counts for this long. A panel that is connected writes at least every 2.5 s, and looks
  // can be half a second apart.
  static constexpr std::chrono::milliseconds kSpan{3500};

  // Takes in an audit of the store; nullopt if there is none.
  void see(const std::optional<RegionAudit>& audit, Clock::time_point time);

  // Returns whether a value was written, or taken, within kSpan before the last look.
  bool isWritten() const { return isWithinSpan(lastWritten); }
  bool isTaken() const { return isWithinSpan(lastTaken); }

  // The time since a value was last seen to be written; endless if none was.
  std::chrono::duration<double> sinceWritten() const;

  // The time for which the oldest value was seen to wait. Zero: none waits.
  std::chrono::duration<double> waits() const { return lastLook - oldestSince; }

 private:
  bool isWithinSpan(const std::optional<Clock::time_point>& time) const {
    return time && lastLook - *time <= kSpan;
  }

  std::optional<u64> writes;  // as of the last look
  u64 waiting = 0;
  std::string oldest;
  Clock::time_point oldestSince;
  Clock::time_point lastLook;
  std::optional<Clock::time_point> lastWritten;
  std::optional<Clock::time_point> lastTaken;
};
