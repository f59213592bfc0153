// For the benchmarks of whole processes: rounds in turn, and results as lines of JSON that the
// table is made from.
#pragma once

#include <chrono>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// One of those that are compared: its name, and what yields a figure.
struct Contender {
  std::string name;
  std::function<double()> measure;
};

inline void report(const std::string& work, const std::string& who, const char* unit,
                   double figure) {
  std::printf(R"({"work":"%s","who":"%s","unit":"%s","value":%.9g})"
              "\n",
              work.c_str(), who.c_str(), unit, figure);
  std::fflush(stdout);
}

// Has all of them measure in turn, A B A B, so that a machine whose speed drifts is fair to all.
inline void inTurn(const std::string& work, const char* unit, int rounds,
                   const std::vector<Contender>& contenders) {
  for (int round = 0; round < rounds; ++round) {
    for (const Contender& contender : contenders) {
      report(work, contender.name, unit, contender.measure());
    }
  }
}

}  // namespace bench
