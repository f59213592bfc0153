#include "stress/soak/Ledger.h"

#include <gtest/gtest.h>

TEST(Ledger, WhatDoesNotArriveIsDroppedWhereItMayBeAndLostElsewhere) {
  const Ledger::Time start;
  Ledger ledger;
  for (int i = 1; i <= 12; ++i) EXPECT_EQ(ledger.give(start + std::chrono::seconds(10 * i)), i);
  ledger.allowDrop(start + std::chrono::seconds(41));  // the fourth was on its way
  for (const Ledger::Number number : {1U, 2U, 3U, 5U, 7U, 7U, 6U, 13U, 8U, 11U})
    ledger.take(number);
  EXPECT_EQ(ledger.strange(), 3U) << "7 twice, 6 too late, 13 out of nowhere";
  EXPECT_EQ(ledger.missing().dropped, 1U);
  EXPECT_EQ(ledger.missing().lost, 4U) << "6, 9 and 10, and 12 on its way";
  ledger.take(12);
  ledger.allowDrop(start + std::chrono::seconds(95));
  EXPECT_EQ(ledger.missing().lost, 3U) << "9 and 10 can't both have been on their way then";
  EXPECT_EQ(ledger.onTheirWay(), 0U);
}
