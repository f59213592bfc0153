#include "store/CncrLst.h"

#include "common/Assertion.h"
#include "store/RegionLayout.h"

namespace store {

namespace {

constexpr int kTriesAtOnce = 4;

}  // namespace

CncrLst::CncrLst(void* area, u32 count, bool owner) : cnt(count) {
  const u64 toNextLine = kListLine - reinterpret_cast<u64>(area) % kListLine;
  head = wordAt<Word64>(area, toNextLine);
  const u64 alignAddr = reinterpret_cast<u64>(head);
  velomar::require(alignAddr % kListLine == 0, "alignAddr % 64 == 0");
  links = wordAt<Word32>(head, kLinksFromHead);
  if (!owner) return;

  storeRelease(*wordAt<Word64>(head, kListSizeFromHead), sizeof(u32) * u64{count} + sizeof(u64));
  for (u32 i = 0; i + 1 < count; ++i) storeRelease(links[i], i + 1);
  storeRelease(links[count - 1], LIST_END);
  storeRelease(*head, makeHead(0, 0));
}

u32 CncrLst::nxt(u32 prev) {
  const u32 block = nxt();
  // Pops of several threads interleave, so neighbours in a chain were seldom neighbours in the
  // list: the link has to name what this caller really got.
  if (block != LIST_END) storeRelease(links[prev], block);
  return block;
}

u32 CncrLst::takeChain(u32 count) {
  const u32 first = count <= cnt ? takeAtOnce(count) : LIST_END;
  return first != LIST_END ? first : takeOneByOne(count);
}

// The list's first blocks are linked already, so one swap can take them all. It succeeds only if no
// other operation came between, and then the blocks that were walked are the list's. The version
// moves on as if they had been popped one after the other. LIST_END: there are too few blocks, or
// every try failed.
u32 CncrLst::takeAtOnce(u32 count) {
  u64 seen = loadSeqCst(*head);
  for (int tries = 0; tries < kTriesAtOnce; ++tries) {
    const u32 first = indexOf(seen);
    u32 rest = first;  // the first block after those that are taken
    u32 left = count;
    for (; left > 0 && rest < cnt; --left) rest = loadAcquire(links[rest]);
    if (left > 0) break;
    if (compareAndSwap(*head, seen, makeHead(rest, advanced(versionOf(seen), count)))) return first;
  }
  return LIST_END;
}

// Makes progress even while other threads take and give back single blocks all the time, which
// would make every try of takeAtOnce fail.
u32 CncrLst::takeOneByOne(u32 count) {
  const u32 first = nxt();
  if (first == LIST_END) return LIST_END;
  u32 current = first;
  for (u32 taken = 1; taken < count; ++taken) {
    // A list that gives more blocks than there are goes in a circle, so it has ended, too.
    const u32 block = taken < cnt ? nxt(current) : LIST_END;
    if (block == LIST_END) {
      free(first, current);
      return LIST_END;
    }
    current = block;
  }
  return first;
}

}  // namespace store
