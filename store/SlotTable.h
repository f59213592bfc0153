// A table of N slots, each a 64-bit word that names a chain by block index and version, or none.
// Knows nothing of keys. Any thread; a copy is as good as the object; owns nothing.
//
// An even slot has the index in its low half, an odd slot in its high half, so that neighbours read
// index, version, version, index in memory. Slots start as `empty` and are `deleted` once a chain
// was taken out.
//
//   word       written by   how               pairs with
//   slot i     replace      compareAndSwap    every loadSeqCst of the slot: a thread that gets the
//                                             word sees all that its writer wrote before. A word
//                                             comes back only after 2^32 chains.
#pragma once

#include <algorithm>

#include "store/RegionLayout.h"

namespace store {

class SlotTable {
 public:
  static constexpr VerIdx empty{0xFFFFFFFF, 0};
  static constexpr VerIdx deleted{0xFFFFFFFE, 0};

  // Whether a slot's content names a chain rather than being `empty` or `deleted`.
  static bool isChain(VerIdx slot) { return slot.idx < deleted.idx; }

  SlotTable() = default;  // no slots; only to be assigned to
  SlotTable(Word64* first, u32 count) : slots(first), n(count) {}

  // Empties every slot. No other thread may use the table yet.
  void clear() const;

  u32 size() const { return n; }

  VerIdx at(u32 i) const { return fromWord(i, loadSeqCst(slots[i])); }

  // False: slot `i` doesn't hold `seen` any more.
  bool replace(u32 i, VerIdx seen, VerIdx desired) const {
    u64 word = toWord(i, seen);
    return compareAndSwap(slots[i], word, toWord(i, desired));
  }

  // The first slot from `i` on that is `used` and for which `is(slot)` is true, else `end`.
  // REQUIRES: i <= end <= size(), and neither `empty` nor `deleted` is `used`.
  template <typename Used, typename Condition>
  u32 next(u32 i, u32 end, Used used, Condition is) const;

  // The first slot of a probe, mostly without a division. REQUIRES: there are slots.
  u32 startOf(u32 hash) const { return (n & (n - 1)) == 0 ? hash & (n - 1) : hash % n; }

  // Goes through `steps` slots, linear from hash mod N: in one stretch, or in two if it wraps. Ends
  // with true when `stretch(from, to)` returns true.
  template <typename Stretch>
  bool probe(u32 hash, u32 steps, Stretch stretch) const;

 private:
  static u64 turned(u32 i, u64 word) { return i % 2 == 0 ? word : word << 32U | word >> 32U; }
  static u64 toWord(u32 i, VerIdx chain) {
    return turned(i, u64{chain.version} << 32U | chain.idx);
  }
  static VerIdx fromWord(u32 i, u64 word) {
    const u64 chain = turned(i, word);
    return {static_cast<u32>(chain), static_cast<u32>(chain >> 32U)};
  }
  bool isOctetUnused(u32 i) const;

  Word64* slots = nullptr;
  u32 n = 0;
};

inline void SlotTable::clear() const {
  for (u32 i = 0; i < n; ++i) storeRelease(slots[i], toWord(i, empty));
}

// Looks at the eight slots from `i` on together, since most of a table is unused most of the time.
// An unused slot has an index of which all bits but the lowest are set. REQUIRES: `i` is a multiple
// of eight.
inline bool SlotTable::isOctetUnused(u32 i) const {
  const Word64* const eight = slots + i;
  const auto word = [eight](u32 k) { return loadSeqCst(eight[k]); };
  const u64 even = word(0) & word(2) & word(4) & word(6);
  const u64 odd = word(1) & word(3) & word(5) & word(7);
  constexpr u32 kUnused = 0xFFFFFFFE;
  return (static_cast<u32>(even) & static_cast<u32>(odd >> 32U) & kUnused) == kUnused;
}

// Looks at eight slots together only after eight that were unused: in a crowded table that look
// would mostly be in vain.
template <typename Used, typename Condition>
u32 SlotTable::next(u32 i, u32 end, Used used, Condition is) const {
  const SlotTable table = *this;  // its pointers stay in registers, whatever is loaded through them
  const auto holds = [&](u32 k) {
    const VerIdx slot = table.at(k);
    return used(slot) && is(slot);
  };
  for (; i < end && i % 8 != 0; ++i) {
    if (holds(i)) return i;
  }
  bool wereUnused = true;
  for (; end - i >= 8; i += 8) {
    if (wereUnused && table.isOctetUnused(i)) continue;
    wereUnused = true;
#pragma GCC unroll 8
    for (u32 k = 0; k < 8; ++k) {
      const VerIdx slot = fromWord(k, loadSeqCst(table.slots[i + k]));
      if (!used(slot)) continue;
      if (is(slot)) return i + k;
      wereUnused = false;
    }
  }
  while (i < end && !holds(i)) ++i;
  return i;
}

template <typename Stretch>
bool SlotTable::probe(u32 hash, u32 steps, Stretch stretch) const {
  for (u32 from = startOf(hash); steps > 0; from = 0) {
    const u32 ahead = std::min(steps, n - from);
    if (stretch(from, from + ahead)) return true;
    steps -= ahead;
  }
  return false;
}

}  // namespace store
