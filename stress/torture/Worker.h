// One thread of a torture: puts, replaces, reads, lists and deletes the same few keys as all the
// others, and checks whatever it sees.
#pragma once

#include <chrono>
#include <random>
#include <string>
#include <vector>

#include "store/simdb.h"
#include "stress/torture/Board.h"

// The keys: most are short, one fills a block, one needs two.
std::vector<std::string> tortureKeys(u32 blockSize);

// The key that only this worker replaces, and no worker deletes. Write it before any other, so that
// it is in the first slot of its probe and never moves. REQUIRES: worker < workers <= slots.
std::string keptKey(u32 worker, u32 workers, u32 slots);

// Returns whether a value is whole and of that key. An empty one always is.
bool isWhole(const std::string& key, const std::string& value);

class Worker {
 public:
  struct Options {
    u32 id = 0;  // its place on the board
    u32 seed = 0;
    u32 workers = 0;
    u32 blockSize = 0;  // bytes
    u32 slots = 0;
    bool walks = false;          // one thread at a time may walk a store
    bool measuresWaits = false;  // costs a system call for each operation
  };
  Worker(simdb& sharedStore, Board& sharedBoard, const Options& given);
  ~Worker();
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // Works until that many operations are done, the board says stop, or `parent` has gone.
  void work(u64 operations, int parent);

 private:
  using Clock = std::chrono::steady_clock;

  void operate();
  void put(const std::string& key);
  void read(const std::string& key);
  void replaceKept();
  void readKept(u32 worker);
  void list();
  void notePause();
  u64 waited() const;
  u32 dice(u32 below) { return static_cast<u32>(engine() % below); }

  simdb& store;
  Board& board;
  Progress& progress;
  const Options options;
  std::mt19937_64 engine;
  std::vector<std::string> keys, kept;
  int schedule = -1;  // the kernel's account of this thread
  Clock::time_point lastEnd;
  u64 lastWaited = 0;  // ns
};
