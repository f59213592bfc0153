// Runs the program between a host and a simulator that this process plays, for a long time or as
// fast as it goes. Everything that is sent carries a number and has to arrive at the other end, in
// order and once. The program's memory and its count of descriptors must not grow.
//
// At a loss the simulator falls silent until the program gives the link up; after every other loss
// the simulator closes its stores and opens them again. Presses of the seconds around a loss may be
// dropped (Ledger::kReach). A restart closes and opens without a silence, and drops nothing.
#pragma once

#include <string>

struct SoakSettings {
  std::string program;
  unsigned seconds = 60;  // if there is no number of events
  unsigned events = 0;    // each way, as fast as they go
  unsigned rate = 200;    // a second each way
  unsigned losses = 0;
  unsigned restarts = 0;
};

// Prints its findings. True: no fault. Uses the program's own two stores, so no simulator plug-in
// may run at the same time. Throws std::exception if the soak can't begin.
bool runSoak(const SoakSettings& settings);
