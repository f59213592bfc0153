#include "stress/torture/Torture.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <stdexcept>
#include <string>

#include "store/simdb.h"
#include "stress/torture/SealedValue.h"
#include "stress/torture/Worker.h"
#include "tools/state/RegionAudit.h"

namespace {

using Count = unsigned long long;  // as printf wants it
using Clock = std::chrono::steady_clock;

constexpr u32 kChainsAtDeath = 3;  // one being written, one replaced, one read
constexpr u64 kForever = u64{1} << 60U;
constexpr u64 kWindow = 300;    // operations of each survivor around a kill
constexpr u32 kMaxLife = 3000;  // operations of a victim
constexpr u32 kMaxLastMicroseconds = 300;
constexpr double kNanosecondsPerMs = 1e6;

// A store whose file is removed with the object, whatever attachments the dead have left.
class TortureStore {
 public:
  TortureStore(const TortureSettings& settings, u32 round)
      : name("torture." + std::to_string(getpid()) + "." + std::to_string(round)),
        store(name.c_str(), settings.blockSize, settings.blocks, false) {
    if (store.openError() != SIMDB_OK) throw std::runtime_error("can't open the store " + name);
  }
  ~TortureStore() {
    store.close();
    (void)std::remove((SharedMem::kPrefix + name).c_str());
  }
  TortureStore(const TortureStore&) = delete;
  TortureStore& operator=(const TortureStore&) = delete;

  const std::string name;
  simdb store;
};

RegionAudit auditOf(const std::string& name) {
  std::string problem;
  const auto audit = RegionAudit::of(name, problem);
  if (!audit) throw std::runtime_error("the region can't be audited: " + problem);
  return *audit;
}

class Torture {
 public:
  explicit Torture(const TortureSettings& given) : settings(given), dice(given.seed) {}

  bool run() {
    const auto start = Clock::now();
    if (settings.kills == 0) {
      workInPeace();
    } else {
      for (u32 left = settings.kills; left > 0; left -= std::min(left, settings.killsPerStore)) {
        killInOneStore(std::min(left, settings.killsPerStore));
      }
    }
    const std::chrono::duration<double> took = Clock::now() - start;
    report(took.count());
    return isClean();
  }

 private:
  bool isClean() const {
    return faults == 0 && board->torn == 0 && board->strange == 0 && board->absent == 0 &&
           board->old == 0;
  }

  void plantKeptKeys(simdb& store) {
    for (u32 id = 0; id < settings.workers(); ++id) {
      const std::string key = keptKey(id, settings.workers(), settings.blocks);
      board->progress[id].written = 0;
      expect(store.put(key, sealed(key, 0, 10)), "a new store has no room");
    }
  }

  void workInPeace() {
    TortureStore its(settings, 0);
    plantKeptKeys(its.store);
    Crew crew(its.name, settings, *board);
    for (u32 place = 0; place < settings.processes; ++place) {
      crew.start(place, (settings.operations + settings.workers() - 1) / settings.workers());
    }
    crew.await(
        [&] { return everyWorker(0, [&](u32 id) { return board->progress[id].isDone != 0; }); });
    expect(crew.join(), "a process ended with a fault");
    countOperations();
    const RegionAudit audit = auditOf(its.name);
    add(audit);
    expect(audit.lost == 0, "blocks are lost, and no process died");
    expectWholeValues(its.store);
    expectEmptyAfterDeletion(its);
  }

  // Kills the process of place 0 again and again.
  void killInOneStore(u32 kills) {
    TortureStore its(settings, round++);
    plantKeptKeys(its.store);
    Crew crew(its.name, settings, *board);
    board->stop = 0;
    for (u32 place = 1; place < settings.processes; ++place) crew.start(place, kForever);
    for (u32 i = 0; i < kills; ++i) {
      crew.start(0, kForever);
      const u64 life = dice() % kMaxLife;
      crew.await([&] { return crew.operations(0) > life; });
      measure(crew, calm, [] {});
      usleep(static_cast<useconds_t>(dice() % kMaxLastMicroseconds));
      measure(crew, aroundKills, [&] { crew.kill(0); });
    }
    board->stop = 1;
    expect(crew.join(), "a survivor ended with a fault");
    countOperations();
    const RegionAudit audit = auditOf(its.name);
    add(audit);
    expect(audit.lost <= u64{kills} * settings.threads * kChainsAtDeath * kLongestChain,
           "more blocks are lost than the dead can have held");
    expectWholeValues(its.store);
  }

  struct Pauses {
    u64 longest = 0;  // ns
    u64 longestAwake = 0;
    u32 above100 = 0;  // of the second figure, windows with more than 100 ms
  };

  // Measures the longest pause of all survivors while `act` runs and for some time after it.
  template <typename Act>
  void measure(Crew& crew, Pauses& pauses, Act act) {
    u64 from[kMaxWorkers] = {};
    const u32 first = crew.first(1);
    for (u32 id = first; id < settings.workers(); ++id) {
      from[id] = crew.operations(id);
      board->progress[id].longest = board->progress[id].longestAwake = 0;
    }
    act();
    crew.await([&] {
      return everyWorker(first, [&](u32 id) { return crew.operations(id) >= from[id] + kWindow; });
    });
    u64 awake = 0;
    for (u32 id = first; id < settings.workers(); ++id) {
      pauses.longest = std::max<u64>(pauses.longest, board->progress[id].longest);
      awake = std::max<u64>(awake, board->progress[id].longestAwake);
    }
    pauses.longestAwake = std::max(pauses.longestAwake, awake);
    if (static_cast<double>(awake) > 100 * kNanosecondsPerMs) ++pauses.above100;
  }

  template <typename Holds>
  bool everyWorker(u32 first, Holds holds) const {
    for (u32 id = first; id < settings.workers(); ++id) {
      if (!holds(id)) return false;
    }
    return true;
  }

  void expect(bool holds, const char* fault) {
    if (holds) return;
    ++faults;
    std::printf("FAULT: %s\n", fault);
  }

  void countOperations() {
    for (u32 id = 0; id < settings.workers(); ++id) operations += board->progress[id].operations;
  }

  void add(const RegionAudit& audit) {
    lost += audit.lost;
    pinned += audit.pinnedChains;
    expect(audit.twice == 0, "a block is in two places");
    expect(audit.brokenSlots == 0, "a slot names a chain that isn't whole");
  }

  std::vector<std::string> allKeys() const {
    std::vector<std::string> keys = tortureKeys(settings.blockSize);
    for (u32 id = 0; id < settings.workers(); ++id) {
      keys.push_back(keptKey(id, settings.workers(), settings.blocks));
    }
    return keys;
  }

  void expectWholeValues(const simdb& store) {
    for (const auto& key : allKeys()) {
      expect(isWhole(key, store.get(key)), "a value isn't whole");
    }
  }

  // Deletes keys more than once, because a key can be in more than one slot, and an older value
  // then comes to light when the newer is deleted.
  void expectEmptyAfterDeletion(TortureStore& its) {
    for (const auto& key : allKeys()) {
      while (its.store.del(key.data(), static_cast<u32>(key.size()))) {
      }
    }
    const RegionAudit audit = auditOf(its.name);
    expect(audit.usedSlots == 0 && audit.freeBlocks == settings.blocks,
           "not all blocks are free after all was deleted");
  }

  static void print(const char* when, const Pauses& pauses) {
    std::printf(
        "  longest pause of a survivor %s: %.1f ms, of which not in the scheduler's queue "
        "%.1f ms (%u times above 100 ms)\n",
        when, static_cast<double>(pauses.longest) / kNanosecondsPerMs,
        static_cast<double>(pauses.longestAwake) / kNanosecondsPerMs, pauses.above100);
  }

  void report(double seconds) const {
    std::printf("%llu operations by %u processes of %u threads in %.0f s, seed %u\n",
                Count{operations}, settings.processes, settings.threads, seconds, settings.seed);
    std::printf(
        "  torn values %llu, old ones %llu, strange keys %llu, absent ones %llu, puts without "
        "room %llu\n",
        Count{board->torn}, Count{board->old}, Count{board->strange}, Count{board->absent},
        Count{board->refused});
    if (settings.kills > 0) {
      std::printf(
          "  %u kills in %u stores; the dead took %llu blocks and left pins on %llu values\n",
          settings.kills, round, Count{lost}, Count{pinned});
      print("around a kill", aroundKills);
      print("in calm times", calm);
    }
    std::puts(isClean() ? "  no fault" : "  FAULTY");
  }

  const TortureSettings settings;
  std::mt19937 dice;
  SharedBoard board;
  u64 operations = 0;
  u64 lost = 0;
  u64 pinned = 0;
  u32 faults = 0;
  u32 round = 0;
  Pauses calm, aroundKills;
};

}  // namespace

bool runTorture(const TortureSettings& settings) {
  return Torture(settings).run();
}
