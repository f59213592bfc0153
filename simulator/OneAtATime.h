// Refuses a second thread in an object that is for one thread at a time.
#pragma once

#include <atomic>
#include <stdexcept>

namespace velomar {

// Held while a thread is inside the object that owns the flag.
class OneAtATime {
 public:
  using Flag = std::atomic_flag;

  // Throws std::logic_error if another thread is inside.
  explicit OneAtATime(Flag& owned) : flag(owned) {
    // Acquire, so that this thread sees the changes of the one that was inside before. Pairs with
    // the release below.
    if (flag.test_and_set(std::memory_order_acquire)) {
      throw std::logic_error("the link is in use by another thread");
    }
  }
  ~OneAtATime() { flag.clear(std::memory_order_release); }

  OneAtATime(const OneAtATime&) = delete;
  OneAtATime& operator=(const OneAtATime&) = delete;

 private:
  Flag& flag;
};

}  // namespace velomar
