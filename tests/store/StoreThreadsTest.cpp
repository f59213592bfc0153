// Tests of several processes that open and leave a store, and of one case that the torture of a
// store meets only by chance.
#include <sys/mman.h>

#include "store/simdb.h"
#include "tests/store/TestRegion.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr u32 kBlockSize = 64;

// Plain data that several processes see, for as long as they live.
template <typename T, typename... Arguments>
T& shared(Arguments... arguments) {
  constexpr int kAccess = PROT_READ | PROT_WRITE;
  void* memory = mmap(nullptr, sizeof(T), kAccess, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  return *new (memory) T{arguments...};
}

// Lets no thread pass before that many have come.
struct Gate {
  std::atomic<u32> arrived{0};
  bool pass(u32 count) {
    ++arrived;
    return eventually([&] { return arrived >= count; });
  }
};

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

// The last attachment may be given back just when another process opens. None may fail.
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
