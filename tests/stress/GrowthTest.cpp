#include "stress/soak/Growth.h"

#include <gtest/gtest.h>

namespace {

Growth after(std::initializer_list<Vitals> looks) {
  Growth growth;
  for (const Vitals& look : looks) growth.add(look);
  return growth;
}

TEST(Growth, MemoryCountsAtItsMostAndDescriptorsThatStay) {
  const Growth steady = after({{1000, 400, 11}, {1300, 500, 10}, {1100, 400, 11}, {1100, 400, 10}});
  EXPECT_EQ(steady.memory(), 300);
  EXPECT_EQ(steady.descriptors(), 0U) << "open for a moment";
  EXPECT_EQ(after({{1000, 400, 11}, {1000, 400, 10}, {1000, 400, 13}}).descriptors(), 3U);
  EXPECT_EQ(after({{1000, 400, 10}, {900, 400, 10}}).memory(), 0);
  EXPECT_FALSE(Growth().hasBegun());
}

}  // namespace
