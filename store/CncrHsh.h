// The hash index: N slots, each naming the chain of one key.
//
// All threads of all attached processes may call anything here at any time. There is no lock. A
// swap on a slot is the moment at which a value comes into being, is replaced or is gone. The
// object holds pointers into the mapping and owns nothing; it points at a CncrStr, so neither may
// move while the index lives.
//
// Every operation walks a key's probe, linear from hash mod N, and looks at each slot until the
// slot's word proves what was seen:
//
//   find, len, get   walk all N slots; the first that holds the key answers. Neither an empty nor a
//                    deleted slot ends the walk.
//   del              walks all but the last, and answers at the first that holds the key.
//   put              walks all; the first slot that is free or holds the key takes the new chain.
//
// A look loads the slot's word and compares the key with the chain that it names, without a pin:
// the chain can be freed and taken again during it. That another key is there is proven once the
// block still has the word's version after the comparison. That this key is there is proven by what
// is done about it: a swap that expects the slot's own word, or a read after which the version is
// still the word's. A slot is always swapped before its chain is marked deleted, so a word that is
// still there names a whole chain. After a look that proves neither, the slot's word is loaded
// again. If it has changed, the slot is looked at once more, under a pin if its value is wanted,
// 256 times at most. If it hasn't, the region is damaged, and another look would tell no more.
//
// A swap expects a slot's whole word, and never one that was put together from the words of a
// block: the block could have become another key's of the same hash in between.
#pragma once

#include "store/CncrStr.h"
#include "store/SlotTable.h"

namespace store {

class CncrHsh {
 public:
  using VerIdx = store::VerIdx;

  static constexpr VerIdx empty = SlotTable::empty;
  static constexpr VerIdx deleted = SlotTable::deleted;

  static bool isChain(VerIdx slot) { return SlotTable::isChain(slot); }

  CncrHsh() = default;  // no index; only to be assigned to

  // Lays the index over the area that starts at `area`, with `count` slots, and empties them if
  // `owner`. `values` is not owned and outlives the index.
  // Asserts "((u64)algnMem) % 16 == 0".
  CncrHsh(void* area, u32 count, CncrStr* values, bool owner);

  // Returns the word of slot `i`. Asserts "i < m_sz".
  VerIdx load(u32 i) const;

  // Writes or replaces a key. Asserts "klen>0". False: no room, and the key keeps its old value.
  // `firstBlock`, if not null, gets the new chain's first block or LIST_END.
  bool put(const void* key, u32 klen, const void* value, u32 vlen, u32* firstBlock);

  // Swaps a complete chain into the key's slot. Returns what the slot held before, or `chain`
  // itself if no slot took it. The key takes the first slot of its probe that is free or holds it.
  VerIdx putHashed(u32 hash, VerIdx chain, const void* key, u32 klen) const;

  // The sizes of a key's entry: returns key and value together, 0 if the key is absent. `vlen` gets
  // the value's bytes and `version` the version of the last chain met; each may be null.
  u32 len(const void* key, u32 klen, u32* vlen, u32* version) const;

  // Copies a key's value out. True: the key was found. A value longer than `maxlen` leaves `out`
  // untouched. `readlen`, which may be null, gets the bytes copied.
  bool get(const void* key, u32 klen, void* out, u32 maxlen, u32* readlen) const;

  // The probe of a key that is to be read: calls `read(VerIdx)` on the key's chain, which returns
  // whether that chain was still there after the read. If not, it is called again, under a pin.
  // True: a slot holds the key. In a sound region `read` has then succeeded; in a damaged one it
  // may have failed each time.
  template <typename Read>
  bool find(const void* key, u32 klen, u32 hash, Read read) const;

  // The same for a `match(VerIdx)` that doesn't look at versions: it is called under a pin.
  // `result` gets what it returned the last time, and stays as it was if the key is absent or
  // refuses pins.
  template <typename Function, typename Result>
  bool runMatch(const void* key, u32 klen, u32 hash, Function match, Result& result) const;

  // Deletes a key. False: it is absent, or it is in the one slot that the walk doesn't look at,
  // the last of its probe. A key gets there only when every other slot was in use.
  bool del(const void* key, u32 klen);

  // Swaps `deleted` into the key's slot. Returns the chain taken out, else `empty`.
  VerIdx delHashed(const void* key, u32 klen, u32 hash) const;

  u32 slots() const { return table.size(); }

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

  CncrStr::Match compare(VerIdx chain, const Key& key) const {
    return str->compare(chain.idx, chain.version, key.bytes, key.length, key.hash);
  }
  template <typename Visit>
  bool walk(u32 hash, Visit visit) const;
  template <typename Visit>
  bool walkLikely(u32 hash, u32 steps, Visit visit) const;
  template <typename Act>
  bool seek(const Key& key, u32 steps, Act act) const;
  // Kept out of line, so that the first look in seek doesn't pay for the registers that this needs.
  template <typename Act>
  [[gnu::noinline]] bool search(Key key, u32 steps, Act act) const;
  u32 nextLikely(u32 i, u32 end, u32 hash) const;
  template <typename Act>
  bool settle(u32 i, const Key& key, Act act) const;
  template <typename Read>
  bool readPinned(VerIdx chain, Read read) const;
  [[gnu::noinline]] VerIdx putFurther(VerIdx chain, Key key) const;
  bool take(u32 i, VerIdx chain, const Key& key, VerIdx& before) const;

  SlotTable table;
  CncrStr* str = nullptr;  // not owned
};

// Visits every slot of a probe until `visit(i)` returns true.
template <typename Visit>
bool CncrHsh::walk(u32 hash, Visit visit) const {
  return table.probe(hash, table.size(), [&](u32 i, u32 to) {
    while (i < to && !visit(i)) ++i;
    return i < to;
  });
}

// Visits the slots of a probe whose chain may have a key of this hash until `visit(i)` returns
// true.
template <typename Visit>
bool CncrHsh::walkLikely(u32 hash, u32 steps, Visit visit) const {
  return table.probe(hash, steps, [&](u32 i, u32 to) {
    for (; i < to; ++i) {
      i = nextLikely(i, to, hash);
      if (i < to && visit(i)) return true;
    }
    return false;
  });
}

// The walk of a lookup: the first slot that holds the key, and settles with `act`, answers. Most
// keys are in the first slot of their probe and stay there, so that one look at it comes first,
// which proves no less than that of the walk.
template <typename Act>
[[gnu::always_inline]] inline bool CncrHsh::seek(const Key& key, u32 steps, Act act) const {
  if (steps == 0) return false;
  const u32 i = table.startOf(key.hash);
  const VerIdx slot = table.at(i);
  const bool isHere = str->isBlock(slot.idx) && compare(slot, key) == CncrStr::Matched;
  return (isHere && act(i, slot, 0)) || search(key, steps, act);
}

template <typename Act>
bool CncrHsh::search(Key key, u32 steps, Act act) const {
  return walkLikely(key.hash, steps, [&](u32 i) { return settle(i, key, act); });
}

// Looks at slot `i` until its word proves what was seen. True: it holds the key, and
// `act(i, slot, looks)` has returned true or a damaged region leaves nothing to do.
template <typename Act>
bool CncrHsh::settle(u32 i, const Key& key, Act act) const {
  for (int looks = 0; looks < kLooks; ++looks) {
    const VerIdx slot = table.at(i);
    if (!str->isBlock(slot.idx)) return false;
    const auto found = compare(slot, key);
    if (found == CncrStr::Matched && act(i, slot, looks)) return true;
    if (found == CncrStr::NoMatch && str->isCurrent(slot)) return false;
    if (table.at(i) == slot) return found != CncrStr::NoMatch;
  }
  return false;
}

// Reads under a pin: the chain then can't go while it is read, however busy its writers are. False:
// it had gone before, or the pin was refused.
template <typename Read>
bool CncrHsh::readPinned(VerIdx chain, Read read) const {
  if (!str->pin(chain.idx)) return false;
  const bool isWhole = str->isCurrent(chain) && read(chain);
  (void)str->decReadersOrDel(chain.idx, false);
  return isWhole;
}

// A chain whose count of readers has come below zero refuses every pin. So where a pin is refused
// the chain is read without one, as at the first look.
template <typename Read>
bool CncrHsh::find(const void* key, u32 klen, u32 hash, Read read) const {
  return seek({key, klen, hash}, table.size(), [this, read](u32, VerIdx chain, int looks) {
    return (looks > 0 && readPinned(chain, read)) || read(chain);
  });
}

template <typename Function, typename Result>
bool CncrHsh::runMatch(const void* key, u32 klen, u32 hash, Function match, Result& result) const {
  const Key wanted{key, klen, hash};
  const auto keep = [&](VerIdx chain) {
    result = match(chain);
    // If the key was deleted during the call, the pins that `match` takes itself were refused.
    return !str->isDeleted(chain.idx);
  };
  return walkLikely(hash, table.size(), [&](u32 i) {
    return settle(i, wanted, [&](u32, VerIdx chain, int) { return readPinned(chain, keep); });
  });
}

}  // namespace store

using store::CncrHsh;
