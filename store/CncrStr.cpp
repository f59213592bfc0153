#include "store/CncrStr.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "common/Assertion.h"
#include "store/RegionLayout.h"

thread_local std::uint32_t __simdb_allocs = 0;
thread_local std::uint32_t __simdb_deallocs = 0;

namespace store {

namespace {

// How long alloc waits for a reader that pinned a block before it was freed and taken again. A
// reader needs microseconds to see the new version and leave; one that takes longer has died. A
// chain can have several such blocks, and all of a damaged region's: together they get no more
// than the second figure.
constexpr std::chrono::milliseconds kPinPatience{20};
constexpr std::chrono::milliseconds kChainPatience{60};
constexpr std::chrono::microseconds kPinPause{50};

constexpr u64 kTableSizeInArea = 8;

// The place of an offset of the region, given the area from the next version on.
u8* placeOf(void* area, u64 offset, u32 blockCount) {
  return static_cast<u8*>(area) + (offset - versionOffset(blockCount));
}

i32 readersOf(u32 state) {
  return static_cast<i32>(state) >> 2;
}

}  // namespace

// The clock is first read when a wait begins, so that blocks without a pin, nearly all, cost no
// system call.
class CncrStr::PinPatience {
 public:
  void beginBlock() { blockEnd = {}; }

  bool lasts() {
    const auto now = Clock::now();
    if (chainEnd == Clock::time_point()) chainEnd = now + kChainPatience;
    if (blockEnd == Clock::time_point()) blockEnd = std::min(now + kPinPatience, chainEnd);
    return now < blockEnd;
  }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point blockEnd, chainEnd;
};

CncrStr::CncrStr(void* area, u32 size, u32 blockCount, bool owner)
    : lst(placeOf(area, listOffset(blockCount), blockCount), blockCount, owner),
      entries(reinterpret_cast<BlkEntry*>(placeOf(area, entriesOffset(blockCount), blockCount))),
      data(placeOf(area, dataOffset(blockCount), blockCount)),
      versions(wordAt<Word64>(area, 0)),
      blockSize(size) {
  if (owner) {
    storeRelease(*wordAt<Word64>(area, kTableSizeInArea),
                 sizeof(BlkEntry) * u64{blockCount} + sizeof(u64));
    clearWords(entries, sizeof(BlkEntry) * blockCount);
    storeSeqCst(*versions, u64{1});
  }
  velomar::require(blockSize > sizeof(i32), "blockSize > sizeof(i32)");
}

CncrStr::VerIdx CncrStr::alloc(u32 size, u32 klen, u32 hash, BlkCnt* report) {
  const u32 needed = blocksFor(size);
  const u32 first = lst.alloc(needed);
  if (first == LIST_END) {
    if (report != nullptr) *report = {1, 0};
    return {LIST_END, 0};
  }
  const VerIdx chain{first, newVersion()};

  PinPatience patience;
  u32 following = lst.link(first);
  fill(first, needed > 1 ? following : LIST_END, chain, size, klen, hash);
  for (u32 left = needed - 1; left > 0; --left) {
    const u32 block = following;
    // Only a damaged region has a link here that is no block. The rest of the chain is then lost.
    if (!isBlock(block)) return {LIST_END, 0};
    following = lst.link(block);
    fill(block, left > 1 ? following : LIST_END, chain, size, 0, 0);
    publishState(block, 0, patience);
  }
  publishState(first, kIsKey, patience);

  ++__simdb_allocs;
  if (report != nullptr) *report = {following == LIST_END ? 1U : 0U, (needed - 1) & 0x7FFFFFFFU};
  return chain;
}

// 0 is left out when the low half of the counter comes round: it means a free block.
u32 CncrStr::newVersion() {
  u32 version = 0;
  while (version == 0) version = static_cast<u32>(fetchAdd(*versions, u64{1}));
  return version;
}

// The version goes first: a reader that sees any of the other words of this chain then also sees
// that the chain isn't the one that it came for.
void CncrStr::fill(u32 block, u32 following, VerIdx chain, u32 size, u32 klen, u32 hash) {
  BlkEntry& entry = entries[block];
  storeRelease(entry.version, chain.version);
  storeRelease(entry.next, following);
  storeRelease(entry.len, size);
  storeRelease(entry.klen, klen);
  storeRelease(entry.hash, hash);
}

// A thread that read a slot long ago may pin this block only now. A plain store would wipe out its
// pin, and its unpin would then leave the count of readers below zero, which refuses every reader
// from then on. So the state is swapped, and a pin that is seen gets time to go. The time is
// bounded: a pin that a dead process has left must not block anyone.
void CncrStr::publishState(u32 block, u32 state, PinPatience& patience) {
  const u32 seen = loadSeqCst(entries[block].state);
  // No thread changes a state that refuses pins and has none, and a state that is right can stay.
  if (seen == state) return;
  if (seen == kFreed) return storeRelease(entries[block].state, state);
  swapState(block, seen, state, patience);
}

void CncrStr::swapState(u32 block, u32 seen, u32 state, PinPatience& patience) {
  auto& word = entries[block].state;
  patience.beginBlock();
  do {
    // Also a pin that made the swap fail gets its time.
    while (readersOf(seen) > 0 && patience.lasts()) {
      std::this_thread::sleep_for(kPinPause);
      seen = loadSeqCst(word);
    }
  } while (!compareAndSwap(word, seen, state));
}

// Goes through `count` bytes of a chain's stream from `offset` on, piece by piece:
// visit(block, bytes, count) of each block that they lie in, and with a count of 0 of each block
// before. Ends early when it returns false or the chain ends.
template <typename Visit>
void CncrStr::eachPiece(u32 block, u32 offset, u32 count, Visit visit) const {
  while (count > 0 && isBlock(block)) {
    const u32 following = next(block);
    if (isBlock(following)) prefetch(blockAt(following));
    const u32 start = std::min(offset, blockSize);
    const u32 piece = std::min(count, blockSize - start);
    if (!visit(block, static_cast<u8*>(blockAt(block, start)), piece)) return;
    offset -= start;
    count -= piece;
    block = following;
  }
}

void CncrStr::put(u32 block, const void* key, u32 klen, const void* value, u32 vlen) {
  writeAfter();
  if (klen <= blockSize && vlen <= blockSize - klen) {
    writeBytes(blockAt(block), key, klen);
    writeBytes(blockAt(block, klen), value, vlen);
    return;
  }
  const auto from = [](const void* bytes) {
    return [rest = static_cast<const u8*>(bytes)](u32, u8* to, u32 count) mutable {
      writeBytes(to, rest, count);
      rest += count;
      return true;
    };
  };
  eachPiece(block, 0, klen, from(key));
  eachPiece(block, klen, vlen, from(value));
}

CncrStr::Match CncrStr::compareLong(u32 block, u32 version, const void* key, u32 klen) const {
  const u8* rest = static_cast<const u8*>(key);
  u32 left = klen;
  bool isExact = true;
  // A key that fills its last block to the end, with no value after it, ends the chain there.
  eachPiece(block, 0, klen, [&](u32 at, const u8* bytes, u32 count) {
    isExact = isExact && this->version(at) == version;
    if (!sameBytes(bytes, rest, count)) return false;
    rest += count;
    left -= count;
    return true;
  });
  return left > 0 ? NoMatch : isExact ? Matched : MatchedStale;
}

u32 CncrStr::get(u32 block, u32 version, void* out, u32 maxlen, u32* readlen) const {
  if (!isBlock(block) || !pin(block)) return 0;
  const u32 got = getPinned(block, version, out, maxlen, readlen);
  unpin(block);
  return got;
}

u32 CncrStr::getPinned(u32 block, u32 version, void* out, u32 maxlen, u32* readlen) const {
  const u32 len = loadAcquire(entries[block].len);
  const u32 klen = loadAcquire(entries[block].klen);
  if (len == 0 || len > capacity() || klen > len || len - klen > maxlen) return 0;
  const u32 vlen = len - klen;
  // A value of several blocks is read on to `maxlen`.
  const u32 wanted = vlen > blockSize - klen % blockSize ? maxlen : vlen;
  u8* to = static_cast<u8*>(out);
  u32 got = 0;
  bool isTold = vlen == 0;
  eachPiece(block, klen, wanted, [&](u32 at, const u8* bytes, u32 count) {
    got += copyPiece(at, to + got, bytes, count);
    const bool isCurrent = this->version(at) == version;
    // The length is told once the value's first piece was whole.
    isTold = isTold || (isCurrent && count > 0);
    return isCurrent;
  });
  if (isTold && readlen != nullptr) *readlen = got;
  return got;
}

u32 CncrStr::getKey(u32 block, u32 version, void* out, u32 maxlen) const {
  if (!isBlock(block) || !pin(block)) return 0;
  const u32 klen = loadAcquire(entries[block].klen);
  u8* to = static_cast<u8*>(out);
  u32 got = 0;
  if (loadAcquire(entries[block].len) != 0 && klen <= maxlen) {
    eachPiece(block, 0, klen, [&](u32 at, const u8* bytes, u32 count) {
      got += copyPiece(at, to + got, bytes, count);
      return this->version(at) == version;
    });
  }
  unpin(block);
  return got;
}

u32 CncrStr::readBlock(u32 block, u32 /*version*/, void* out, u32 offset, u32 length) const {
  if (!pin(block)) return 0;
  const u32 count = length == 0 ? blockSize - offset : length;
  const u32 got = copyPiece(block, out, blockAt(block, offset), count);
  unpin(block);
  return got;
}

// Copies from a block whose chain the caller has pinned. Until the caller unpins it no block of the
// chain can be freed, so a pin on this block would protect nothing more.
u32 CncrStr::copyPiece(u32 block, void* out, const void* bytes, u32 count) const {
  if (version(block) == 0) return 0;
  readBytes(out, bytes, count);
  return count;
}

// A chain that is given back loses its first block's version before another thread can write to any
// of its blocks, so one look at that after the copy tells whether all of it was whole.
bool CncrStr::appendValue(VerIdx chain, std::string& value) const {
  Lengths sizes{0, 0};
  if (!lengths(chain, sizes)) return false;
  u32 left = sizes.len - sizes.klen;
  value.reserve(value.size() + left);
  if (sizes.len <= blockSize) {
    appendBytes(value, blockAt(chain.idx, sizes.klen), left);
    return isCurrent(chain);
  }
  eachPiece(chain.idx, sizes.klen, left, [&](u32, const u8* bytes, u32 count) {
    appendBytes(value, bytes, count);
    left -= count;
    return true;
  });
  return left == 0 && isCurrent(chain);
}

bool CncrStr::copyKey(VerIdx chain, void* out, u32 maxlen) const {
  Lengths sizes{0, 0};
  if (!lengths(chain, sizes) || sizes.klen > maxlen) return false;
  u8* to = static_cast<u8*>(out);
  u32 left = sizes.klen;
  eachPiece(chain.idx, 0, sizes.klen, [&](u32, const u8* bytes, u32 count) {
    readBytes(to, bytes, count);
    to += count;
    left -= count;
    return true;
  });
  return left == 0 && isCurrent(chain);
}

bool CncrStr::pin(u32 block) const {
  auto& state = entries[block].state;
  u32 seen = loadSeqCst(state);
  do {
    if ((seen & kRefusesPins) != 0) return false;
  } while (!compareAndSwap(state, seen, seen + kOneReader));
  return true;
}

bool CncrStr::unpin(u32 block) const {
  auto& state = entries[block].state;
  u32 seen = loadSeqCst(state);
  while (!compareAndSwap(state, seen, seen - kOneReader)) {
  }
  // The last reader of a deleted chain frees it. No other process can: new pins are refused.
  if ((seen & ~kIsKey) != (kIsDeleted | kOneReader)) return true;
  doFree(block);
  return false;
}

bool CncrStr::lengths(VerIdx chain, Lengths& lengths) const {
  const BlkEntry& entry = entries[chain.idx];
  lengths = {loadAcquire(entry.len), loadAcquire(entry.klen)};
  // The two words belong together only if the version is still there; otherwise they may come from
  // two chains.
  return isCurrent(chain) && lengths.len != 0 && lengths.len <= capacity() &&
         lengths.klen <= lengths.len;
}

}  // namespace store
