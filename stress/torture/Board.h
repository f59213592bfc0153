// Memory that all processes of a torture share: each worker's progress, and the faults found.
#pragma once

#include <sys/mman.h>

#include <atomic>
#include <new>

#include "store/RegionMemory.h"

using store::u32;
using store::u64;

constexpr u32 kMaxWorkers = 64;

// Written by one worker, read by the parent.
struct alignas(64) Progress {
  std::atomic<u64> operations{0};
  std::atomic<u64> longest{0};       // ns from the end of one operation to that of the next
  std::atomic<u64> longestAwake{0};  // the same, less what the scheduler kept the thread waiting
  std::atomic<u64> written{0};       // generations of its kept key, the last one complete
  std::atomic<u32> isDone{0};
};

struct Board {
  std::atomic<u32> stop{0};
  std::atomic<u64> torn{0};     // values that weren't whole, or another key's
  std::atomic<u64> strange{0};  // listed keys that no worker wrote
  std::atomic<u64> absent{0};   // kept keys that were not there, though only ever replaced
  std::atomic<u64> old{0};      // values of theirs older than one that was complete before the read
  std::atomic<u64> refused{0};  // puts without room; no fault
  Progress progress[kMaxWorkers];
};

// Memory that processes share with those that they fork.
class SharedBoard {
 public:
  SharedBoard()
      : memory(mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1,
                    0)) {
    if (memory == MAP_FAILED) throw std::bad_alloc();
    new (memory) Board;
  }
  ~SharedBoard() { (void)munmap(memory, sizeof(Board)); }
  SharedBoard(const SharedBoard&) = delete;
  SharedBoard& operator=(const SharedBoard&) = delete;

  Board* operator->() const { return static_cast<Board*>(memory); }
  Board& operator*() const { return *static_cast<Board*>(memory); }

 private:
  void* memory;
};
