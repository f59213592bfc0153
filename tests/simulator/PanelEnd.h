// The panel's end of the real stores, in the hands of a test: it says what the test has it say.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "store/PendingKeys.h"
#include "store/simdb.h"

class PanelEnd {
 public:
  void says(const std::string& value) {
    char key[16];
    std::snprintf(key, sizeof key, "%010u", ++said);
    ASSERT_TRUE(toXPlane.put(key, value)) << "the store is full";
  }

  // The values that the simulator's side has written since the last look.
  std::vector<std::string> heard() {
    std::vector<std::string> values;
    for (waiting.list(); !waiting.empty(); waiting.list()) values.push_back(waiting.take());
    return values;
  }

  // Two threads poll at once, of which one may be refused at any time. `poll` says how many
  // messages it got.
  template <typename Poll>
  void expectAllPolledByTwoThreads(Poll poll) {
    constexpr unsigned kMessages = 2000;
    std::atomic<unsigned> got{0};
    const auto work = [&] {
      while (got < kMessages) got += poll();
    };
    std::thread first(work), second(work);
    for (unsigned i = 0; i < kMessages; ++i) says(R"({"Context":"C","Message":"Key Down"})");
    first.join();
    second.join();
    EXPECT_EQ(got, kMessages);
  }

  simdb toXPlane{"ToXPlane", 2048, 4096, false};
  simdb fromXPlane{"FromXPlane", 2048, 4096, false};

 private:
  PendingKeys waiting{fromXPlane};
  std::uint32_t said = 0;
};
