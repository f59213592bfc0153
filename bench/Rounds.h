// Runs the rounds of the benchmarks of whole processes, and prints their results as lines of JSON,
// from which the tables are made.
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

// One of the works that are compared: its name, and the function that measures it once.
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

// Runs the contenders round-robin, so that drift of the machine's speed affects all of them alike.
inline void inTurn(const std::string& work, const char* unit, int rounds,
                   const std::vector<Contender>& contenders) {
  for (int round = 0; round < rounds; ++round) {
    for (const Contender& contender : contenders) {
      report(work, contender.name, unit, contender.measure());
    }
  }
}

}  // namespace bench
