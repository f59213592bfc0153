#include "store/CncrLst.h"

#include "tests/store/TestRegion.h"

namespace {

using Blocks = std::vector<u32>;

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

TEST(CncrLst, ChainsComeFromTheTopAndGoBackThere) {
  List its(4096);
  its.expectHead(0, 0);
  EXPECT_EQ(its.list.alloc(3), 0U);
  its.expectHead(3, 3);
  EXPECT_EQ(its.region.image().link(0), 1U);
  EXPECT_EQ(its.region.image().link(1), 2U);

  EXPECT_EQ(its.list.free(0, 2), 3U) << "what was on top before";
  its.expectHead(0, 4);
  EXPECT_EQ(its.region.image().link(2), 3U);
  EXPECT_EQ(its.list.alloc(4), 0U) << "the blocks freed last come first";
  its.expectHead(4, 8);

  // Another object over the same area, as another process has it, goes on from there.
  CncrLst other(its.region.at(64 + 32 * 4096), 4096, false);
  EXPECT_EQ(other.nxt(), 4U);
  EXPECT_EQ(its.list.nxt(), 5U);
}

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
