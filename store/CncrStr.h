// Keys and values in chains of fixed-size blocks, with a table of block entries beside them.
//
// All threads of all attached processes may call anything here at any time, but for put, which
// needs a chain that only its caller knows. There is no lock. The object holds pointers into the
// mapping and owns nothing. Nothing here fails by exception, and no index read from the region is
// used before it was compared with the block count.
//
// A chain's life: alloc makes it private to its caller, put fills it, the index publishes it by a
// swap on a slot, another such swap unlinks it, decReadersOrDel marks it deleted, and the last
// reader to leave, or who marks it if there is none, gives it back to the free list.
//
//   word                written by           how              pairs with, or why none is needed
//   state               alloc, pins, delete  compareAndSwap   every load and swap of the state, the
//                                                             one word that decides. alloc may
//                                                             storeRelease it while it refuses
//                                                             pins: no other thread can change it
//                                                             then
//   version             alloc, doFree        storeRelease     loadAcquire in isCurrent, after the
//                                                             words and bytes that it vouches for
//   next len klen hash  alloc                storeRelease     loadAcquire by readers: who sees one
//                                                             of a newer chain also sees its
//                                                             version
//   bytes               put                  writeAfter,      readBefore at each read's end, then
//                                            writeBytes       the check of the version
//   version counter     alloc                fetchAdd         itself: each number comes once
//
// A pin on a chain's first block keeps the chain from being freed. It says nothing about the
// version: between reading a slot and pinning, the block may have become part of another chain, so
// the reader compares the versions after it has pinned.
//
// Pins of a process that died are never given back. Such a chain stays readable, and once deleted
// its blocks are lost until the region is created again. A pin that comes too late to a block that
// is being taken again delays alloc for kPinPatience at most, several of them for kChainPatience.
#pragma once

#include <string>

#include "store/CncrLst.h"
#include "store/RegionLayout.h"

// Chains taken and given back by this thread.
// NOLINTBEGIN(bugprone-reserved-identifier): fixed names
extern thread_local std::uint32_t __simdb_allocs;
extern thread_local std::uint32_t __simdb_deallocs;
// NOLINTEND(bugprone-reserved-identifier)

namespace store {

struct BlkEntry {
  Word32 state;    // bit 0 isKey, bit 1 isDeleted, bits 2 to 31 readers, signed
  Word32 next;     // the chain's next block, or LIST_END
  Word32 version;  // the same in all blocks of a chain; 0: the block is free
  Word32 len;      // bytes of key and value together, the same in all blocks of a chain
  Word32 klen;     // bytes of the key; 0 in all but the first block
  Word32 hash;     // of the key; 0 in all but the first block
};
static_assert(sizeof(BlkEntry) == 24 && alignof(BlkEntry) == 4);

class CncrStr {
 public:
  static constexpr u32 LIST_END = CncrLst::LIST_END;

  using VerIdx = store::VerIdx;

  // How an alloc went: `cnt` blocks after the first, and whether the free list ended there.
  struct BlkCnt {
    u32 end : 1;
    u32 cnt : 31;
  };
  static_assert(sizeof(BlkCnt) == 4);

  // A chain's sizes in bytes: key and value together, and the key alone.
  struct Lengths {
    u32 len;
    u32 klen;
  };

  enum Match : u32 {
    NoMatch = 0,
    Matched = 1,
    MatchedStale = 0xFFFFFFFE,  // the key's bytes, but not the expected version everywhere
    Removed = 0xFFFFFFFF,       // a probe's word for a deleted chain; compare never returns it
  };

  CncrStr() = default;  // no store; only to be assigned to

  // Lays the value store over the area that starts at `area`, a region from its next version on,
  // and sets it up if `owner`. Asserts "blockSize > sizeof(i32)".
  CncrStr(void* area, u32 blockSize, u32 blockCount, bool owner);

  // Takes a chain for `size` bytes, of which `klen` are the key's, REQUIRES: size at least 1, and
  // fills its entries. `idx` LIST_END: no room, and nothing has changed. `report` may be null.
  VerIdx alloc(u32 size, u32 klen, u32 hash, BlkCnt* report);

  // Writes key and value, one after the other, into a chain of that size from alloc.
  void put(u32 block, const void* key, u32 klen, const void* value, u32 vlen);

  // Compares a chain's key with the given one. Needs no pin: CncrHsh.h says why.
  Match compare(u32 block, u32 version, const void* key, u32 klen, u32 hash) const;

  // Copies the value out and returns the bytes copied. 0 and no `readlen`: refused, torn, or longer
  // than `maxlen`; a value is never cut. A `maxlen` above the value's length reads on into the rest
  // of its last block.
  u32 get(u32 block, u32 version, void* out, u32 maxlen, u32* readlen) const;

  // Copies the key out and returns the bytes copied; 0 if refused or longer than `maxlen`.
  u32 getKey(u32 block, u32 version, void* out, u32 maxlen) const;

  // Copies from one block, under a pin of its own. `length` 0: to the block's end. Returns the
  // bytes copied; 0 if the pin was refused or the block is free. The version isn't compared.
  u32 readBlock(u32 block, u32 version, void* out, u32 offset, u32 length) const;

  // Appends the value of `chain`. False: the chain has gone or makes no sense, and what was
  // appended is to be thrown away. Needs no pin: the version tells.
  bool appendValue(VerIdx chain, std::string& value) const;

  // Copies the key of `chain` out. False: the chain has gone or makes no sense, and what was copied
  // is to be thrown away, or the key is longer than `maxlen`. Needs no pin either, so that a chain
  // that refuses every pin can be listed.
  bool copyKey(VerIdx chain, void* out, u32 maxlen) const;

  // Enters a block as a reader. False: it is deleted or its count of readers is below zero.
  bool pin(u32 block) const;

  // With `del` false leaves a block that was pinned, with `del` true marks a chain deleted. False:
  // this call has freed the chain.
  bool decReadersOrDel(u32 block, bool del) const;

  // Sends a chain that can't be reached any more back to the free list.
  void doFree(u32 block) const;

  // Whether an index from the region may be used.
  bool isBlock(u32 index) const { return index < lst.blocks(); }
  bool isDeleted(u32 block) const { return (loadSeqCst(entries[block].state) & kIsDeleted) != 0; }
  u32 version(u32 block) const { return loadAcquire(entries[block].version); }

  // Whether the block still carries the version that the chain was published with.
  bool isCurrent(VerIdx chain) const { return version(chain.idx) == chain.version; }

  // Whether the key of `chain` certainly has another hash. No pin is needed: the version is checked
  // after the hash was read.
  bool hasAnotherHash(VerIdx chain, u32 hash) const {
    return loadAcquire(entries[chain.idx].hash) != hash && isCurrent(chain);
  }

  // Reads the sizes of `chain`. False: the chain has gone, or they make no sense.
  bool lengths(VerIdx chain, Lengths& lengths) const;

 private:
  static constexpr u32 kIsKey = 1;
  static constexpr u32 kIsDeleted = 2;
  static constexpr u32 kOneReader = 4;
  static constexpr u32 kRefusesPins = 0x80000002;  // isDeleted, or the sign of readers

  static constexpr u32 kFreed = kIsKey | kIsDeleted;

  class PinPatience;
  void fill(u32 block, u32 following, VerIdx chain, u32 size, u32 klen, u32 hash);
  void publishState(u32 block, u32 state, PinPatience& patience);
  void swapState(u32 block, u32 seen, u32 state, PinPatience& patience);
  u32 newVersion();
  Match compareLong(u32 block, u32 version, const void* key, u32 klen) const;
  template <typename Visit>
  void eachPiece(u32 block, u32 offset, u32 count, Visit visit) const;
  // The product is taken in 32 bits by contract.
  void* blockAt(u32 block, u32 offset = 0) const { return data + u32{blockSize * block} + offset; }
  u32 next(u32 block) const { return loadAcquire(entries[block].next); }
  u32 blocksFor(u32 size) const { return size <= blockSize ? 1 : (size - 1) / blockSize + 1; }
  u64 capacity() const { return u64{blockSize} * lst.blocks(); }
  bool unpin(u32 block) const;
  bool markDeleted(u32 block) const;
  u32 getPinned(u32 block, u32 version, void* out, u32 maxlen, u32* readlen) const;
  u32 copyPiece(u32 block, void* out, const void* bytes, u32 count) const;

  mutable CncrLst lst;  // giving blocks back is part of reading, for the last reader
  BlkEntry* entries = nullptr;
  u8* data = nullptr;
  Word64* versions = nullptr;  // the next version to hand out
  u32 blockSize = 0;           // B, bytes
};

inline CncrStr::Match CncrStr::compare(u32 block, u32 version, const void* key, u32 klen,
                                       u32 hash) const {
  if (!isBlock(block)) return NoMatch;
  const BlkEntry& entry = entries[block];
  if (loadAcquire(entry.hash) != hash || loadAcquire(entry.klen) != klen) return NoMatch;
  if (klen >= blockSize) return compareLong(block, version, key, klen);
  const bool same = this->version(block) == version;
  if (!sameBytes(blockAt(block), key, klen)) return NoMatch;
  return same ? Matched : MatchedStale;
}

inline bool CncrStr::decReadersOrDel(u32 block, bool del) const {
  return del ? markDeleted(block) : unpin(block);
}

inline bool CncrStr::markDeleted(u32 block) const {
  auto& state = entries[block].state;
  u32 seen = loadSeqCst(state);
  do {
    if ((seen & kIsDeleted) != 0) return true;
  } while (!compareAndSwap(state, seen, seen | kIsDeleted));
  const bool hadReaders = seen >= kOneReader;
  if (hadReaders) return true;
  doFree(block);
  return false;
}

inline void CncrStr::doFree(u32 block) const {
  const u32 first = block;
  storeRelease(entries[block].version, u32{0});
  // Bounded by the block count, so that links that go in a circle can't hold the thread.
  for (u32 steps = 1; steps < lst.blocks() && isBlock(next(block)); ++steps) {
    block = next(block);
    storeRelease(entries[block].version, u32{0});
  }
  lst.free(first, block);
  ++__simdb_deallocs;
}

}  // namespace store

using store::BlkEntry;
using store::CncrStr;
