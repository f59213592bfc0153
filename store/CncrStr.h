// Keys and values in chains of fixed-size blocks, with a table of block entries beside them.
//
// All threads of all attached processes may call anything here at any time, but for put, which
// needs a chain that only its caller knows. There is no lock. The object holds pointers into the
// mapping and owns nothing. Nothing here fails by exception, and no index read from the region is
// used before it was compared with the block count.
//
// A chain's life: alloc makes it private to its caller, put fills it, the index publishes it by a
// swap on a slot, another such swap unlinks it, decReadersOrDel marks it deleted, and whoever sees
// the last reader leave gives it back to the free list.
//
//   word of an entry      written by           how        what makes a racing read harmless
//   state                 alloc, pins, delete  swap, load it is the one word that decides
//                                                         (alloc may note it while it refuses pins:
//                                                         nobody else can change it then)
//   version               alloc, doFree        note       written before the words below, and every
//                                                         reader compares it again after them
//   next len klen hash    alloc                note       version
//   version counter       alloc                add        -
//
// A pin on a chain's first block keeps the chain from being freed. It says nothing about the
// version: between reading a slot and pinning, the block may have become part of another chain, so
// whoever pins compares the versions afterwards.
//
// Pins of a process that died are never given back. Such a chain stays readable, and once deleted
// its blocks are lost until the region is created anew. A pin that comes too late to a block that
// is being taken again delays alloc for kPinPatience at most, several of them for kChainPatience.
#pragma once

#include <string>

#include "store/CncrLst.h"

struct BlkEntry {
  store::Word32 state;    // bit 0 isKey, bit 1 isDeleted, bits 2 to 31 readers, signed
  store::Word32 next;     // the chain's next block, or LIST_END
  store::Word32 version;  // the same in all blocks of a chain; 0: the block is free
  store::Word32 len;      // bytes of key and value together, the same in all blocks of a chain
  store::Word32 klen;     // bytes of the key; 0 in all but the first block
  store::Word32 hash;     // of the key; 0 in all but the first block
};
static_assert(sizeof(BlkEntry) == 24 && alignof(BlkEntry) == 4);

// Chains taken and given back by this thread.
extern thread_local u32 __simdb_allocs;    // NOLINT(bugprone-reserved-identifier): a fixed name
extern thread_local u32 __simdb_deallocs;  // NOLINT(bugprone-reserved-identifier): a fixed name

class CncrStr {
 public:
  static constexpr u32 LIST_END = CncrLst::LIST_END;

  // Names one stored chain: its first block, and the version that it was published with.
  struct VerIdx {
    u32 idx;
    u32 version;
    bool operator==(const VerIdx& other) const {
      return idx == other.idx && version == other.version;
    }
    bool operator!=(const VerIdx& other) const { return !(*this == other); }
  };
  static_assert(sizeof(VerIdx) == 8);

  // How an alloc went: `cnt` blocks behind the first, and whether the free list ended there.
  struct BlkCnt {
    u32 end : 1;
    u32 cnt : 31;
  };
  static_assert(sizeof(BlkCnt) == 4);

  // What became of a chain's sizes under the eyes of their reader.
  struct Lengths {
    u32 len;
    u32 klen;
  };

  enum Match : u32 {
    NoMatch = 0,
    Matched = 1,
    MatchedStale = 0xFFFFFFFE,  // the key's bytes, but not the expected version everywhere
    Removed = 0xFFFFFFFF,       // of the index's probes only
  };

  CncrStr() = default;  // no store; only to be assigned to

  // Lays the value store over the area that starts at `area`, and sets it up if `owner`.
  // Asserts "blockSize > sizeof(i32)".
  CncrStr(void* area, u32 blockSize, u32 blockCount, bool owner);

  // Takes a chain for `size` bytes, of which `klen` are the key's, REQUIRES: size at least 1, and
  // fills its entries. `idx` LIST_END: no room, and nothing has changed. `report` may be null.
  VerIdx alloc(u32 size, u32 klen, u32 hash, BlkCnt* report);

  // Writes key and value, one behind the other, into a chain of that size from alloc.
  void put(u32 block, const void* key, u32 klen, const void* value, u32 vlen);

  // Compares a chain's key with the given one. Needs no pin: see the table above.
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
  // appended is to be thrown away. Under a pin on its first block the chain can't go; without one
  // the version tells of it.
  bool appendValue(VerIdx chain, std::string& value) const;

  // Enters a block as a reader. False: it is deleted or its count of readers is below zero.
  bool pin(u32 block) const;

  // With `del` false leaves a block that was pinned, with `del` true marks a chain deleted. False:
  // this call has freed the chain.
  bool decReadersOrDel(u32 block, bool del) const;

  // Sends a chain that nobody can reach any more back to the free list.
  void doFree(u32 block) const;

  // An index from the region may be used if it is below this. VELOMAR_TRUST_REGION is for the
  // benchmark of what that costs: no program may be built with it.
#ifdef VELOMAR_TRUST_REGION
  u32 blockLimit() const {
    return 0xFFFFFFFE;
  }
#else
  u32 blockLimit() const {
    return lst.blocks();
  }
#endif
  bool isBlock(u32 index) const {
    return index < blockLimit();
  }
  bool isDeleted(u32 block) const {
    return (store::load(entries[block].state) & kIsDeleted) != 0;
  }
  u32 version(u32 block) const {
    return store::look(entries[block].version);
  }

  // Whether the block still carries the version that the chain was published with.
  bool isCurrent(VerIdx chain) const {
    return version(chain.idx) == chain.version;
  }

  // Whether the key of `chain` has certainly another hash. That needs no pin to be seen: the
  // version still stood behind it.
  bool hasAnotherHash(VerIdx chain, u32 hash) const {
    return store::look(entries[chain.idx].hash) != hash && isCurrent(chain);
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
  void putLong(u32 block, const void* key, u32 klen, const void* value, u32 vlen);
  Match compareLong(u32 block, u32 version, const void* key, u32 klen) const;
  bool appendLong(VerIdx chain, Lengths sizes, std::string& value) const;
  // The product is taken in 32 bits by contract.
  void* blockAt(u32 block, u32 offset = 0) const {
    return data + u32{blockSize * block} + offset;
  }
  u32 next(u32 block) const {
    return store::look(entries[block].next);
  }
  u32 blocksFor(u32 size) const {
    return size <= blockSize ? 1 : (size - 1) / blockSize + 1;
  }
  u64 capacity() const {
    return u64{blockSize} * lst.blocks();
  }
  bool unpin(u32 block) const;
  bool markDeleted(u32 block) const;
  u32 getPinned(u32 block, u32 version, void* out, u32 maxlen, u32* readlen) const;
  u32 getKeyPinned(u32 block, u32 version, void* out, u32 maxlen) const;
  u32 readOn(u32 block, u32 version, u8* out, u32 got, u32 maxlen) const;
  u32 copyBlock(u32 block, void* out, u32 offset, u32 length) const;

  mutable CncrLst lst;  // giving blocks back is part of reading, for the last reader
  BlkEntry* entries = nullptr;
  u8* data = nullptr;
  store::Word64* versions = nullptr;  // the next version to hand out
  u32 blockSize = 0;                  // B, bytes
};

inline CncrStr::Match CncrStr::compare(u32 block, u32 version, const void* key, u32 klen,
                                       u32 hash) const {
  if (!isBlock(block)) return NoMatch;
  const BlkEntry& entry = entries[block];
  if (store::look(entry.hash) != hash || store::look(entry.klen) != klen) return NoMatch;
  if (klen >= blockSize) return compareLong(block, version, key, klen);
  const bool same = this->version(block) == version;
  if (!store::sameBytes(blockAt(block), key, klen)) return NoMatch;
  return same ? Matched : MatchedStale;
}

inline bool CncrStr::decReadersOrDel(u32 block, bool del) const {
  return del ? markDeleted(block) : unpin(block);
}

inline bool CncrStr::markDeleted(u32 block) const {
  auto& state = entries[block].state;
  u32 seen = store::load(state);
  do {
    if ((seen & kIsDeleted) != 0) return true;
  } while (!store::swap(state, seen, seen | kIsDeleted));
  const bool hadReaders = seen >= kOneReader;
  if (hadReaders) return true;
  doFree(block);
  return false;
}

inline void CncrStr::doFree(u32 block) const {
  const u32 first = block;
  store::note(entries[block].version, u32{0});
  // Bounded by the block count, so that links that go in a circle can't hold the thread.
  for (u32 steps = 1; steps < lst.blocks() && isBlock(next(block)); ++steps) {
    block = next(block);
    store::note(entries[block].version, u32{0});
  }
  lst.free(first, block);
  ++__simdb_deallocs;
}
