// Whether a mapped region is complete, and the lock under which it becomes so, is taken over, or
// loses its name.
//
// Exactly one process sets a region up, also when several start at once or one dies on the way:
// that process holds the file lock and looks first whether another one was faster.
#pragma once

#include <chrono>

#include "store/SharedMem.h"

namespace store {

enum class RegionState {
  Ready,       // complete, and says so
  Unflagged,   // complete but for its flag: its creator died at the last step
  Unfinished,  // too short, a blank header, or slots that have not been written yet
  Unfit,       // the header's numbers don't fit the file, or the file has gone
};

// Looks at a region that this process has mapped. May map it again, to reach its slots.
RegionState examine(SharedMem& mem);

// The same, waiting until the region is ready or unfit, for about a second.
RegionState awaitRegion(SharedMem& mem);

// Holds the region's file lock while it lives, if it could be had within about a second.
class RegionLock {
 public:
  explicit RegionLock(const SharedMem& mem);
  ~RegionLock();
  RegionLock(const RegionLock&) = delete;
  RegionLock& operator=(const RegionLock&) = delete;

  bool isHeld() const { return held; }

  // Gives the file at least `bytes`. False: the file system refused.
  bool grow(u64 bytes) const;

 private:
  int fd;
  bool held = false;
};

}  // namespace store
