// Checks numbers that go in at one end of the program and have to come out at the other: each once,
// in order, and with no gap but at a drop that is allowed. One thread uses an object.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

class Ledger {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Number = std::uint64_t;

  // A drop accounts for numbers given at most this long before or after it, on a busy machine.
  static constexpr std::chrono::seconds kReach{2};

  // Returns the next number, from 1 on, and notes that it goes in now.
  Number give(Time now);

  // Notes that a number has come out.
  void take(Number number);

  // Allows the numbers that are on their way at this moment to be dropped: one run without a gap.
  void allowDrop(Time at) { drops.push_back(at); }

  Number given() const { return times.size(); }
  Number taken() const { return count; }
  Number last() const { return next - 1; }  // the last that came out, or 0
  Number onTheirWay() const { return given() - last(); }

  // The count of numbers that came twice, out of order, or were never given.
  Number strange() const { return strangers; }

  struct Missing {
    Number dropped = 0;  // a drop that was allowed accounts for them
    Number lost = 0;     // nothing accounts for them
  };
  // The numbers that haven't come out. Those that are still on their way count as lost.
  Missing missing() const;

 private:
  struct Gap {
    Number from, to;  // the first number, and the one after the last
  };
  bool mayBe(const Gap& gap, Time drop) const;

  std::vector<Time> times;  // when each number was given
  std::vector<Time> drops;
  std::vector<Gap> gaps;
  Number next = 1;  // to come out
  Number count = 0;
  Number strangers = 0;
};
