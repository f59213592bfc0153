#include "store/CncrStr.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "common/Assertion.h"
#include "store/RegionLayout.h"

thread_local u32 __simdb_allocs = 0;
thread_local u32 __simdb_deallocs = 0;

using store::look;
using store::note;

namespace {

// How long alloc waits for a reader that pinned a block before it was freed and taken again. A
// reader needs microseconds to see the new version and leave; one that takes longer has died. A
// chain can have several such blocks, and all of a damaged region's: together they get no more
// than the second figure.
constexpr std::chrono::milliseconds kPinPatience{20};
constexpr std::chrono::milliseconds kChainPatience{60};
constexpr std::chrono::microseconds kPinPause{50};

i32 readersOf(u32 state) {
  return static_cast<i32>(state) >> 2;
}

}  // namespace

// Begins with the first question, so that a block without a pin costs no look at the clock.
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
    : lst(static_cast<u8*>(area) + u64{24} * blockCount + 16, blockCount, owner),
      entries(reinterpret_cast<BlkEntry*>(static_cast<u8*>(area) + 16)),
      data(static_cast<u8*>(area) + u64{28} * blockCount + 152),
      versions(store::wordAt<store::Word64>(area, 0)),
      blockSize(size) {
  if (owner) {
    note(*store::wordAt<store::Word64>(area, 8), u64{24} * blockCount + 8);
    store::clearWords(entries, sizeof(BlkEntry) * blockCount);
    store::save(*versions, u64{1});
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
  const VerIdx chain{first, static_cast<u32>(store::add(*versions, u64{1}))};

  PinPatience patience;
  u32 following = lst.link(first);
  fill(first, needed > 1 ? following : LIST_END, chain, size, klen, hash);
  for (u32 left = needed - 1; left > 0; --left) {
    const u32 block = following;
    // Only a damaged region has a link here that is no block. What is left of the chain is lost.
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

// The version goes first: a reader that sees any of the other words of this chain then also sees
// that the chain isn't the one that it came for.
void CncrStr::fill(u32 block, u32 following, VerIdx chain, u32 size, u32 klen, u32 hash) {
  BlkEntry& entry = entries[block];
  note(entry.version, chain.version);
  note(entry.next, following);
  note(entry.len, size);
  note(entry.klen, klen);
  note(entry.hash, hash);
}

// A thread that read a slot long ago may pin this block only now. A plain store would wipe out its
// pin, and its unpin would then leave the count of readers below zero, which refuses every reader
// from then on. So the state is swapped, and a pin that is seen gets time to go. The time is
// bounded: a pin that a dead process left behind must not block anyone.
void CncrStr::publishState(u32 block, u32 state, PinPatience& patience) {
  const u32 seen = store::load(entries[block].state);
  // What refuses pins and has none can't change under our hands, and what is right can stay.
  if (seen == state) return;
  if (seen == kFreed) return note(entries[block].state, state);
  swapState(block, seen, state, patience);
}

void CncrStr::swapState(u32 block, u32 seen, u32 state, PinPatience& patience) {
  auto& word = entries[block].state;
  patience.beginBlock();
  do {
    // Also a pin that made the swap fail gets its time.
    while (readersOf(seen) > 0 && patience.lasts()) {
      std::this_thread::sleep_for(kPinPause);
      seen = store::load(word);
    }
  } while (!store::swap(word, seen, state));
}

void CncrStr::put(u32 block, const void* key, u32 klen, const void* value, u32 vlen) {
  if (klen > blockSize || vlen > blockSize - klen) return putLong(block, key, klen, value, vlen);
  store::copyBytes(blockAt(block), key, klen);
  store::copyBytes(blockAt(block, klen), value, vlen);
}

void CncrStr::putLong(u32 block, const void* key, u32 klen, const void* value, u32 vlen) {
  u32 following = next(block);
  u32 used = 0;  // bytes of the current block
  const auto append = [&](const void* bytes, u32 count) {
    const u8* from = static_cast<const u8*>(bytes);
    while (count > 0) {
      if (used == blockSize) {
        if (!isBlock(following)) return;
        block = following;
        following = next(block);
        used = 0;
      }
      const u32 piece = std::min(count, blockSize - used);
      store::copyBytes(blockAt(block, used), from, piece);
      if (isBlock(following)) store::prefetch(blockAt(following));
      used += piece;
      from += piece;
      count -= piece;
    }
  };
  append(key, klen);
  append(value, vlen);
}

CncrStr::Match CncrStr::compareLong(u32 block, u32 version, const void* key, u32 klen) const {
  bool same = this->version(block) == version;
  const u8* rest = static_cast<const u8*>(key);
  for (; klen >= blockSize; klen -= blockSize, rest += blockSize) {
    if (!store::sameBytes(blockAt(block), rest, blockSize)) return NoMatch;
    block = next(block);
    // A key that fills its last block to the end, with no value behind it, ends the chain here.
    if (!isBlock(block)) return klen > blockSize ? NoMatch : same ? Matched : MatchedStale;
    same = same && this->version(block) == version;
    if (isBlock(next(block))) store::prefetch(blockAt(next(block)));
  }
  if (klen > 0 && !store::sameBytes(blockAt(block), rest, klen)) return NoMatch;
  return same ? Matched : MatchedStale;
}

u32 CncrStr::get(u32 block, u32 version, void* out, u32 maxlen, u32* readlen) const {
  if (!isBlock(block) || !pin(block)) return 0;
  const u32 got = getPinned(block, version, out, maxlen, readlen);
  unpin(block);
  return got;
}

u32 CncrStr::getPinned(u32 block, u32 version, void* out, u32 maxlen, u32* readlen) const {
  const u32 len = look(entries[block].len);
  const u32 klen = look(entries[block].klen);
  if (len == 0 || len > capacity() || klen > len || len - klen > maxlen) return 0;
  const u32 vlen = len - klen;
  if (vlen == 0) {
    if (readlen != nullptr) *readlen = 0;
    return 0;
  }
  for (u32 hops = klen / blockSize; hops > 0; --hops) {
    if (this->version(block) != version || !isBlock(next(block))) return 0;
    block = next(block);
    if (isBlock(next(block))) store::prefetch(blockAt(next(block)));
  }
  const u32 offset = klen % blockSize;
  u8* bytes = static_cast<u8*>(out);
  u32 got = copyBlock(block, bytes, offset, std::min(vlen, blockSize - offset));
  if (this->version(block) != version) return got;
  got = readOn(block, version, bytes, got, maxlen);
  if (readlen != nullptr) *readlen = got;
  return got;
}

// Reads the blocks behind `block` until `maxlen` bytes are there or the chain ends.
u32 CncrStr::readOn(u32 block, u32 version, u8* out, u32 got, u32 maxlen) const {
  while (got < maxlen && isBlock(next(block))) {
    block = next(block);
    if (isBlock(next(block))) store::prefetch(blockAt(next(block)));
    const u32 piece = copyBlock(block, out + got, 0, std::min(maxlen - got, blockSize));
    got += piece;
    if (piece == 0 || this->version(block) != version) break;
  }
  return got;
}

u32 CncrStr::getKey(u32 block, u32 version, void* out, u32 maxlen) const {
  if (!isBlock(block) || !pin(block)) return 0;
  const u32 got = getKeyPinned(block, version, out, maxlen);
  unpin(block);
  return got;
}

u32 CncrStr::getKeyPinned(u32 block, u32 version, void* out, u32 maxlen) const {
  const u32 klen = look(entries[block].klen);
  if (look(entries[block].len) == 0 || klen > maxlen) return 0;
  u8* bytes = static_cast<u8*>(out);
  u32 got = 0;
  while (klen - got >= blockSize) {
    const u32 piece = copyBlock(block, bytes + got, 0, blockSize);
    got += piece;
    const bool whole = piece != 0 && this->version(block) == version;
    block = next(block);
    if (!whole || !isBlock(block)) return got;
    if (isBlock(next(block))) store::prefetch(blockAt(next(block)));
  }
  if (klen > got) got += copyBlock(block, bytes + got, 0, klen - got);
  return got;
}

u32 CncrStr::readBlock(u32 block, u32 /*version*/, void* out, u32 offset, u32 length) const {
  if (!pin(block)) return 0;
  const u32 count = copyBlock(block, out, offset, length == 0 ? blockSize - offset : length);
  unpin(block);
  return count;
}

// Copies from a block of a chain whose first block the caller has pinned: as long as he is in
// there, no block of the chain can be freed, and a pin on this one would protect nothing more.
u32 CncrStr::copyBlock(u32 block, void* out, u32 offset, u32 length) const {
  if (version(block) == 0) return 0;
  store::copyBytes(out, blockAt(block, offset), length);
  return length;
}

bool CncrStr::appendValue(VerIdx chain, std::string& value) const {
  Lengths sizes{0, 0};
  if (!lengths(chain, sizes)) return false;
  if (sizes.len > blockSize) return appendLong(chain, sizes, value);
  const u32 vlen = sizes.len - sizes.klen;
  value.reserve(value.size() + vlen);
  store::appendBytes(value, blockAt(chain.idx, sizes.klen), vlen);
  // A chain that is given back loses its version before anybody else can write to its blocks.
  return isCurrent(chain);
}

bool CncrStr::appendLong(VerIdx chain, Lengths sizes, std::string& value) const {
  u32 block = chain.idx;
  u32 offset = sizes.klen;
  for (; offset >= blockSize && isBlock(block); offset -= blockSize) block = next(block);
  value.reserve(value.size() + sizes.len - sizes.klen);
  for (u32 left = sizes.len - sizes.klen; left > 0; offset = 0) {
    if (!isBlock(block)) return false;
    const u32 following = next(block);
    if (isBlock(following)) store::prefetch(blockAt(following));
    const u32 piece = std::min(left, blockSize - offset);
    store::appendBytes(value, blockAt(block, offset), piece);
    left -= piece;
    block = following;
  }
  return isCurrent(chain);
}

bool CncrStr::pin(u32 block) const {
  auto& state = entries[block].state;
  u32 seen = store::load(state);
  do {
    if ((seen & kRefusesPins) != 0) return false;
  } while (!store::swap(state, seen, seen + kOneReader));
  return true;
}

bool CncrStr::unpin(u32 block) const {
  auto& state = entries[block].state;
  u32 seen = store::load(state);
  while (!store::swap(state, seen, seen - kOneReader)) {
  }
  // The last reader of a deleted chain frees it. Nobody else can: new pins are refused.
  if ((seen & ~kIsKey) != (kIsDeleted | kOneReader)) return true;
  doFree(block);
  return false;
}

bool CncrStr::lengths(VerIdx chain, Lengths& lengths) const {
  const BlkEntry& entry = entries[chain.idx];
  lengths = {look(entry.len), look(entry.klen)};
  // Both words came while the version stood, or they come from two chains and mean nothing.
  return isCurrent(chain) && lengths.len != 0 && lengths.len <= capacity() &&
         lengths.klen <= lengths.len;
}
