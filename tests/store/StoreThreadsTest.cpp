// The store under several threads and processes at once. Every value proves itself.
#include <sys/mman.h>

#include <array>
#include <optional>

#include "store/simdb.h"
#include "tests/store/TestRegion.h"
#include "tools/torture/SealedValue.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr u32 kBlockSize = 64;
constexpr u32 kWorkers = 4;
constexpr u32 kLooseKeys = 6;
constexpr u64 kMaxPayload = 250;
constexpr u32 kMaxBlocks = 6;  // of a key of 70 bytes and the longest value

// Plain data that several processes see, for as long as they live.
template <typename T, typename... Arguments>
T& shared(Arguments... arguments) {
  constexpr int kAccess = PROT_READ | PROT_WRITE;
  void* memory = mmap(nullptr, sizeof(T), kAccess, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  return *new (memory) T{arguments...};
}

// Lets nobody pass before that many have come.
struct Gate {
  std::atomic<u32> arrived{0};
  bool pass(u32 count) {
    ++arrived;
    return eventually([&] { return arrived >= count; });
  }
};

// What the workers of one store know of it, and what they found wrong.
struct Board {
  explicit Board(u32 blocks) : n(blocks) {}

  const u32 n;
  std::array<std::atomic<u64>, kWorkers> written{};  // generations of the kept keys
  std::atomic<u64> operations{0};
  std::atomic<u32> absent{0}, torn{0}, old{0}, unknown{0}, undeleted{0};

  void expectNoFault() const {
    EXPECT_EQ(absent, 0U) << "a key that was only ever replaced was not there";
    EXPECT_EQ(torn, 0U);
    EXPECT_EQ(old, 0U) << "a value was older than one that was complete before the read";
    EXPECT_EQ(unknown, 0U) << "a walk met a key that nobody wrote";
    EXPECT_EQ(undeleted, 0U) << "a key that was there could not be deleted";
  }
};

// Each worker alone replaces its kept key, and nobody deletes it. The kept keys are there first,
// each at the start of its probe, so that they never move.
std::string keptKey(u32 worker, u32 slots) {
  return keyAt(worker * slots / kWorkers, slots);
}

// Loose keys are put by all, and each is deleted by one worker alone. They stand in the kept keys'
// way, or have just a block's length, or more.
std::string looseKey(u32 number, u32 slots) {
  if (number == 4) return std::string(kBlockSize, 'k');
  if (number == 5) return std::string(kBlockSize + 6, 'k');
  return keyAt(number * slots / kWorkers, slots, 1);
}

class Worker {
 public:
  Worker(simdb& sharedStore, Board& sharedBoard, u32 number, bool walking, u32 seed)
      : store(sharedStore), board(sharedBoard), id(number), walks(walking), dice(seed + number) {
    for (u32 i = 0; i < kWorkers; ++i) kept.push_back(keptKey(i, board.n));
    for (u32 i = 0; i < kLooseKeys; ++i) loose.push_back(looseKey(i, board.n));
  }

  void work(u64 operations) {
    for (; operations > 0; --operations, ++board.operations) {
      const u32 number = dice(kLooseKeys);
      const std::string& key = loose[number];
      const u32 action = dice(8);
      if (action < 2) {
        replaceOwn();
      } else if (action < 4) {
        readKept(dice(kWorkers));
      } else if (action == 4) {
        store.put(key, dice(8) == 0 ? "" : sealed(key, dice(kEnd), dice(kMaxPayload)));
      } else if (action == 5 && number % kWorkers == id) {
        remove(key);
      } else if (action == 6 || !walks) {
        readLoose(key);
      } else {
        list();
      }
    }
  }

  void replaceOwn() {
    const u64 generation = board.written[id] + 1;
    if (store.put(kept[id], sealed(kept[id], generation, dice(kMaxPayload)))) {
      board.written[id] = generation;
    }
  }

  void readKept(u32 other) {
    const u64 before = board.written[other];
    std::string value;
    if (!store.get(kept[other], &value)) {
      ++board.absent;
      return;
    }
    const auto generation = generationOf(kept[other], value);
    if (!generation) {
      ++board.torn;
    } else if (*generation < before) {
      ++board.old;
    }
  }

 private:
  void readLoose(const std::string& key) {
    const std::string value = store.get(key);
    if (!value.empty() && !generationOf(key, value)) ++board.torn;
  }

  void remove(const std::string& key) {
    std::string value;
    const bool isThere = store.get(key, &value);
    if (!store.del(key.data(), static_cast<u32>(key.size())) && isThere) ++board.undeleted;
  }

  void list() {
    for (const auto& key : store.getKeyStrs()) {
      const auto isIn = [&](const auto& keys) {
        return std::find(keys.begin(), keys.end(), key.str) != keys.end();
      };
      if (!isIn(kept) && !isIn(loose)) ++board.unknown;
    }
  }

  simdb& store;
  Board& board;
  u32 id;
  bool walks;  // one thread at a time may walk a store
  Dice dice;
  std::vector<std::string> kept, loose;
};

void writeKeptKeys(simdb& store, u32 slots) {
  for (u32 i = 0; i < kWorkers; ++i) {
    ASSERT_TRUE(store.put(keptKey(i, slots), sealed(keptKey(i, slots), 0, 10)));
  }
}

// Runs the workers [from, to) on a store, each in a thread of its own.
void run(simdb& store, Board& board, u32 from, u32 to, u64 operations, u32 seed) {
  std::vector<std::thread> threads;
  for (u32 id = from; id < to; ++id) {
    threads.emplace_back([&, id] { Worker(store, board, id, id == from, seed).work(operations); });
  }
  for (auto& thread : threads) thread.join();
}

// Four workers, the given number of them in another process.
void share(u32 blocks, u32 elsewhere, u64 operations) {
  const u32 seed = randomSeed();
  SCOPED_TRACE(std::to_string(blocks) + " blocks, seed " + std::to_string(seed));
  const TestRegion region;
  simdb store(region.name(), kBlockSize, blocks, false);
  writeKeptKeys(store, blocks);
  auto& board = shared<Board>(blocks);
  const pid_t other = startProcess([&] {
    simdb attached(region.name(), kBlockSize, blocks, false);
    if (attached.openError() != SIMDB_OK) return 1;
    run(attached, board, kWorkers - elsewhere, kWorkers, operations, seed);
    return 0;
  });
  run(store, board, 0, kWorkers - elsewhere, operations, seed);
  EXPECT_EQ(endOf(other), 0);
  board.expectNoFault();
  for (const auto& generation : board.written) EXPECT_GT(generation, 0U);
  expectAllBlocksAccounted(region.image(blocks, kBlockSize));
  EXPECT_EQ(region.at<u32>(4), 1U);
}

TEST(StoreThreads, FourThreadsShareAStore) {
  for (const u32 blocks : {32U, 101U}) share(blocks, 0, kSlowBuild ? 10000 : 1500000);
}

TEST(StoreThreads, TwoProcessesShareAStore) {
  share(40, 2, kSlowBuild ? 15000 : 2500000);
}

TEST(StoreThreads, AProcessThatIsKilledInsideHoldsNobodyUp) {
  const u32 seed = randomSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  Dice dice(seed);
  constexpr u32 kN = 512;
  constexpr u32 kKills = kSlowBuild ? 4 : 10;
  const TestRegion region;
  simdb store(region.name(), kBlockSize, kN, false);
  writeKeptKeys(store, kN);
  auto& board = shared<Board>(kN);
  for (u32 kills = 0; kills < kKills; ++kills) {
    board.operations = 0;
    const pid_t other = startProcess([&] {
      simdb attached(region.name(), kBlockSize, kN, false);
      run(attached, board, kWorkers / 2, kWorkers, u64{1} << 60U, seed + kills);
      return 0;
    });
    const u64 moment = 1000 + dice(2000);
    EXPECT_TRUE(eventually([&] { return board.operations > moment; }));
    ASSERT_EQ(kill(other, SIGKILL), 0);
    ASSERT_EQ(endOf(other), -SIGKILL);

    run(store, board, 0, kWorkers / 2, 2000, seed + kills);
    board.expectNoFault();
    for (u32 id = 0; id < kWorkers; ++id) {
      const u64 before = board.written[id];
      Worker(store, board, id, false, seed).replaceOwn();
      EXPECT_EQ(board.written[id], before + 1);
    }
  }
  // A worker has at most one chain in its hands and one under its pin.
  const auto census = region.image(kN, kBlockSize).census();
  EXPECT_LE(census.lost, kKills * (kWorkers / 2) * 2 * kMaxBlocks);
  EXPECT_EQ(census.twice, 0U);
}

TEST(StoreThreads, OfProcessesThatCreateAtOnceExactlyOneInitialises) {
  constexpr u32 kProcesses = 8;
  constexpr u32 kN = 4096;
  struct Steps {
    Gate open, read, close;
  };
  // Returns the number of the first check that failed.
  const auto takePart = [](const TestRegion& region, Steps& steps, u32 id) {
    if (!steps.open.pass(kProcesses)) return 1;
    simdb store(region.name(), kBlockSize, kN, false);
    if (store.openError() != SIMDB_OK || !store.put(std::to_string(id), "here")) return 2;
    if (!steps.read.pass(kProcesses)) return 3;
    for (u32 i = 0; i < kProcesses; ++i) {
      if (store.get(std::to_string(i)) != "here") return 4;
    }
    if (region.at<u32>(4) != kProcesses) return 5;
    if (region.at<u64>(48 + 8 * kN) != 1 + kProcesses) return 6;
    return steps.close.pass(kProcesses) ? 0 : 7;
  };
  // The last rounds find what a killed creator left, and so wait for it first.
  constexpr u32 kFresh = kSlowBuild ? 10 : 50;
  for (u32 round = 0; round < kFresh + 2; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    const TestRegion region;
    if (round == kFresh) region.create("");
    if (round == kFresh + 1) region.create(std::string(200 + 36 * kN + kBlockSize * kN, '\0'));
    auto& steps = shared<Steps>();
    std::vector<pid_t> processes;
    for (u32 id = 0; id < kProcesses; ++id) {
      processes.push_back(startProcess([&] { return takePart(region, steps, id); }));
    }
    for (const pid_t process : processes) ASSERT_EQ(endOf(process), 0);
    EXPECT_FALSE(region.exists()) << "the last one to leave removes the file";
  }
}

// The last attachment may be given back just when somebody opens. Nobody may fail in the middle.
TEST(StoreThreads, ProcessesComeAndGo) {
  const TestRegion region;
  auto& gate = shared<Gate>();
  std::vector<pid_t> processes;
  for (u32 id = 0; id < 4; ++id) {
    processes.push_back(startProcess([&] {
      const std::string key = "of " + std::to_string(id);
      if (!gate.pass(4)) return 1;
      for (int i = 0; i < (kSlowBuild ? 100 : 1000); ++i) {
        simdb store(region.name(), kBlockSize, 32, false);
        if (store.openError() != SIMDB_OK) return 2;
        if (!store.put(key, std::to_string(i)) || store.get(key) != std::to_string(i)) return 3;
      }
      return 0;
    }));
  }
  for (const pid_t process : processes) EXPECT_EQ(endOf(process), 0);
  EXPECT_FALSE(region.exists());
}

TEST(StoreThreads, APinThatComesLateIsWaitedFor) {
  const auto tryOnce = [] {
    HeapRegion its(1, kBlockSize);
    EXPECT_TRUE(its.values.pin(0));
    const auto start = Clock::now();
    std::atomic<bool> taken{false};
    std::thread writer([&] {
      its.values.alloc(10, 3, 0, nullptr);
      taken = true;
    });
    EXPECT_TRUE(eventually([&] { return its.values.version(0) != 0; }));
    // A writer that doesn't wait is through in no time.
    const auto seen = Clock::now();
    while (!taken && Clock::now() - seen < milliseconds(3)) std::this_thread::yield();
    its.values.decReadersOrDel(0, false);
    const bool inTime = Clock::now() - start < milliseconds(15);
    writer.join();
    // After some 20 ms a pin counts as one of a dead process, and this one was given back too late.
    EXPECT_TRUE(!inTime || its.state(0) == 1);
    return inTime;
  };
  EXPECT_TRUE(eventually(tryOnce));
}

}  // namespace
