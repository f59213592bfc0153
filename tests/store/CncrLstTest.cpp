#include "store/CncrLst.h"

#include "tests/store/TestRegion.h"

namespace {

struct List {
  explicit List(u32 blockCount)
      : region(blockCount, 5), n(blockCount), list(region.at(64 + 32 * n), blockCount, false) {}

  void setVersion(u32 version) { region.set((64 + 32 * n) / 64 * 64 + 64, version); }
  void expectHead(u32 top, u32 version) const {
    EXPECT_EQ(region.image().listTop(), top);
    EXPECT_EQ(region.image().listVersion(), version);
  }

  HeapRegion region;
  u64 n;
  CncrLst list;
};

TEST(CncrLst, FailedAllocLeavesTheFreeListInOrder) {
  List its(5);
  for (u32 i = 0; i < 5; ++i) EXPECT_EQ(its.list.nxt(), i);
  EXPECT_EQ(its.list.nxt(), kEnd);
  for (u32 block : {3U, 0U, 4U}) its.list.free(block, block);
  EXPECT_EQ(its.region.image().freeBlocks(), (Blocks{4, 0, 3}));
  its.expectHead(4, 8);

  EXPECT_EQ(its.list.alloc(4), kEnd);
  EXPECT_EQ(its.region.image().freeBlocks(), (Blocks{4, 0, 3}));
  its.expectHead(4, 12);

  EXPECT_EQ(its.list.alloc(3), 4U);
  EXPECT_EQ(its.region.image().link(4), 0U) << "links follow the pops, not the numbers";
  EXPECT_EQ(its.region.image().link(0), 3U);
  its.expectHead(kEnd, 15);
  EXPECT_EQ(its.list.nxt(4), kEnd);
  EXPECT_EQ(its.region.image().link(4), 0U) << "only a pop links";
}

TEST(CncrLst, TheVersionGoesRoundToOneAtAPopAndToZeroAtAPush) {
  List its(8);
  its.setVersion(0xFFFFFFFF);
  EXPECT_EQ(its.list.nxt(), 0U);
  its.expectHead(1, 1);
  its.setVersion(0xFFFFFFFF);
  its.list.free(0, 0);
  its.expectHead(0, 0);
}

}  // namespace
