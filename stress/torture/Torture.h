// Several processes with threads put, replace, read, list and delete the same few keys of a store
// with a name of its own. When all is quiet, the region is audited: every block is free or in
// exactly one chain, and every value is whole.
//
// With kills, one of the processes is killed again and again at random moments and replaced. The
// others have to go on. The blocks that the dead took are counted, and no other may be lost.
#pragma once

#include "stress/torture/Crew.h"

constexpr u32 kLongestChain = 24;  // blocks

// Prints its findings. True: no fault. REQUIRES: no other thread runs, blocks > 0, and two
// processes if one of them is to be killed. Throws std::exception if the torture itself fails.
bool runTorture(const TortureSettings& settings);
