#include "tools/state/RegionAudit.h"

#include "store/simdb.h"
#include "tests/store/TestRegion.h"

namespace {

constexpr u32 kN = 16;

RegionAudit audit(const TestRegion& region) {
  std::string problem;
  const auto found = RegionAudit::of(region.name(), problem);
  EXPECT_TRUE(found) << problem;
  return found.value_or(RegionAudit{});
}

TEST(RegionAudit, EveryBlockIsFreeOrInUseOrLost) {
  const TestRegion region;
  simdb store(region.name(), 64, kN, false);
  const std::string a = keyAt(4, kN);
  const std::string b = keyAt(6, kN);
  ASSERT_TRUE(store.put(b, std::string(100, 'v')) && store.put(a, "") && store.put("c", "gone"));
  ASSERT_TRUE(store.del("c", 1));

  const auto sound = audit(region);
  EXPECT_TRUE(sound.isSound());
  EXPECT_EQ(sound.attachments, 1U);
  EXPECT_EQ(sound.usedBlocks, 3U);
  EXPECT_EQ(sound.freeBlocks, kN - 3U);
  EXPECT_EQ(sound.usedSlots, 2U);
  EXPECT_EQ(sound.deletedSlots, 1U);
  ASSERT_EQ(sound.keys.size(), 2U);
  EXPECT_EQ(sound.keys[0].text, std::min(a, b));
  const auto& filled = sound.keys[sound.keys[0].text == b ? 0 : 1];
  EXPECT_EQ(filled.valueBytes, 100U);
  EXPECT_EQ(filled.value, std::string(std::min<std::size_t>(64 - b.size(), 50), 'v'));
  EXPECT_EQ(sound.writes, 4U) << "the first is number 1";

  region.set(40 + 8 * 4, u64{0xFFFFFFFE});  // takes one chain out of its slot
  EXPECT_EQ(audit(region).lost, 1U);
  region.set(64 + 8 * kN + 4, u32{0});  // and lets the other go in a circle
  const auto damaged = audit(region);
  EXPECT_EQ(damaged.brokenSlots, 1U);
  EXPECT_EQ(damaged.twice, 1U);
  EXPECT_EQ(damaged.lost, 2U);
}

TEST(RegionAudit, AFileThatIsNoRegionSaysWhy) {
  std::string problem;
  const TestRegion region;
  EXPECT_FALSE(RegionAudit::of(region.name(), problem));
  EXPECT_EQ(problem, "No such file or directory");
  region.create(std::string(700, '\0'));
  EXPECT_FALSE(RegionAudit::of(region.name(), problem));
  EXPECT_EQ(problem, "the header is blank: not set up yet");
  region.set(8, u64{64});
  region.set(16, u64{6});
  EXPECT_FALSE(RegionAudit::of(region.name(), problem));
  EXPECT_EQ(problem, "the file is shorter than its header says");
}

}  // namespace
