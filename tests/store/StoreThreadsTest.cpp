// Processes of the real system at the ends of a store's life. How threads and processes meet in a
// store, step by step, is the explorer's.
#include <sys/mman.h>

#include "store/simdb.h"
#include "tests/store/TestRegion.h"

namespace {

// The last attachment may be given back just when another process opens. None may fail.
TEST(StoreThreads, ProcessesComeAndGo) {
  constexpr u32 kProcesses = 4;
  const TestRegion region;
  void* shared = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  auto& arrived = *new (shared) std::atomic<u32>{0};
  std::vector<pid_t> processes;
  for (u32 id = 0; id < kProcesses; ++id) {
    processes.push_back(startProcess([&] {
      const std::string key = "of " + std::to_string(id);
      ++arrived;
      if (!eventually([&] { return arrived >= kProcesses; })) return 1;
      for (int i = 0; i < (kSlowBuild ? 100 : 1000); ++i) {
        simdb store(region.name(), 64, 32, false);
        if (store.openError() != SIMDB_OK) return 2;
        if (!store.put(key, std::to_string(i)) || store.get(key) != std::to_string(i)) return 3;
      }
      return 0;
    }));
  }
  for (const pid_t process : processes) EXPECT_EQ(endOf(process), 0);
  EXPECT_FALSE(region.exists());
}

}  // namespace
