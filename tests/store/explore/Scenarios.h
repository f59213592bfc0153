// The small programs that are run under all schedules, and what has to hold after each run.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/store/explore/History.h"

namespace explore {

struct Scenario {
  std::string name;
  std::uint32_t n = 4;
  std::uint32_t b = 8;
  std::vector<Action> setup;
  std::vector<std::vector<Action>> threads;
  enum Kind { Threads, Leave, Replace, Meet } kind = Threads;  // the others open and close stores
  std::uint64_t versions = 0;  // where the counter of versions begins; 0: as in a new region
  bool isDeep = false;         // worth one preemption more than the others
  bool isKilled = false;       // the first thread, at any of its steps
  bool isWeak = false;         // under weak memory
  bool mayRefuse = false;      // the store is so small that a put may find no room
};

std::vector<Scenario> scenarios();
Scenario randomScenario(std::uint32_t seed);

// Runs the scenario once, under the present choices. Returns what is wrong, or "".
std::string check(const Scenario& scenario, int preemptions, History& history);

}  // namespace explore
