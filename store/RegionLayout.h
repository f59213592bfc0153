// Where everything lies in a region, in bytes from its start. All integers are little-endian.
//
//   0            flags        u32   1 once the region is complete
//   4            count        u32   attachments
//   8            blockSize    u64   B
//   16           blockCount   u64   N
//   24           reserved     u64
//   32           index size   u64   8 x (N rounded up to a power of two) + 8
//   40           index slots  N x u64
//   40 + 8N      reserved     u64
//   48 + 8N      version      u64   the next block version
//   56 + 8N      table size   u64   24 x N + 8
//   64 + 8N      entries      N x 24 bytes
//   64 + 32N     reserved     up to H
//   H            list head    u64   alone on its 64-byte line
//   H + 64       list size    u64   4 x N + 8
//   H + 72       links        N x u32
//   200 + 36N    data         N blocks of B bytes
#pragma once

#include "store/RegionMemory.h"

namespace store {

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

constexpr u64 kFlagsOffset = 0;
constexpr u64 kCountOffset = 4;
constexpr u64 kBlockSizeOffset = 8;
constexpr u64 kBlockCountOffset = 16;
constexpr u64 kIndexOffset = 24;  // the index aligns itself from here
constexpr u64 kSlotsOffset = 40;
constexpr u64 kHeaderBytes = kSlotsOffset;

constexpr u64 kListLine = 64;  // the list's head has a cache line to itself
constexpr u64 kListSizeFromHead = kListLine;
constexpr u64 kLinksFromHead = kListSizeFromHead + sizeof(u64);

constexpr u64 versionOffset(u64 n) {
  return 48 + 8 * n;
}
constexpr u64 entriesOffset(u64 n) {
  return 64 + 8 * n;
}
constexpr u64 listOffset(u64 n) {
  return 64 + 32 * n;
}
constexpr u64 headOffset(u64 n) {
  return listOffset(n) / kListLine * kListLine + kListLine;
}
constexpr u64 linksOffset(u64 n) {
  return headOffset(n) + kLinksFromHead;
}
constexpr u64 dataOffset(u64 n) {
  return 200 + 36 * n;
}

// The product is taken in 32 bits by contract; isAddressable() refuses what would wrap.
constexpr u64 regionSize(u64 b, u64 n) {
  return static_cast<u64>(static_cast<u32>(b) * static_cast<u32>(n)) + dataOffset(n);
}

// Whether there are blocks, and all their addresses stay below 2^32. Each factor is bounded first
// so that the product can't wrap.
constexpr bool isAddressable(u64 b, u64 n) {
  constexpr u64 kLimit = u64{1} << 32U;
  return n >= 1 && n < kLimit && b < kLimit && b * n < kLimit;
}

// Whether a region of these numbers can exist.
constexpr bool fits(u64 b, u64 n) {
  return isAddressable(b, n) && b > sizeof(i32);
}

static_assert(dataOffset(4096) == 147656 && regionSize(2048, 4096) == 8536264);
static_assert(headOffset(5) == 256 && linksOffset(5) == 328 && regionSize(64, 5) == 700);

}  // namespace store
