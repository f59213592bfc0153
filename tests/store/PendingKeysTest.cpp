#include "store/PendingKeys.h"

#include <deque>

#include "tests/store/TestRegion.h"

namespace {

struct Store {
  explicit Store(u32 blocks) : store(region.name(), 64, blocks, false) {}

  // The smallest waiting key's value. Keys that can't be deleted may take up a listing or more.
  std::string next() {
    const u64 roundsEnd = store.walked() + store.slots();
    do {
      pending.list();
    } while (pending.empty() && store.walked() < roundsEnd);
    return pending.empty() ? "(nothing)" : pending.take();
  }

  TestRegion region;
  simdb store;
  PendingKeys pending{store};
};

}  // namespace

TEST(PendingKeys, AnEmptyStoreCostsOneRound) {
  Store s(16);
  const u64 before = s.store.walked();
  s.pending.list();
  EXPECT_EQ(s.store.walked() - before, s.store.slots());
}

// One walk sees but one key of a crowded store, and a full one has slots that a deletion misses.
TEST(PendingKeys, EveryMessageOfACrowdedStoreIsTakenOnceAndInOrder) {
  const u32 seed = randomSeed();
  SCOPED_TRACE("--gtest_random_seed=" + std::to_string(seed));
  Dice dice(seed);
  for (int round = 0; round < 50; ++round) {
    Store s(32);
    std::deque<std::string> waiting;
    int count = 100000;
    for (int step = 0; step < 1000; ++step) {
      // Stretches of more writing than reading, and the other way round.
      if (dice(8) < (step / 100 % 2 == 0 ? 6U : 2U)) {
        const std::string key = std::to_string(++count);
        if (s.store.put(key, "v" + key)) waiting.push_back("v" + key);
      } else if (waiting.empty()) {
        ASSERT_EQ(s.next(), "(nothing)");
      } else {
        ASSERT_EQ(s.next(), waiting.front());
        waiting.pop_front();
      }
    }
    for (const auto& value : waiting) ASSERT_EQ(s.next(), value);
    ASSERT_EQ(s.next(), "(nothing)");
  }
}

TEST(PendingKeys, AKeyThatCantBeDeletedComesUpAgainOnlyIfItIsWrittenAnew) {
  Store s(4);
  for (u32 slot = 0; slot < 3; ++slot) s.store.put(keyAt(slot, 4), "other");
  // Its probe starts after the one slot that is left, and so ends there.
  const std::string stuck = keyAt(0, 4, 1);
  ASSERT_TRUE(s.store.put(stuck, "old"));
  for (int i = 0; i < 4; ++i) EXPECT_NE(s.next(), "(nothing)");
  EXPECT_EQ(s.store.get(stuck), "old") << "it was deleted, so the case was missed";
  for (int i = 0; i < 3; ++i) EXPECT_EQ(s.next(), "(nothing)");

  for (const char* value : {"new", "newer"}) {
    ASSERT_TRUE(s.store.put(stuck, value));
    EXPECT_EQ(s.next(), value);
    EXPECT_EQ(s.next(), "(nothing)");
  }
}
