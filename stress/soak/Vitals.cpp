#include "stress/soak/Vitals.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

namespace fs = std::filesystem;

namespace {

constexpr int kLooks = 5;

std::size_t countEntries(const fs::path& folder) {
  std::error_code error;
  const fs::directory_iterator entries(folder, error);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace

Vitals Vitals::of(pid_t pid) {
  Vitals vitals;
  const fs::path process = "/proc/" + std::to_string(pid);
  std::ifstream status(process / "status");
  for (std::string name, rest; status >> name && std::getline(status, rest);) {
    if (name == "VmRSS:") vitals.resident = std::atol(rest.c_str());
    if (name == "RssAnon:") vitals.anonymous = std::atol(rest.c_str());
  }
  vitals.descriptors = countEntries(process / "fd");
  for (int look = 1; look < kLooks; ++look) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    vitals.descriptors = std::min(vitals.descriptors, countEntries(process / "fd"));
  }
  return vitals;
}
