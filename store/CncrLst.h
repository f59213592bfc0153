// The free list of a region's blocks: a lock-free stack of block indices.
//
// All threads of all attached processes may call anything here at any time. There is no lock, and a
// thread that stops between two steps blocks no other. The object itself is two pointers into the
// mapping and the block count; it owns nothing.
//
//   word          written by            how              pairs with
//   head          pop, push             compareAndSwap   every loadSeqCst and swap of head
//   links[i]      holder of block i     storeRelease     the swap of head that publishes it
//   links[head]   read by pop before    loadAcquire      nothing: it may be stale. The version in
//                 its swap                               head has moved on then, and the swap
//                                                        fails.
//
// The version in head changes at every pop and push, so an index that comes back to the top while a
// thread is looking (the ABA problem of R. K. Treiber's stack, IBM RJ 5118, 1986) doesn't deceive
// its swap, short of exactly 2^32 operations in between.
#pragma once

#include "store/RegionMemory.h"

namespace store {

class CncrLst {
 public:
  static constexpr u32 LIST_END = 0xFFFFFFFF;

  CncrLst() = default;  // no list; only to be assigned to

  // Finds the list in the area that starts at `area`, after the block entries, and sets it up if
  // `owner`: all blocks free, in rising order.
  CncrLst(void* area, u32 count, bool owner);

  // Pops one block. LIST_END: the list is empty.
  u32 nxt();

  // The same, and then links block `prev`, which the caller holds, to the popped one.
  u32 nxt(u32 prev);

  // Takes a chain of `count` blocks, REQUIRES: at least 1, and returns its first. LIST_END: the
  // list couldn't supply all of them just now; it then has them back in the order they had.
  u32 alloc(u32 count);

  // Gives back the chain that the caller holds from `first` to `last`. Returns the block that was
  // on top before.
  u32 free(u32 first, u32 last);

  // The link of a block that the caller holds.
  u32 link(u32 block) const { return loadAcquire(links[block]); }

  u32 blocks() const { return cnt; }

 private:
  static u32 versionOf(u64 seen) { return static_cast<u32>(seen); }
  static u32 indexOf(u64 seen) { return static_cast<u32>(seen >> 32U); }
  static u64 makeHead(u32 index, u32 version) { return u64{index} << 32U | version; }
  static u32 advanced(u32 version, u32 pops);

  u32 takeChain(u32 count);
  u32 takeAtOnce(u32 count);
  u32 takeOneByOne(u32 count);

  Word32* links = nullptr;  // N of them
  Word64* head = nullptr;   // low half: version, high half: index of the first free block
  u32 cnt = 0;              // N: an index from the region is compared with it before use
};

// The version after so many pops. They leave 0 out.
inline u32 CncrLst::advanced(u32 version, u32 pops) {
  const u32 sum = version + pops;
  return sum < version ? sum + 1 : sum;
}

inline u32 CncrLst::nxt() {
  u64 seen = loadSeqCst(*head);
  // Any index that is no block ends the list, so that a damaged region can't lead out of itself.
  while (indexOf(seen) < cnt) {
    const u32 top = indexOf(seen);
    const u64 popped = makeHead(loadAcquire(links[top]), advanced(versionOf(seen), 1));
    if (compareAndSwap(*head, seen, popped)) return top;
  }
  return LIST_END;
}

inline u32 CncrLst::alloc(u32 count) {
  return count == 1 ? nxt() : takeChain(count);
}

inline u32 CncrLst::free(u32 first, u32 last) {
  u64 seen = loadSeqCst(*head);
  do {
    storeRelease(links[last], indexOf(seen));
  } while (!compareAndSwap(*head, seen, makeHead(first, versionOf(seen) + 1)));
  return indexOf(seen);
}

}  // namespace store

using store::CncrLst;
