#include "store/CncrHsh.h"

#include "common/Assertion.h"
#include "store/KeyHash.h"

namespace store {

namespace {

// A writer that holds a chain finds a slot, since there are as many as blocks, unless other threads
// move entries past it during its walk. How often it then walks again.
constexpr int kWalks = 16;

u64 nextPowerOfTwo(u64 n) {
  u64 power = 1;
  while (power < n) power <<= 1U;
  return power;
}

}  // namespace

CncrHsh::CncrHsh(void* area, u32 count, CncrStr* values, bool owner) : str(values) {
  // The area is at a multiple of 8, and the index at the next multiple of 16.
  u8* algnMem = static_cast<u8*>(area);
  algnMem += reinterpret_cast<u64>(algnMem) % 16;
  velomar::require(reinterpret_cast<u64>(algnMem) % 16 == 0, "((u64)algnMem) % 16 == 0");
  storeRelease(*wordAt<Word64>(algnMem, 0), sizeof(VerIdx) * nextPowerOfTwo(count) + sizeof(u64));
  table = SlotTable(wordAt<Word64>(algnMem, sizeof(u64)), count);
  if (owner) table.clear();
}

u32 CncrHsh::nextChain(u32 i, u32 end) const {
  return table.next(i, end, isChain, [](VerIdx) { return true; });
}

// The next slot from `i` on that may hold a key of this hash, else `end`.
u32 CncrHsh::nextLikely(u32 i, u32 end, u32 hash) const {
  // A copy: its pointers stay in registers, whatever is loaded through them.
  const CncrStr values = *str;
  return table.next(
      i, end, [values](VerIdx slot) { return values.isBlock(slot.idx); },
      [values, hash](VerIdx chain) { return !values.hasAnotherHash(chain, hash); });
}

VerIdx CncrHsh::load(u32 i) const {
  velomar::require(i < table.size(), "i < m_sz");
  return table.at(i);
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
  if (str->isBlock(before.idx)) str->decReadersOrDel(before.idx, true);
  return true;
}

VerIdx CncrHsh::putHashed(u32 hash, VerIdx chain, const void* key, u32 klen) const {
  // Most keys find the first slot of their probe free.
  const u32 i = table.startOf(hash);
  const VerIdx slot = table.at(i);
  if (!isChain(slot) && table.replace(i, slot, chain)) return slot;
  return putFurther(chain, {key, klen, hash});
}

VerIdx CncrHsh::putFurther(VerIdx chain, Key key) const {
  VerIdx before = chain;
  for (int walks = 0; walks < kWalks; ++walks) {
    if (walk(key.hash, [&](u32 i) { return take(i, chain, key, before); })) break;
  }
  return before;
}

// True: slot `i` was free or held the key, and has taken the chain. It is looked at again only when
// its word has changed, which is another thread's progress.
bool CncrHsh::take(u32 i, VerIdx chain, const Key& key, VerIdx& before) const {
  for (VerIdx slot = table.at(i);;) {
    const bool isOurs = !isChain(slot) || compare(slot, key) != CncrStr::NoMatch;
    if (isOurs && table.replace(i, slot, chain)) {
      before = slot;
      return true;
    }
    if (!isOurs && (!str->isBlock(slot.idx) || str->isCurrent(slot))) return false;
    const VerIdx now = table.at(i);
    if (!isOurs && now == slot) return false;
    slot = now;
  }
}

u32 CncrHsh::len(const void* key, u32 klen, u32* vlen, u32* version) const {
  if (klen == 0) return 0;
  const Key wanted{key, klen, recalledHashOf(key, klen)};
  CncrStr::Lengths lengths{0, 0};
  const auto measure = [&](u32, VerIdx chain, int) { return str->lengths(chain, lengths); };
  // A caller that asks for the version gets that of each chain on the way.
  const auto visitAndTell = [&](u32 i) {
    const VerIdx slot = table.at(i);
    if (isChain(slot)) *version = slot.version;
    return settle(i, wanted, measure);
  };
  const bool found =
      version != nullptr ? walk(wanted.hash, visitAndTell) : seek(wanted, table.size(), measure);
  if (!found || lengths.len == 0) return 0;
  if (vlen != nullptr) *vlen = lengths.len - lengths.klen;
  return lengths.len;
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

VerIdx CncrHsh::delHashed(const void* key, u32 klen, u32 hash) const {
  VerIdx before = empty;
  // One slot fewer than a lookup: the walk ends before the probe's last slot.
  (void)seek({key, klen, hash}, table.size() - 1, [&](u32 i, VerIdx chain, int) {
    const bool isOut = table.replace(i, chain, deleted);
    if (isOut) before = chain;
    return isOut;
  });
  return before;
}

}  // namespace store
