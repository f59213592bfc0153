#include "store/RegionSetup.h"

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "store/RegionLayout.h"

namespace store {
namespace {

constexpr std::chrono::milliseconds kPatience{1000};
constexpr std::chrono::milliseconds kPause{1};

// Calls `done` until it returns true or the patience is over.
template <typename Done>
bool await(Done done) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!done()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

// No slot that was ever initialised reads 0: an empty one has all bits of its index set.
bool slotsAreWritten(const SharedMem& mem, u64 n) {
  const auto* slots = wordAt<Word64>(mem.region, kSlotsOffset);
  for (u64 i = 0; i < n; ++i) {
    if (loadAcquire(slots[i]) == 0) return false;
  }
  return true;
}

}  // namespace

RegionState examine(SharedMem& mem) {
  if (!mem.isNamed()) return RegionState::Unfit;
  if (!mem.holds(kHeaderBytes)) return RegionState::Unfinished;
  const bool flagged = loadSeqCst(*wordAt<Word32>(mem.region, kFlagsOffset)) == 1;
  const u64 b = loadSeqCst(*wordAt<Word64>(mem.region, kBlockSizeOffset));
  const u64 n = loadSeqCst(*wordAt<Word64>(mem.region, kBlockCountOffset));
  if (!flagged && (b == 0 || n == 0)) return RegionState::Unfinished;
  if (!fits(b, n) || !mem.extend(regionSize(b, n)) || !mem.holds(regionSize(b, n))) {
    return RegionState::Unfit;
  }
  if (flagged) return RegionState::Ready;
  return slotsAreWritten(mem, n) ? RegionState::Unflagged : RegionState::Unfinished;
}

RegionState awaitRegion(SharedMem& mem) {
  RegionState state = RegionState::Unfinished;
  await([&] {
    state = examine(mem);
    return state == RegionState::Ready || state == RegionState::Unfit;
  });
  return state;
}

RegionLock::RegionLock(const SharedMem& mem) : fd(mem.reopen()) {
  held = fd != -1 && await([&] { return flock(fd, LOCK_EX | LOCK_NB) == 0; });
}

RegionLock::~RegionLock() {
  if (fd != -1) (void)::close(fd);  // which gives the lock back
}

bool RegionLock::grow(u64 bytes) const {
  struct stat status {};
  if (fstat(fd, &status) != 0) return false;
  return static_cast<u64>(status.st_size) >= bytes || SharedMem::lengthen(fd, bytes);
}

}  // namespace store
