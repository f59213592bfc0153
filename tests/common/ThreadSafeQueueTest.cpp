#include "common/ThreadSafeQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

TEST(ThreadSafeQueue, HandsElementsOnInOrderAndKeepsTheFrontUntilPopped) {
  ThreadSafeQueue<std::string> queue;
  const std::string text = "an element long enough to live on the heap";
  std::string pushed = text;
  queue.push(std::move(pushed));
  EXPECT_EQ(pushed, text) << "push copies";  // NOLINT(bugprone-use-after-move)
  std::string& front = queue.front();
  for (int i = 0; i < 1000; ++i) queue.push(std::to_string(i));
  EXPECT_EQ(&queue.front(), &front) << "pushes must not move what the consumer is using";
  EXPECT_EQ(front, text);
  EXPECT_EQ(queue.size(), 1001U);
  queue.pop();
  for (int i = 0; i < 1000; ++i, queue.pop()) ASSERT_EQ(queue.front(), std::to_string(i));
  EXPECT_EQ(queue.size(), 0U);
}

TEST(ThreadSafeQueue, FrontWaitsForManyProducersWhoLoseNothingAndEachKeepItsOrder) {
  constexpr int kProducers = 4;
  constexpr int kEach = 5000;
  ThreadSafeQueue<int> queue;
  std::atomic<int> taken{0};
  std::vector<std::thread> producers;
  for (int producer = 0; producer < kProducers; ++producer) {
    producers.emplace_back([&, producer] {
      for (int i = 0; i < kEach; ++i) {
        // No more than a few elements ahead, so that the queue runs empty time and again.
        while (taken < (i - 1) * kProducers) std::this_thread::yield();
        queue.push(i * kProducers + producer);
      }
    });
  }
  std::vector<int> next(kProducers, 0);
  bool inOrder = true;
  for (; taken < kProducers * kEach; ++taken, queue.pop()) {
    const int element = queue.front();
    int& expected = next[static_cast<std::size_t>(element % kProducers)];
    inOrder = inOrder && element / kProducers == expected++;
  }
  for (auto& producer : producers) producer.join();
  EXPECT_TRUE(inOrder);
  EXPECT_EQ(queue.size(), 0U);
}

}  // namespace
