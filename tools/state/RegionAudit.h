// Counts what a store's region holds: every block is on the free list, or in exactly one chain that
// a slot names, or lost.
//
// The file is read into memory of this process and never mapped, so the region isn't changed, no
// attachment is taken, and a file that is cut short during the audit does no harm. The copy is then
// walked by the store's own classes. Whatever is in it, every index is checked before it is used
// and no walk is longer than the region has blocks.
//
// The copy is no snapshot: while others use the store its words come from different moments, and
// blocks that an operation holds just then count as lost. At rest the audit is exact.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "store/RegionMemory.h"

using store::u32;
using store::u64;

struct RegionAudit {
  struct Key {
    std::string text;   // at most kShownBytes of it
    std::string value;  // as much of it as lies in the chain's first block, at most kShownBytes
    u32 keyBytes = 0;
    u32 valueBytes = 0;
  };

  static constexpr std::size_t kShownKeys = 10;
  static constexpr u32 kShownBytes = 50;
  static constexpr u64 kMaxBytes = u64{1} << 28U;  // a larger region is refused

  // Audits the store of that name. nullopt: that isn't possible, and `problem` says why in a few
  // words.
  static std::optional<RegionAudit> of(const std::string& name, std::string& problem);

  bool isSound() const { return lost == 0 && twice == 0 && brokenSlots == 0; }

  u64 fileBytes = 0;
  u32 flags = 0;  // 1: the region was set up to its end
  u32 attachments = 0;
  u64 blockSize = 0;
  u64 blockCount = 0;
  u64 writes = 0;  // values that were ever put

  u64 freeBlocks = 0;  // on the free list
  u64 usedBlocks = 0;  // in a chain that a slot names
  u64 lost = 0;        // in neither
  u64 twice = 0;       // met more than once
  u64 usedSlots = 0;   // slots that name a chain
  u64 deletedSlots = 0;
  u64 brokenSlots = 0;   // used slots whose chain isn't whole
  u64 pinnedChains = 0;  // a reader is inside, or died there

  std::vector<Key> keys;  // the first few, in order
};
