#include "tests/store/explore/LetterPeer.h"

#include "store/RegionLayout.h"

namespace explore {
namespace {

constexpr store::u32 kUnused = 0xFFFFFFFE;
constexpr store::u64 kDeleted = kUnused;
constexpr int kTries = 64;

store::u32 size32(const std::string& text) {
  return static_cast<store::u32>(text.size());
}

store::u32 indexOf(store::u64 slot) {
  return static_cast<store::u32>(slot);
}
store::u32 versionOf(store::u64 slot) {
  return static_cast<store::u32>(slot >> 32U);
}

}  // namespace

LetterPeer::LetterPeer(char* region, u32 blockSize, u32 blockCount)
    : base(region),
      b(blockSize),
      n(blockCount),
      entries(reinterpret_cast<store::BlkEntry*>(region + store::entriesOffset(n))),
      slots(store::wordAt<store::Word64>(region, store::kSlotsOffset)),
      list(region + store::listOffset(n), n, false) {}

store::u64 LetterPeer::slotAt(u32 i) const {
  return turned(i, store::loadSeqCst(slots[i]));
}

bool LetterPeer::swapSlot(u32 i, u64 seen, u64 desired) {
  u64 word = turned(i, seen);
  return store::compareAndSwap(slots[i], word, turned(i, desired));
}

bool LetterPeer::holds(u32 block, const std::string& key, u32 hash) const {
  return store::loadAcquire(entries[block].hash) == hash &&
         store::loadAcquire(entries[block].klen) == size32(key) &&
         store::sameBytes(base + store::dataOffset(n) + b * block, key.data(), key.size());
}

bool LetterPeer::pin(u32 block) {
  u32 seen = store::loadSeqCst(entries[block].state);
  do {
    if ((seen & 0x80000002U) != 0) return false;
  } while (!store::compareAndSwap(entries[block].state, seen, seen + 4));
  return true;
}

void LetterPeer::unpin(u32 block) {
  u32 seen = store::loadSeqCst(entries[block].state);
  while (!store::compareAndSwap(entries[block].state, seen, seen - 4)) {
  }
  if ((seen & ~1U) == 6) free(block);
}

void LetterPeer::remove(u32 block) {
  u32 seen = store::loadSeqCst(entries[block].state);
  do {
    if ((seen & 2U) != 0) return;
  } while (!store::compareAndSwap(entries[block].state, seen, seen | 2U));
  if (seen < 4) free(block);
}

void LetterPeer::free(u32 block) {
  store::storeRelease(entries[block].version, u32{0});
  list.free(block, block);
}

store::u32 LetterPeer::take(u32 size, u32 klen, u32 hash, u32& version) {
  const u32 block = list.alloc(1);
  if (block == CncrLst::LIST_END) return block;
  auto* versions = store::wordAt<store::Word64>(base, store::versionOffset(n));
  version = static_cast<u32>(store::fetchAdd(*versions, u64{1}));
  store::BlkEntry& entry = entries[block];
  store::storeRelease(entry.state, u32{1});
  store::storeRelease(entry.next, CncrLst::LIST_END);
  store::storeRelease(entry.version, version);
  store::storeRelease(entry.len, size);
  store::storeRelease(entry.klen, klen);
  store::storeRelease(entry.hash, hash);
  return block;
}

bool LetterPeer::put(const std::string& key, const std::string& value) {
  const u32 hash = store::hashOf(key.data(), size32(key));
  u32 version = 0;
  const u32 block = take(size32(key + value), size32(key), hash, version);
  if (block == CncrLst::LIST_END) return false;
  const std::string bytes = key + value;
  store::writeBytes(base + store::dataOffset(n) + b * block, bytes.data(), bytes.size());
  const u64 chain = u64{version} << 32U | block;
  u32 i = hash % n;
  for (int tries = 0; tries < kTries; ++tries) {
    const u64 slot = slotAt(i);
    if (indexOf(slot) >= kUnused) {
      if (swapSlot(i, slot, chain)) return true;
      continue;
    }
    const bool pinned = pin(indexOf(slot));
    const u32 found = pinned ? store::loadAcquire(entries[indexOf(slot)].version) : 0;
    const bool matches = holds(indexOf(slot), key, hash);
    const bool swapped = matches && swapSlot(i, u64{found} << 32U | indexOf(slot), chain);
    if (pinned) unpin(indexOf(slot));
    if (swapped) {
      remove(indexOf(slot));
      return true;
    }
    if (!matches) i = i + 1 == n ? 0 : i + 1;
  }
  remove(block);
  return true;
}

bool LetterPeer::del(const std::string& key) {
  const u32 hash = store::hashOf(key.data(), size32(key));
  for (u32 steps = 1, i = hash % n; steps < n; ++steps, i = i + 1 == n ? 0 : i + 1) {
    for (u64 slot = slotAt(i); indexOf(slot) < kUnused; slot = slotAt(i)) {
      const u32 block = indexOf(slot);
      const bool isExact =
          holds(block, key, hash) && store::loadAcquire(entries[block].version) == versionOf(slot);
      if (!isExact) break;
      if (!swapSlot(i, slot, kDeleted)) continue;
      remove(block);
      return true;
    }
  }
  return false;
}

}  // namespace explore
