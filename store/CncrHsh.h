// The hash index: N slots, each a 64-bit word that names the chain of one key.
//
// All threads of all attached processes may call anything here at any time. There is no lock. A
// swap on a slot is the moment at which a value comes into being, is replaced or is gone. The
// object holds pointers into the mapping and owns nothing; it points at a CncrStr, so neither may
// move while the index lives.
//
// A slot holds block index and version of a chain. An even slot has the index in its low half, an
// odd slot in its high half, so that neighbours read index, version, version, index in memory.
// Slots start as `empty` and are `deleted` once a chain was taken out; neither ends a probe. A
// lookup of an absent key therefore walks all N slots.
//
// A chain can be freed and taken again between the load of its slot and the look at its entry. A
// slot is always swapped before its chain is marked deleted, so a slot that still holds the same
// word names a whole chain, and a version that differs while the slot has changed means: look at
// the slot again. That is bounded by kLooks; it takes a writer's full put for every look.
#pragma once

#include <algorithm>

#include "store/CncrStr.h"

class CncrHsh {
 public:
  using VerIdx = CncrStr::VerIdx;

  static constexpr VerIdx empty{0xFFFFFFFF, 0};
  static constexpr VerIdx deleted{0xFFFFFFFE, 0};

  // 64-bit FNV-1a (Fowler, Noll, Vo; draft-eastlake-fnv), its halves folded by exclusive or.
  static u32 hashOf(const void* key, u32 klen);

  // The same. A message is written, read and deleted under one key, and the hash of the thread's
  // last key is kept for that.
  static u32 recalledHashOf(const void* key, u32 klen);

  // Whether a slot's content names a chain rather than being `empty` or `deleted`.
  static bool isChain(VerIdx slot) { return slot.idx < deleted.idx; }

  CncrHsh() = default;  // no index; only to be assigned to

  // Lays the index over the area that starts at `area`, with `count` slots, and empties them if
  // `owner`. `values` is not owned and outlives the index.
  // Asserts "((u64)algnMem) % 16 == 0".
  CncrHsh(void* area, u32 count, CncrStr* values, bool owner);

  // What slot `i` holds. Asserts "i < m_sz".
  VerIdx load(u32 i) const;

  // Writes or replaces a key. Asserts "klen>0". False: no room, and the key keeps its old value.
  // `firstBlock`, if not null, gets the new chain's first block or LIST_END.
  bool put(const void* key, u32 klen, const void* value, u32 vlen, u32* firstBlock);

  // Swaps a complete chain into the key's slot. Returns what the slot held before, or `chain`
  // itself if no slot took it. The key takes the first slot of its probe that is free or holds it.
  VerIdx putHashed(u32 hash, VerIdx chain, const void* key, u32 klen) const;

  // The sizes of a key's entry: returns key and value together, 0 if the key is absent. `vlen` gets
  // the value's bytes and `version` the version of the last chain looked at; each may be null.
  u32 len(const void* key, u32 klen, u32* vlen, u32* version) const;

  // Copies a key's value out. True: the key was found. A value longer than `maxlen` leaves `out`
  // untouched. `readlen`, which may be null, gets the bytes copied.
  bool get(const void* key, u32 klen, void* out, u32 maxlen, u32* readlen) const;

  // The probe behind get: calls `match(VerIdx)` under a pin on the key's chain. True: the key was
  // found. `result` gets what `match` returned the last time, and stays as it was otherwise.
  template <typename Function, typename Result>
  bool runMatch(const void* key, u32 klen, u32 hash, Function match, Result& result) const;

  enum class Glance { Found, Absent, Unsure };

  // A lookup without a pin, for the common case that nobody changes the key meanwhile: calls
  // `match(VerIdx)` on the key's chain, which tells by the version whether what it read was whole.
  // Unsure: something did change, and runMatch has to answer.
  template <typename Function>
  Glance glance(const void* key, u32 klen, u32 hash, Function match) const;

  // Deletes a key. False: it is absent, or it stands in the one slot that the walk doesn't look at,
  // the last of its probe. A key gets there only when every other slot was in use.
  bool del(const void* key, u32 klen);

  // Swaps `deleted` into the key's slot. Returns the chain taken out, else `empty`.
  VerIdx delHashed(const void* key, u32 klen, u32 hash) const;

  u32 slots() const { return m_sz; }

  // The first slot from `i` on that holds a chain, `end` if there is none before it.
  // REQUIRES: i <= end <= slots().
  u32 nextChain(u32 i, u32 end) const;

 private:
  static constexpr int kLooks = 256;

  struct Key {
    const void* bytes;
    u32 length;
    u32 hash;
  };

  static u64 turned(u32 i, u64 word);
  static u64 toSlot(u32 i, VerIdx chain);
  static VerIdx fromSlot(u32 i, u64 word);
  VerIdx slotAt(u32 i) const;
  bool swapSlot(u32 i, VerIdx seen, VerIdx desired) const;
  CncrStr::Match compare(VerIdx chain, const Key& key) const;
  bool stands(u32 i, VerIdx seen) const { return slotAt(i) == seen; }

  // Where a probe begins: hash mod N, mostly without a division.
  u32 startOf(u32 hash) const { return (m_sz & (m_sz - 1)) == 0 ? hash & (m_sz - 1) : hash % m_sz; }

  template <typename Stretch>
  bool probe(u32 hash, u32 steps, Stretch stretch) const;
  template <typename Visit>
  bool walk(u32 hash, Visit visit) const;
  template <typename Visit>
  bool walkLikely(u32 hash, u32 steps, Visit visit) const;
  bool mayHave(VerIdx slot, u32 hash) const {
    return slot.idx < str->blockLimit() && !str->hasAnotherHash(slot, hash);
  }
  u32 nextLikely(u32 i, u32 end, u32 hash) const;
  template <typename Used, typename Condition>
  u32 nextUsed(u32 i, u32 end, Used used, Condition is) const;
  bool isOctetUnused(u32 i) const;

  enum class Put { Done, NextSlot, SameSlot };
  bool putIn(u32 i, VerIdx chain, const Key& key, VerIdx& before) const;
  Put putAt(u32 i, VerIdx chain, const Key& key, bool patient, VerIdx& before) const;
  bool lenAt(u32 i, const Key& key, u32* version, CncrStr::Lengths& lengths) const;
  bool delAt(u32 i, const Key& key, VerIdx& before) const;
  template <typename Function>
  bool matchAt(u32 i, const Key& key, Function& match) const;
  template <typename Function>
  CncrStr::Match matchChain(VerIdx slot, u32 version, const Key& key, Function& match) const;

  u32 m_sz = 0;                    // N
  store::Word64* table = nullptr;  // slot 0
  CncrStr* str = nullptr;          // not owned
};

// The word in an even slot has the index in its low half, the word in an odd slot in its high half.
inline u64 CncrHsh::turned(u32 i, u64 word) {
  return i % 2 == 0 ? word : word << 32U | word >> 32U;
}

inline u64 CncrHsh::toSlot(u32 i, VerIdx chain) {
  return turned(i, u64{chain.version} << 32U | chain.idx);
}

inline CncrHsh::VerIdx CncrHsh::fromSlot(u32 i, u64 word) {
  const u64 chain = turned(i, word);
  return {static_cast<u32>(chain), static_cast<u32>(chain >> 32U)};
}

inline CncrHsh::VerIdx CncrHsh::slotAt(u32 i) const {
  return fromSlot(i, store::load(table[i]));
}

inline bool CncrHsh::swapSlot(u32 i, VerIdx seen, VerIdx desired) const {
  u64 word = toSlot(i, seen);
  return store::swap(table[i], word, toSlot(i, desired));
}

inline CncrStr::Match CncrHsh::compare(VerIdx chain, const Key& key) const {
  return str->compare(chain.idx, chain.version, key.bytes, key.length, key.hash);
}

// Goes through `steps` slots of a probe, linear from hash mod N: in one stretch, or in two if it
// wraps. Ends when `stretch(from, to)` returns true.
template <typename Stretch>
bool CncrHsh::probe(u32 hash, u32 steps, Stretch stretch) const {
  for (u32 from = startOf(hash); steps > 0; from = 0) {
    const u32 ahead = std::min(steps, m_sz - from);
    if (stretch(from, from + ahead)) return true;
    steps -= ahead;
  }
  return false;
}

// Visits every slot of a probe until `visit(i)` returns true.
template <typename Visit>
bool CncrHsh::walk(u32 hash, Visit visit) const {
  return probe(hash, m_sz, [&](u32 i, u32 to) {
    while (i < to && !visit(i)) ++i;
    return i < to;
  });
}

// Visits the slots of a probe whose chain may have a key of this hash until `visit(i)` returns
// true.
template <typename Visit>
bool CncrHsh::walkLikely(u32 hash, u32 steps, Visit visit) const {
  return probe(hash, steps, [&](u32 i, u32 to) {
    for (; i < to; ++i) {
      // Most lookups end where they begin.
      if (!mayHave(slotAt(i), hash)) i = nextLikely(i + 1, to, hash);
      if (i < to && visit(i)) return true;
    }
    return false;
  });
}

template <typename Function, typename Result>
bool CncrHsh::runMatch(const void* key, u32 klen, u32 hash, Function match, Result& result) const {
  const Key wanted{key, klen, hash};
  auto keep = [&](VerIdx chain) { result = match(chain); };
  return walkLikely(hash, m_sz, [&](u32 i) { return matchAt(i, wanted, keep); });
}

template <typename Function>
CncrHsh::Glance CncrHsh::glance(const void* key, u32 klen, u32 hash, Function match) const {
  const Key wanted{key, klen, hash};
  Glance result = Glance::Absent;
  (void)walkLikely(hash, m_sz, [&](u32 i) {
    const VerIdx slot = slotAt(i);
    if (!isChain(slot) || !str->isBlock(slot.idx)) return false;
    const auto found = compare(slot, wanted);
    if (found == CncrStr::NoMatch && str->isCurrent(slot)) return false;
    result = found == CncrStr::Matched && match(slot) ? Glance::Found : Glance::Unsure;
    return true;
  });
  return result;
}

template <typename Function>
bool CncrHsh::matchAt(u32 i, const Key& key, Function& match) const {
  for (int looks = 0; looks < kLooks; ++looks) {
    const VerIdx slot = slotAt(i);
    if (!isChain(slot) || !str->isBlock(slot.idx)) return false;
    const bool pinned = str->pin(slot.idx);
    const u32 version = pinned ? str->version(slot.idx) : 0;
    const bool moved = version != slot.version && !stands(i, slot);
    const auto found = moved                                ? CncrStr::NoMatch
                       : pinned && str->isDeleted(slot.idx) ? CncrStr::Removed
                                                            : matchChain(slot, version, key, match);
    const bool freed = pinned && !str->decReadersOrDel(slot.idx, false);
    const bool isMatch = found == CncrStr::Matched || found == CncrStr::MatchedStale;
    if (isMatch && !freed) return true;
    // The slot may hold the key's newer chain by now.
    const bool solid = found == CncrStr::NoMatch && !moved && !freed;
    if (solid || stands(i, slot)) return false;
  }
  return false;
}

template <typename Function>
CncrStr::Match CncrHsh::matchChain(VerIdx slot, u32 version, const Key& key,
                                   Function& match) const {
  const auto found = compare(slot, key);
  if (found != CncrStr::NoMatch) match(VerIdx{slot.idx, version});
  return found;
}
