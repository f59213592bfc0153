// The small programs that are run under all schedules, and what has to hold after each run.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/store/explore/History.h"

namespace explore {

struct Scenario {
  // In a row these are words.
  enum Trait : unsigned {
    kDeep = 1,        // deep: worth one preemption more than the others
    kKilled = 2,      // killed: the first thread, at any of its steps
    kWeak = 4,        // weak: under weak memory
    kAlsoWeak = 8,    // both: a second time under weak memory
    kMayRefuse = 16,  // tight: the store is so small that a put may find no room
    kWraps = 32,      // wraps: the counter of versions is about to come round
    kLeaving = 64,    // leaving, and the last two: of opening and closing, without threads
    kReplaced = 128,
    kMeeting = 256
  };

  // A row is "name | blocks, bytes of each and traits | before | thread | thread", of which those
  // from the third on are actions as "put key value; del key". A key of one letter means one whose
  // probe starts at slot 0 for "a", at slot 1 for "b", and so on; "A" is a second one at slot 0.
  explicit Scenario(const std::string& row);

  bool has(Trait trait) const { return (traits & trait) != 0; }

  std::string name;
  std::uint32_t n = 0;
  std::uint32_t b = 0;
  std::vector<Action> setup;
  std::vector<std::vector<Action>> threads;
  unsigned traits = 0;
};

std::vector<Scenario> scenarios();
Scenario randomScenario(std::uint32_t seed);

// Runs the scenario once, under the present choices. Returns what is wrong, or "".
std::string check(const Scenario& scenario, int preemptions, History& history);

}  // namespace explore
