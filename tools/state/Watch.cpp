#include "tools/state/Watch.h"

#include <limits>

void Watch::see(const std::optional<RegionAudit>& audit, Clock::time_point time) {
  lastLook = time;
  if (!audit || (writes && audit->writes < *writes)) {  // the store has gone, or was made again
    *this = Watch();
    oldestSince = lastLook = time;
    if (!audit) return;
  }
  if (writes) {
    const u64 written = audit->writes - *writes;
    if (written > 0) lastWritten = time;
    if (waiting + written > audit->usedSlots) lastTaken = time;
  }
  const std::string key = audit->keys.empty() ? "" : audit->keys.front().text;
  if (!writes || key.empty() || key != oldest) oldestSince = time;
  writes = audit->writes;
  waiting = audit->usedSlots;
  oldest = key;
}

std::chrono::duration<double> Watch::sinceWritten() const {
  using Endless = std::numeric_limits<double>;
  if (!lastWritten) return std::chrono::duration<double>(Endless::infinity());
  return lastLook - *lastWritten;
}
