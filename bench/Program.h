// Runs the program between a host that this process plays and the two stores, for the benchmarks of
// whole processes.
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bench/Host.h"
#include "bench/Peers.h"
#include "bench/Rounds.h"
#include "tools/common/ChildProcess.h"
#include "tools/common/TemporaryPluginFolder.h"

namespace bench {

namespace fs = std::filesystem;

// A program that was told the host's port, and has registered.
class Started {
 public:
  explicit Started(const std::string& file, const std::string& registerEvent = "registerPlugin") {
    ChildProcess::Options options;
    options.folder = folder.path;
    options.withErrorOutput = true;
    const auto start = Clock::now();
    child = std::make_unique<ChildProcess>(
        std::vector<std::string>{file, "-port", host.port(), "-pluginUUID", "bench",
                                 "-registerEvent", registerEvent, "-info", "{}"},
        options);
    host.awaitCount(1);
    toRegistration = secondsSince(start);
  }

  const TemporaryPluginFolder folder;
  Host host;
  double toRegistration = 0;
  std::unique_ptr<ChildProcess> child;
};

inline std::string appear(const std::string& context, const std::string& keyName = "K") {
  return R"({"event":"willAppear","action":"com.brackenmoor.velomar.launch","context":")" +
         context + R"(","device":"D1","payload":{"settings":{"KeyName":")" + keyName +
         R"("},"coordinates":{"column":0,"row":0},)"
         R"("controller":"Keypad"}})";
}

// Reports the median and the 99th percentile, in seconds.
inline void reportSpread(const std::string& work, std::vector<double> figures,
                         const char* who = "velomar") {
  std::sort(figures.begin(), figures.end());
  report(work + " p50", who, "s", figures[figures.size() / 2]);
  report(work + " p99", who, "s", figures[figures.size() * 99 / 100]);
}

// Nanoseconds that all threads of a process have run.
inline double cpuTime(pid_t pid) {
  double sum = 0;
  for (const auto& task : fs::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
    double ran = 0;
    std::ifstream(task.path() / "schedstat") >> ran;
    sum += ran;
  }
  return sum;
}

inline double residentBytes(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmRSS:", 0) == 0) return std::atof(line.c_str() + 6) * 1024;
  }
  return 0;
}

}  // namespace bench
