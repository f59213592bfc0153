// Numbers that go in at one end of the program and have to come out at the other: each once, in
// order, and none left out but where it may be dropped. One thread uses an object.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

class Ledger {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Number = std::uint64_t;

  // How far from the moment of a drop a number may have been given, on a machine that is busy.
  static constexpr std::chrono::seconds kReach{2};

  // The next number, from 1 on: it goes in now.
  Number give(Time now);

  // A number has come out.
  void take(Number number);

  // What was on its way at this moment may be dropped: one run of numbers without a gap.
  void allowDrop(Time at) { drops.push_back(at); }

  Number given() const { return times.size(); }
  Number taken() const { return count; }
  Number last() const { return next - 1; }  // that came out, or 0
  Number onTheirWay() const { return given() - last(); }

  // Came twice, out of order, or was never given.
  Number strange() const { return strangers; }

  struct Missing {
    Number dropped = 0;  // by rule
    Number lost = 0;     // nothing accounts for them
  };
  // What hasn't come out. What is still on its way counts as lost.
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
