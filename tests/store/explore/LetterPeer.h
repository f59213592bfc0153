// Another implementation of the store, which keeps to the format and does no more: it writes a
// block's state by a plain store, which wipes out a late pin, reads each word once, expects in a
// swap the version that it read in the block, and pins for every read. The store has to be right
// beside it. It takes values and keys of one block only.
#pragma once

#include <string>

#include "store/CncrHsh.h"
#include "store/KeyHash.h"
#include "store/RegionLayout.h"
#include "tests/store/HeapRegion.h"

namespace explore {

class LetterPeer {
  using u32 = store::u32;
  using u64 = store::u64;

 public:
  LetterPeer(char* region, u32 blockSize, u32 blockCount)
      : base(region),
        b(blockSize),
        n(blockCount),
        entries(reinterpret_cast<store::BlkEntry*>(region + store::entriesOffset(n))),
        slots(store::wordAt<store::Word64>(region, store::kSlotsOffset)),
        list(region + store::listOffset(n), n, false) {}

  bool put(const std::string& key, const std::string& value) {
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

  bool del(const std::string& key) {
    const u32 hash = store::hashOf(key.data(), size32(key));
    for (u32 steps = 1, i = hash % n; steps < n; ++steps, i = i + 1 == n ? 0 : i + 1) {
      for (u64 slot = slotAt(i); indexOf(slot) < kUnused; slot = slotAt(i)) {
        const u32 block = indexOf(slot);
        const bool isExact = holds(block, key, hash) &&
                             store::loadAcquire(entries[block].version) == versionOf(slot);
        if (!isExact) break;
        if (!swapSlot(i, slot, kDeleted)) continue;
        remove(block);
        return true;
      }
    }
    return false;
  }

 private:
  static constexpr u32 kUnused = 0xFFFFFFFE;
  static constexpr u64 kDeleted = kUnused;
  static constexpr int kTries = 64;

  static u32 indexOf(u64 slot) { return static_cast<u32>(slot); }
  static u32 versionOf(u64 slot) { return static_cast<u32>(slot >> 32U); }
  static u64 turned(u32 i, u64 word) { return i % 2 == 0 ? word : word << 32U | word >> 32U; }

  u64 slotAt(u32 i) const { return turned(i, store::loadSeqCst(slots[i])); }

  bool swapSlot(u32 i, u64 seen, u64 desired) {
    u64 word = turned(i, seen);
    return store::compareAndSwap(slots[i], word, turned(i, desired));
  }

  bool holds(u32 block, const std::string& key, u32 hash) const {
    return store::loadAcquire(entries[block].hash) == hash &&
           store::loadAcquire(entries[block].klen) == size32(key) &&
           store::sameBytes(base + store::dataOffset(n) + b * block, key.data(), key.size());
  }

  bool pin(u32 block) {
    u32 seen = store::loadSeqCst(entries[block].state);
    do {
      if ((seen & 0x80000002U) != 0) return false;
    } while (!store::compareAndSwap(entries[block].state, seen, seen + 4));
    return true;
  }

  void unpin(u32 block) {
    u32 seen = store::loadSeqCst(entries[block].state);
    while (!store::compareAndSwap(entries[block].state, seen, seen - 4)) {
    }
    if ((seen & ~1U) == 6) free(block);
  }

  void remove(u32 block) {
    u32 seen = store::loadSeqCst(entries[block].state);
    do {
      if ((seen & 2U) != 0) return;
    } while (!store::compareAndSwap(entries[block].state, seen, seen | 2U));
    if (seen < 4) free(block);
  }

  void free(u32 block) {
    store::storeRelease(entries[block].version, u32{0});
    list.free(block, block);
  }

  u32 take(u32 size, u32 klen, u32 hash, u32& version) {
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

  char* base;
  u32 b, n;
  store::BlkEntry* entries;
  store::Word64* slots;
  CncrLst list;
};

}  // namespace explore
