// The processes of a torture, and the watchdog over them.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "stress/torture/Board.h"

struct TortureSettings {
  u64 operations = 1000000;  // of all workers together
  u32 kills = 0;             // 0: no process is killed, and the operations count
  u32 killsPerStore = 50;  // then a fresh store, before the dead have taken too many of its blocks
  u32 processes = 3;
  u32 threads = 2;     // of each process
  u32 blockSize = 64;  // bytes
  u32 blocks = 0;      // of a store; 0: as many as the mode needs
  u32 seed = 1;
  std::chrono::seconds patience{30};  // how long a worker may take for an operation

  u32 workers() const { return processes * threads; }
};

// Forks its processes, so no thread may have been started before. One thread uses it.
class Crew {
 public:
  Crew(const std::string& storeName, const TortureSettings& torture, Board& sharedBoard);
  // Kills the processes that still run.
  ~Crew();
  Crew(const Crew&) = delete;
  Crew& operator=(const Crew&) = delete;

  // Starts the process of that place. Each of its workers does that many operations.
  void start(u32 place, u64 operations);

  // Kills the process of that place in the middle of its work.
  void kill(u32 place);

  // Waits until all have ended. False: one ended with an error.
  bool join();

  // Waits until `done` returns true. Throws std::runtime_error if a worker makes no progress for
  // longer than `patience`.
  template <typename Done>
  void await(Done done) {
    constexpr std::chrono::microseconds kTick{200};
    watchFromNow();
    for (; !done(); std::this_thread::sleep_for(kTick)) watch();
  }

  u64 operations(u32 worker) const { return board.progress[worker].operations; }

  // The number of the first worker of a place.
  u32 first(u32 place) const { return place * settings.threads; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Watched {
    u64 operations = 0;
    Clock::time_point since;
  };

  [[noreturn]] void runChild(u32 place, u64 operations, pid_t parent);
  void watchFromNow();
  void watch();

  std::string name;
  const TortureSettings settings;
  Board& board;
  std::vector<pid_t> processes;  // -1: not running
  std::vector<Watched> watched;
  u32 started = 0;
};
