#include "store/CncrHsh.h"

#include "common/Assertion.h"

namespace {

constexpr u64 kFnvBasis = 0xCBF29CE484222325ULL;
constexpr u64 kFnvPrime = 0x100000001B3ULL;

// How often a writer tries a slot that names its key and yet doesn't take the new chain, before it
// swaps on the slot's word alone.
constexpr int kPatience = 64;

u64 nextPowerOfTwo(u64 n) {
  u64 power = 1;
  while (power < n) power <<= 1U;
  return power;
}

// One thread's last short key.
struct LastKey {
  u32 length = 0;  // none yet
  u32 hash = 0;
  u8 bytes[32] = {};
};

thread_local LastKey lastKey;

bool isKept(u32 klen) {
  return klen - 1 < sizeof lastKey.bytes;
}

// Not in line, so that a key that is known costs no room on the stack for this.
[[gnu::noinline]] u32 hashOfAnother(const void* key, u32 klen) {
  const u32 hash = CncrHsh::hashOf(key, klen);
  if (!isKept(klen)) return hash;
  lastKey.length = klen;
  lastKey.hash = hash;
  velomar::copyShort(lastKey.bytes, key, klen);
  return hash;
}

}  // namespace

u32 CncrHsh::hashOf(const void* key, u32 klen) {
  const u8* bytes = static_cast<const u8*>(key);
  u64 hash = kFnvBasis;
  for (u32 i = 0; i < klen; ++i) hash = (hash ^ bytes[i]) * kFnvPrime;
  return static_cast<u32>(hash >> 32U) ^ static_cast<u32>(hash);
}

u32 CncrHsh::recalledHashOf(const void* key, u32 klen) {
  const LastKey& last = lastKey;
  // Keys that are counted up differ in their last byte.
  const bool isLast = isKept(klen) && last.length == klen &&
                      static_cast<const u8*>(key)[klen - 1] == last.bytes[klen - 1] &&
                      velomar::sameShort(key, last.bytes, klen);
  return isLast ? last.hash : hashOfAnother(key, klen);
}

CncrHsh::CncrHsh(void* area, u32 count, CncrStr* values, bool owner) : m_sz(count), str(values) {
  u8* algnMem = static_cast<u8*>(area);
  algnMem += reinterpret_cast<u64>(algnMem) % 16;
  velomar::require(reinterpret_cast<u64>(algnMem) % 16 == 0, "((u64)algnMem) % 16 == 0");
  store::note(*store::wordAt<store::Word64>(algnMem, 0), 8 * nextPowerOfTwo(count) + 8);
  table = store::wordAt<store::Word64>(algnMem, 8);
  if (!owner) return;
  for (u32 i = 0; i < m_sz; ++i) store::note(table[i], toSlot(i, empty));
}

// Most of a table is unused most of the time, so that eight slots are looked at together: these and
// those behind them from slot `i` on, a multiple of eight. An unused slot has an index of which all
// bits but the lowest are set.
inline bool CncrHsh::isOctetUnused(u32 i) const {
  const store::Word64* const slots = table + i;
  const auto word = [slots](u32 k) { return store::load(slots[k]); };
  const u64 even = word(0) & word(2) & word(4) & word(6);
  const u64 odd = word(1) & word(3) & word(5) & word(7);
  constexpr u32 kUnused = 0xFFFFFFFE;
  return (static_cast<u32>(even) & static_cast<u32>(odd >> 32U) & kUnused) == kUnused;
}

// The first slot from `i` on that is `used` and for which `is(slot)` is true, else `end`. Eight at
// a time only where eight were unused: in a crowded table that look would be in vain.
template <typename Used, typename Condition>
u32 CncrHsh::nextUsed(u32 i, u32 end, Used used, Condition is) const {
  const store::Word64* const slots = table;
  const auto holds = [&](u32 k) {
    const VerIdx slot = fromSlot(k, store::load(slots[k]));
    return used(slot) && is(slot);
  };
  for (; i < end && i % 8 != 0; ++i) {
    if (holds(i)) return i;
  }
  bool wereUnused = true;
  for (; end - i >= 8; i += 8) {
    if (wereUnused && isOctetUnused(i)) continue;
    wereUnused = true;
#pragma GCC unroll 8
    for (u32 k = 0; k < 8; ++k) {
      const VerIdx slot = fromSlot(k, store::load(slots[i + k]));
      if (!used(slot)) continue;
      if (is(slot)) return i + k;
      wereUnused = false;
    }
  }
  while (i < end && !holds(i)) ++i;
  return i;
}

u32 CncrHsh::nextChain(u32 i, u32 end) const {
  return nextUsed(i, end, isChain, [](VerIdx) { return true; });
}

// The next slot from `i` on that may hold a key of this hash, else `end`.
u32 CncrHsh::nextLikely(u32 i, u32 end, u32 hash) const {
  // A copy: its pointers stay in registers, whatever is loaded through them.
  const CncrStr values = *str;
  return nextUsed(
      i, end, [values](VerIdx slot) { return values.isBlock(slot.idx); },
      [values, hash](VerIdx chain) { return !values.hasAnotherHash(chain, hash); });
}

CncrHsh::VerIdx CncrHsh::load(u32 i) const {
  velomar::require(i < m_sz, "i < m_sz");
  return slotAt(i);
}

bool CncrHsh::put(const void* key, u32 klen, const void* value, u32 vlen, u32* firstBlock) {
  velomar::require(klen > 0, "klen>0");
  const u32 hash = recalledHashOf(key, klen);
  const u32 size = klen + vlen;
  // A sum that wraps is more than any region holds.
  const VerIdx chain = size < klen ? empty : str->alloc(size, klen, hash, nullptr);
  if (firstBlock != nullptr) *firstBlock = chain.idx;
  if (chain.idx == CncrStr::LIST_END) return false;

  str->put(chain.idx, key, klen, value, vlen);
  const VerIdx before = putHashed(hash, chain, key, klen);
  if (isChain(before) && str->isBlock(before.idx)) str->decReadersOrDel(before.idx, true);
  return true;
}

CncrHsh::VerIdx CncrHsh::putHashed(u32 hash, VerIdx chain, const void* key, u32 klen) const {
  const Key wanted{key, klen, hash};
  VerIdx before = chain;
  (void)walk(hash, [&](u32 i) {
    const VerIdx slot = slotAt(i);
    if (!isChain(slot) && swapSlot(i, slot, chain)) {
      before = slot;
      return true;
    }
    return putIn(i, chain, wanted, before);
  });
  return before;
}

// True: the slot has taken the chain.
bool CncrHsh::putIn(u32 i, VerIdx chain, const Key& key, VerIdx& before) const {
  VerIdx last = empty;
  for (int stays = 0;; ++stays) {
    const Put step = putAt(i, chain, key, stays < kPatience, before);
    if (step != Put::SameSlot) return step == Put::Done;
    // Only a slot that never changes uses up the patience: another word is another thread's
    // progress.
    const VerIdx now = slotAt(i);
    if (now != last) stays = 0;
    last = now;
  }
}

// One try on one slot. An impatient try takes the slot's word as it stands: a pin on the chain has
// been refused long enough (its count of readers is below zero, or the entry was damaged), and a
// slot that hasn't changed still names the chain that is to be replaced.
CncrHsh::Put CncrHsh::putAt(u32 i, VerIdx chain, const Key& key, bool patient,
                            VerIdx& before) const {
  const VerIdx slot = slotAt(i);
  if (!isChain(slot)) {
    if (!swapSlot(i, slot, chain)) return Put::SameSlot;
    before = slot;
    return Put::Done;
  }
  if (!str->isBlock(slot.idx) || str->hasAnotherHash(slot, key.hash)) return Put::NextSlot;

  const bool pinned = str->pin(slot.idx);
  Put step = Put::SameSlot;
  if (!pinned || !patient || !str->isDeleted(slot.idx)) {
    VerIdx expected = slot;
    if (patient) expected.version = pinned ? str->version(slot.idx) : 0;
    if (compare(slot, key) == CncrStr::NoMatch) {
      const bool solid = expected == slot || stands(i, slot);
      step = solid ? Put::NextSlot : Put::SameSlot;
    } else if (swapSlot(i, expected, chain)) {
      before = expected;
      step = Put::Done;
    }
  }
  const bool freed = pinned && !str->decReadersOrDel(slot.idx, false);
  return freed && step != Put::Done ? Put::SameSlot : step;
}

u32 CncrHsh::len(const void* key, u32 klen, u32* vlen, u32* version) const {
  if (klen == 0) return 0;
  const Key wanted{key, klen, recalledHashOf(key, klen)};
  CncrStr::Lengths lengths{0, 0};
  const bool found =
      walkLikely(wanted.hash, m_sz, [&](u32 i) { return lenAt(i, wanted, version, lengths); });
  if (!found || lengths.len == 0) return 0;
  if (vlen != nullptr) *vlen = lengths.len - lengths.klen;
  return lengths.len;
}

// True ends the walk: the key stands in this slot. `lengths` is then zero if its entry makes no
// sense.
bool CncrHsh::lenAt(u32 i, const Key& key, u32* version, CncrStr::Lengths& lengths) const {
  for (int looks = 0; looks < kLooks; ++looks) {
    const VerIdx slot = slotAt(i);
    if (!isChain(slot) || !str->isBlock(slot.idx)) return false;
    if (version != nullptr) *version = slot.version;
    const auto found = compare(slot, key);
    if (found == CncrStr::Matched && str->lengths(slot, lengths)) return true;
    if (found == CncrStr::NoMatch && str->isCurrent(slot)) return false;
    if (stands(i, slot)) {
      lengths = {0, 0};
      return found == CncrStr::Matched;
    }
  }
  return false;
}

bool CncrHsh::get(const void* key, u32 klen, void* out, u32 maxlen, u32* readlen) const {
  if (klen == 0) return false;
  u32 got = 0;
  return runMatch(
      key, klen, recalledHashOf(key, klen),
      [&](VerIdx chain) { return str->get(chain.idx, chain.version, out, maxlen, readlen); }, got);
}

bool CncrHsh::del(const void* key, u32 klen) {
  const VerIdx before = delHashed(key, klen, recalledHashOf(key, klen));
  if (!isChain(before)) return false;
  str->decReadersOrDel(before.idx, true);
  return true;
}

CncrHsh::VerIdx CncrHsh::delHashed(const void* key, u32 klen, u32 hash) const {
  const Key wanted{key, klen, hash};
  VerIdx before = empty;
  // One slot fewer than a lookup: the walk ends in front of the probe's last slot.
  (void)walkLikely(hash, m_sz - 1, [&](u32 i) { return delAt(i, wanted, before); });
  return before;
}

inline bool CncrHsh::delAt(u32 i, const Key& key, VerIdx& before) const {
  for (int looks = 0; looks < kLooks; ++looks) {
    const VerIdx slot = slotAt(i);
    if (!isChain(slot) || !str->isBlock(slot.idx)) return false;
    const auto found = compare(slot, key);
    if (found == CncrStr::Matched && swapSlot(i, slot, deleted)) {
      before = slot;
      return true;
    }
    if (found == CncrStr::NoMatch && str->isCurrent(slot)) return false;
    if (stands(i, slot)) return false;
  }
  return false;
}
