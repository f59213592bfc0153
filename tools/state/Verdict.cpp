#include "tools/state/Verdict.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace {

using Found = std::optional<Verdict>;
using Group = std::vector<const Process*>;

// Seconds after its start in which a panel may have said nothing yet.
constexpr std::time_t kPanelPause = 6;

std::string nameOf(const Process& process) {
  const auto slash = process.program.rfind('/');
  return process.program.substr(slash == std::string::npos ? 0 : slash + 1) + " (pid " +
         std::to_string(process.pid) + ", user " + process.user + ")";
}

std::string namesOf(const Group& group) {
  std::string names;
  for (const Process* process : group) {
    names += (names.empty() ? "" : " and ") + nameOf(*process);
  }
  return names;
}

// Of something that was so already when we first looked.
std::string atLeast(std::chrono::duration<double> time) {
  return "at least " + std::to_string(std::lround(time.count())) + " s";
}

std::string pathOf(const StoreFacts& store) {
  return StoreFile::pathOf(store.name);
}

std::string makeAgain(const StoreFacts& store) {
  return "End the Stream Deck application and the simulator, delete " + pathOf(store) +
         ", and start both again.";
}

class Judge {
 public:
  explicit Judge(const Facts& known) : facts(known) {
    for (const Process& process : known.processes.found) {
      if (process.isElsewhere()) {
        (process.isPanel() ? farPanels : farOthers).push_back(&process);
      } else if (process.isPanel()) {
        panels.push_back(&process);
      } else if (process.isOfLink()) {
        others.push_back(&process);
      }
    }
    std::copy_if(others.begin(), others.end(), std::back_inserter(simulators),
                 [&](const Process* other) { return isAtBoth(*other); });
  }

  Verdict verdict() const {
    using Question = Found (Judge::*)() const;
    constexpr std::array<Question, 9> kQuestions = {
        &Judge::fileFault,         &Judge::damage,    &Judge::panelFault,
        &Judge::simulatorFault,    &Judge::fullStore, &Judge::simulatorTakesNothing,
        &Judge::panelTakesNothing, &Judge::silence,   &Judge::lostBlocks};
    for (const Question question : kQuestions) {
      if (auto found = (this->*question)()) return *std::move(found);
    }
    return {"well", "All is well. The panel and " + nameOf(*simulators.front()) + " are connected.",
            ""};
  }

 private:
  std::array<const StoreFacts*, 2> stores() const { return {&facts.toSimulator, &facts.toPanel}; }

  bool isAtBoth(const Process& process) const {
    return process.has(facts.toSimulator.name) && process.has(facts.toPanel.name);
  }

  Found fileFault() const {
    for (const StoreFacts* store : stores()) {
      const std::string path = pathOf(*store);
      switch (store->file.kind) {
        case StoreFile::Kind::NotAFile:
          return Verdict{"not-a-file", path + " is no file but a folder or the like.",
                         "Remove it, and restart the Stream Deck application and the simulator."};
        case StoreFile::Kind::DanglingLink:
          return Verdict{"dangling-link", path + " is a link that leads to nothing.",
                         "Remove it, and restart the Stream Deck application and the simulator."};
        case StoreFile::Kind::NotPermitted:
          return Verdict{
              "foreign-owner",
              path + " belongs to " + store->file.owner + ", and you may not write to it.",
              "Delete it (sudo rm " + path +
                  "), and start the Stream Deck application and the simulator as one "
                  "and the same user."};
        case StoreFile::Kind::NoRoom:
          return Verdict{"no-room", "The disk of /var/tmp has no room for " + path + ".",
                         "Make room for 20 MB there, and restart the Stream Deck application and "
                         "the simulator."};
        case StoreFile::Kind::Missing:
        case StoreFile::Kind::Ready:
          break;
      }
    }
    return {};
  }

  Found damage() const {
    for (const StoreFacts* store : stores()) {
      if (store->file.kind != StoreFile::Kind::Ready) continue;
      const bool isReadable = store->audit.has_value();
      if (isReadable && store->audit->twice == 0 && store->audit->brokenSlots == 0) continue;
      return Verdict{
          "damaged",
          pathOf(*store) + " is damaged" + (isReadable ? "." : ": " + store->problem + "."),
          makeAgain(*store)};
    }
    return {};
  }

  Found panelFault() const {
    if (panels.empty() && !farPanels.empty()) return apart("no-panel", *farPanels.front());
    if (panels.empty()) {
      return Verdict{"no-panel", "The panel doesn't run." + ofOthers(),
                     "Start the Stream Deck application. If it runs, look whether the plug-in is "
                     "installed, and into that application's log."};
    }
    if (panels.size() > 1) {
      return Verdict{"two-panels", "More than one panel runs: " + namesOf(panels) + ".",
                     "End all but one."};
    }
    const Process& panel = *panels.front();
    if (panel.isStopped) {
      return Verdict{"panel-stopped", nameOf(panel) + " is stopped.",
                     "kill -CONT " + std::to_string(panel.pid)};
    }
    if (!isAtBoth(panel)) return withoutStore(panel);
    return {};
  }

  Found withoutStore(const Process& panel) const {
    if (!panel.has(facts.toSimulator.name) && facts.processes.hidden > 0 && panel.holds.empty()) {
      return Verdict{"hidden", nameOf(panel) + " is another user's, and can't be looked into.",
                     "Run velomar-state as that user, or with sudo."};
    }
    return Verdict{"panel-without-store",
                   nameOf(panel) +
                       " doesn't have the two files: they were in its way when it "
                       "started, or have been deleted since.",
                   "Restart the Stream Deck application."};
  }

  Found simulatorFault() const {
    if (simulators.empty()) return noSimulator();
    if (simulators.size() > 1) {
      return Verdict{"two-simulators",
                     "More than one simulator's side is there: " + namesOf(simulators) +
                         ". Each press reaches only one of them.",
                     "End all but one."};
    }
    if (simulators.front()->isStopped) {
      return Verdict{"simulator-stopped",
                     nameOf(*simulators.front()) + " is stopped." + whatWaits(),
                     "kill -CONT " + std::to_string(simulators.front()->pid)};
    }
    return {};
  }

  Verdict noSimulator() const {
    if (!others.empty()) {
      return {"apart",
              nameOf(*others.front()) +
                  " doesn't have the panel's two files: they were deleted and made again while it "
                  "ran.",
              "Restart it."};
    }
    if (!farOthers.empty()) return apart("no-simulator", *farOthers.front());
    return {"no-simulator", "No simulator's side is there." + whatWaits() + ofOthers(),
            "Start the simulator, or its plug-in or bridge that speaks with the panel."};
  }

  Found fullStore() const {
    const auto& audit = facts.toSimulator.audit;
    if (!audit || audit->freeBlocks > 0) return {};
    return Verdict{
        "full",
        "Presses are being lost: " + nameOf(*simulators.front()) + " takes nothing." + whatWaits(),
        "Restart the simulator's side. If it stays so: " + makeAgain(facts.toSimulator)};
  }

  Found simulatorTakesNothing() const {
    if (facts.toSimulator.waits < kPatience) return {};
    const std::string since = " has taken nothing for " + atLeast(facts.toSimulator.waits);
    // Only a write since it stopped taking proves that it lives.
    if (facts.toPanel.sinceWritten < facts.toSimulator.waits) {
      return Verdict{
          "not-taken",
          nameOf(*simulators.front()) + since + ", though it lives and writes." + whatWaits(),
          "Restart the simulator's side: it doesn't read what the panel writes."};
    }
    return Verdict{"simulator-hangs", nameOf(*simulators.front()) + since + "." + whatWaits(),
                   "If it isn't just loading or paused, it hangs: restart it."};
  }

  Found panelTakesNothing() const {
    if (facts.toPanel.waits < kPatience) return {};
    if (isStarting()) return starting();
    return Verdict{
        "panel-hangs",
        nameOf(*panels.front()) + " has taken nothing for " + atLeast(facts.toPanel.waits) + ".",
        "It pauses for 5 s after a message that it can't read, and its log says so. If "
        "it stays so, restart the Stream Deck application."};
  }

  // A panel that is connected writes at least every 2.5 s.
  Found silence() const {
    if (facts.toSimulator.isTaken) return {};
    if (isStarting()) return starting();
    return Verdict{"not-connected",
                   "The panel and " + nameOf(*simulators.front()) +
                       " are both there, but not connected: nothing is said.",
                   "Restart the simulator's side: it has to say {Hello}, or to answer {Welcome}."};
  }

  Found lostBlocks() const {
    for (const StoreFacts* store : stores()) {
      if (!store->audit || store->audit->lost == 0) continue;
      return Verdict{"lost-blocks",
                     "The panel and the simulator's side are connected, but " +
                         std::to_string(store->audit->lost) + " blocks of " + pathOf(*store) +
                         " are lost: a process was killed while it held them.",
                     "It goes on working with the rest. When it suits you: " + makeAgain(*store)};
    }
    return {};
  }

  static Verdict apart(const char* code, const Process& process) {
    return {
        code,
        nameOf(process) +
            " has a /var/tmp of its own, as in a Flatpak or a container, where it can't be met.",
        "Install it from a package instead."};
  }

  bool isStarting() const { return facts.now - panels.front()->since < kPanelPause; }

  static Verdict starting() {
    return {"starting", "The panel has just started, and says nothing for its first 5 s.", "Wait."};
  }

  std::string whatWaits() const {
    const auto& audit = facts.toSimulator.audit;
    const u64 count = audit ? audit->usedSlots : 0;
    if (count == 0) return "";
    if (audit->freeBlocks == 0) {
      return " " + std::to_string(count) +
             " messages wait for it, the store is full, and each "
             "further press is lost.";
    }
    return count == 1 ? " One message waits for it."
                      : " " + std::to_string(count) + " messages wait for it.";
  }

  // A note that a process which wasn't found may be another user's.
  std::string ofOthers() const {
    const auto& audit = facts.toSimulator.audit;
    const auto living = static_cast<std::size_t>(
        std::count_if(facts.processes.found.begin(), facts.processes.found.end(),
                      [&](const Process& process) { return process.has(facts.toSimulator.name); }));
    if (facts.processes.hidden == 0 || !audit || audit->attachments <= living) return "";
    return " (It may be another user's: sudo velomar-state can tell.)";
  }

  const Facts& facts;
  Group panels;
  Group others;     // processes that have one of the files, or had
  Group farPanels;  // those in a sandbox
  Group farOthers;
  Group simulators;  // processes that have both present files
};

}  // namespace

Verdict judge(const Facts& facts) {
  return Judge(facts).verdict();
}
