#include "store/CncrLst.h"

#include "common/Assertion.h"
#include "store/RegionLayout.h"

namespace {

constexpr u32 kLastVersion = 0xFFFFFFFF;

u32 versionOf(u64 head) {
  return static_cast<u32>(head);
}
u32 indexOf(u64 head) {
  return static_cast<u32>(head >> 32U);
}
u64 makeHead(u32 index, u32 version) {
  return u64{index} << 32U | version;
}

}  // namespace

CncrLst::CncrLst(void* area, u32 count, bool owner) : cnt(count) {
  const u64 alignAddr =
      reinterpret_cast<u64>(area) / store::kListLine * store::kListLine + store::kListLine;
  velomar::require(alignAddr % 64 == 0, "alignAddr % 64 == 0");
  head = reinterpret_cast<store::Word64*>(alignAddr);
  links = store::wordAt<store::Word32>(head, 72);
  if (!owner) return;

  store::note(*store::wordAt<store::Word64>(head, 64), u64{4} * count + 8);
  for (u32 i = 0; i + 1 < count; ++i) store::note(links[i], i + 1);
  store::note(links[count - 1], LIST_END);
  store::note(*head, makeHead(0, 0));
}

u32 CncrLst::nxt() {
  u64 seen = store::load(*head);
  // Any index that is no block ends the list, so that a damaged region can't lead out of itself.
  while (indexOf(seen) < cnt) {
    const u32 top = indexOf(seen);
    // A version of 0 never comes from a pop.
    const u32 version = versionOf(seen) == kLastVersion ? 1 : versionOf(seen) + 1;
    if (store::swap(*head, seen, makeHead(store::look(links[top]), version))) return top;
  }
  return LIST_END;
}

u32 CncrLst::nxt(u32 prev) {
  const u32 block = nxt();
  // Pops of several threads interleave, so neighbours in a chain were seldom neighbours in the
  // list: the link has to name what this caller really got.
  if (block != LIST_END) store::save(links[prev], block);
  return block;
}

u32 CncrLst::alloc(u32 count) {
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

u32 CncrLst::free(u32 first, u32 last) {
  u64 seen = store::load(*head);
  do {
    store::save(links[last], indexOf(seen));
  } while (!store::swap(*head, seen, makeHead(first, versionOf(seen) + 1)));
  return indexOf(seen);
}
