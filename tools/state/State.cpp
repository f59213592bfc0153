// velomar-state [NAME...]: what the named stores hold, or all stores on this machine.
//
// Reads only. Ends with 0 if all is well, 1 if a store has lost blocks or can't be read, 2 if asked
// in the wrong way.
#include <chrono>
#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "store/simdb.h"
#include "tools/state/RegionAudit.h"

namespace {

using std::chrono::milliseconds;
using Count = unsigned long long;  // as printf wants it

// What operations hold while the copy is made looks lost. What is lost stays so.
constexpr int kLooks = 5;
constexpr milliseconds kBetweenLooks{40};

std::optional<RegionAudit> lookAt(const std::string& name, std::string& problem) {
  auto audit = RegionAudit::of(name, problem);
  for (int looks = 1; audit && !audit->isSound() && looks < kLooks; ++looks) {
    std::this_thread::sleep_for(kBetweenLooks);
    auto again = RegionAudit::of(name, problem);
    if (!again || again->lost <= audit->lost) audit = std::move(again);
  }
  return audit;
}

// Keys are text, but those of a damaged region can be anything.
std::string printable(const std::string& text) {
  std::string shown;
  for (const char c : text) shown += c >= ' ' && c <= '~' ? c : '?';
  return shown;
}

void printKeys(const RegionAudit& audit) {
  const u64 waiting = audit.usedSlots - audit.brokenSlots;
  std::printf("  keys         %llu waiting\n", Count{waiting});
  for (const auto& key : audit.keys) {
    const bool isCut = key.keyBytes > key.text.size();
    std::printf("    %s%s: %u bytes\n", printable(key.text).c_str(), isCut ? "..." : "",
                key.valueBytes);
  }
  if (waiting > audit.keys.size()) {
    std::printf("    and %llu more\n", Count{waiting - audit.keys.size()});
  }
}

void printDamage(const RegionAudit& audit) {
  if (audit.lost > 0) {
    std::printf(
        "  lost         %llu blocks are neither free nor in use: a process was killed\n"
        "               while it held them. End whatever uses the store and delete the\n"
        "               file; it is then made anew.\n",
        Count{audit.lost});
  }
  if (audit.twice > 0) {
    std::printf("  damaged      %llu blocks stand in more than one place\n", Count{audit.twice});
  }
  if (audit.brokenSlots > 0) {
    std::printf("  damaged      %llu slots name a value that isn't whole\n",
                Count{audit.brokenSlots});
  }
}

bool show(const std::string& name) {
  const std::string shown = printable(name);
  std::string problem;
  std::optional<RegionAudit> found;
  try {
    found = lookAt(name, problem);
  } catch (const std::exception& e) {
    problem = e.what();
  }
  std::printf("%s\n  file         %s%s\n", shown.c_str(), SharedMem::kPrefix, shown.c_str());
  if (!found) {
    std::printf("  unreadable   %s\n", problem.c_str());
    return false;
  }
  const RegionAudit& audit = *found;
  std::printf("  length       %llu bytes\n", Count{audit.fileBytes});
  std::printf("  flags        %u (%s)\n", audit.flags,
              audit.flags == 1 ? "set up" : "not set up to its end");
  std::printf("  attachments  %u\n", audit.attachments);
  std::printf("  blocks       %llu of %llu bytes: %llu free, %llu in use, %llu lost\n",
              Count{audit.blockCount}, Count{audit.blockSize}, Count{audit.freeBlocks},
              Count{audit.usedBlocks}, Count{audit.lost});
  std::printf("  slots        %llu: %llu used, %llu deleted\n", Count{audit.blockCount},
              Count{audit.usedSlots}, Count{audit.deletedSlots});
  std::printf("  readers      inside %llu values\n", Count{audit.pinnedChains});
  printKeys(audit);
  printDamage(audit);
  return audit.isSound();
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> names(argv + 1, argv + argc);
  if (!names.empty() && names.front().rfind('-', 0) == 0) {
    std::fprintf(stderr,
                 "Usage: velomar-state [NAME...]\n"
                 "Shows what the named stores hold, or all stores on this machine.\n");
    return names.front() == "--help" ? 0 : 2;
  }
  if (names.empty()) {
    names = simdb_listDBs(nullptr);
    if (names.empty()) std::puts("There is no store on this machine.");
  }
  bool isWell = true;
  for (const auto& name : names) isWell = show(name) && isWell;
  return isWell ? 0 : 1;
}
