// Judges why a panel is black, and says what to do about it.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "tools/state/Processes.h"
#include "tools/state/RegionAudit.h"
#include "tools/state/StoreFile.h"

// The known facts of one of the two stores.
struct StoreFacts {
  std::string name;
  StoreFile file;
  std::optional<RegionAudit> audit;
  std::string problem;     // why there is no audit
  bool isWritten = false;  // within the last seconds, as isTaken
  bool isTaken = false;
  std::chrono::duration<double> sinceWritten{0};
  std::chrono::duration<double> waits{0};  // how long its oldest value was seen to wait
};

struct Facts {
  StoreFacts toSimulator;
  StoreFacts toPanel;
  Processes processes;
  std::time_t now = 0;
};

struct Verdict {
  std::string code;    // for scripts; "well" if all is well
  std::string words;   // what is the matter
  std::string remedy;  // what to do; empty if nothing is to be done

  bool isWell() const { return code == "well"; }
};

// A value that has waited for less than this doesn't mean yet that no process empties the store.
constexpr std::chrono::seconds kPatience{1};

// Returns the first fault, in an order in which each fault could cause those after it.
Verdict judge(const Facts& facts);
