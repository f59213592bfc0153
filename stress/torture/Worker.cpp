#include "stress/torture/Worker.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "store/KeyHash.h"
#include "stress/torture/SealedValue.h"

namespace {

constexpr u32 kUsualBlocks = 5;
constexpr u32 kManyBlocks = 20;
constexpr u64 kLookAround = 1024;  // operations between two looks at the parent

}  // namespace

std::vector<std::string> tortureKeys(u32 blockSize) {
  std::vector<std::string> keys;
  keys.reserve(8);
  for (int i = 0; i < 6; ++i) keys.push_back("key " + std::to_string(i));
  keys.emplace_back(blockSize, 'k');
  keys.emplace_back(blockSize + 7, 'k');
  return keys;
}

std::string keptKey(u32 worker, u32 workers, u32 slots) {
  for (u32 i = 0;; ++i) {
    std::string key = "kept " + std::to_string(i);
    const u32 home = store::hashOf(key.data(), static_cast<u32>(key.size())) % slots;
    if (home == worker * slots / workers) return key;
  }
}

bool isWhole(const std::string& key, const std::string& value) {
  return value.empty() || generationOf(key, value);
}

Worker::Worker(simdb& sharedStore, Board& sharedBoard, const Options& given)
    : store(sharedStore),
      board(sharedBoard),
      progress(sharedBoard.progress[given.id]),
      options(given),
      engine(u64{given.seed} << 32U | given.id),
      keys(tortureKeys(given.blockSize)) {
  for (u32 id = 0; id < options.workers; ++id) {
    kept.push_back(keptKey(id, options.workers, options.slots));
  }
  if (options.measuresWaits) schedule = open("/proc/thread-self/schedstat", O_RDONLY);
}

Worker::~Worker() {
  if (schedule != -1) (void)close(schedule);
}

void Worker::work(u64 operations, int parent) {
  lastEnd = Clock::now();
  lastWaited = waited();
  for (u64 done = 0; done < operations && board.stop == 0; ++done) {
    if (done % kLookAround == 0 && getppid() != parent) return;
    operate();
    notePause();
    progress.operations.fetch_add(1, std::memory_order_relaxed);
  }
  progress.isDone = 1;
}

void Worker::operate() {
  const std::string& key = keys[dice(static_cast<u32>(keys.size()))];
  const u32 action = dice(16);
  if (action < 5) {
    put(key);
  } else if (action == 5) {
    replaceKept();
  } else if (action < 8) {
    (void)store.del(key.data(), static_cast<u32>(key.size()));
  } else if (action == 8 && options.walks) {
    list();
  } else if (action == 9) {
    readKept(dice(options.workers));
  } else {
    read(key);
  }
}

void Worker::put(const std::string& key) {
  const u32 kind = dice(16);
  const u32 blocks = kind == 0 ? kManyBlocks : kUsualBlocks;
  const bool done = kind == 1
                        ? store.put(key, "")
                        : store.put(key, sealed(key, engine(), dice(blocks * options.blockSize)));
  if (!done) board.refused.fetch_add(1, std::memory_order_relaxed);
}

void Worker::read(const std::string& key) {
  if (!isWhole(key, store.get(key))) ++board.torn;
}

void Worker::replaceKept() {
  const std::string& key = kept[options.id];
  const u64 generation = progress.written + 1;
  if (store.put(key, sealed(key, generation, dice(kUsualBlocks * options.blockSize)))) {
    progress.written = generation;
  }
}

void Worker::readKept(u32 worker) {
  const u64 before = board.progress[worker].written;
  std::string value;
  if (!store.get(kept[worker], &value)) {
    ++board.absent;
    return;
  }
  const auto generation = generationOf(kept[worker], value);
  if (!generation) {
    ++board.torn;
  } else if (*generation < before) {
    ++board.old;
  }
}

void Worker::list() {
  const auto isIn = [](const std::vector<std::string>& known, const std::string& key) {
    return std::find(known.begin(), known.end(), key) != known.end();
  };
  for (const auto& found : store.getKeyStrs()) {
    if (!isIn(keys, found.str) && !isIn(kept, found.str)) ++board.strange;
  }
}

void Worker::notePause() {
  const auto now = Clock::now();
  const u64 pause = static_cast<u64>(std::chrono::nanoseconds(now - lastEnd).count());
  lastEnd = now;
  if (pause > progress.longest) progress.longest = pause;
  if (schedule == -1) return;
  const u64 total = waited();
  const u64 wait = total - lastWaited;
  lastWaited = total;
  if (pause > wait && pause - wait > progress.longestAwake) progress.longestAwake = pause - wait;
}

// Nanoseconds that this thread has waited for a processor.
u64 Worker::waited() const {
  char text[96] = {};
  unsigned long long onCpu = 0;
  unsigned long long inQueue = 0;
  if (schedule == -1 || pread(schedule, text, sizeof text - 1, 0) <= 0) return 0;
  return std::sscanf(text, "%llu %llu", &onCpu, &inQueue) == 2 ? inQueue : 0;
}
