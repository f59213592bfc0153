#include "stress/soak/Ledger.h"

#include <algorithm>

Ledger::Number Ledger::give(Time now) {
  times.push_back(now);
  return times.size();
}

void Ledger::take(Number number) {
  if (number < next || number > given()) {
    ++strangers;
    return;
  }
  if (number > next) gaps.push_back({next, number});
  next = number + 1;
  ++count;
}

bool Ledger::mayBe(const Gap& gap, Time drop) const {
  return times[gap.from - 1] >= drop - kReach && times[gap.to - 2] <= drop + kReach;
}

// Each drop accounts for one gap at most.
Ledger::Missing Ledger::missing() const {
  Missing missing;
  missing.lost = onTheirWay();
  std::vector<Time> unused = drops;
  for (const Gap& gap : gaps) {
    const auto drop =
        std::find_if(unused.begin(), unused.end(), [&](Time at) { return mayBe(gap, at); });
    (drop == unused.end() ? missing.lost : missing.dropped) += gap.to - gap.from;
    if (drop != unused.end()) unused.erase(drop);
  }
  return missing;
}
