// An unbounded first-in-first-out queue between threads: one mutex, one condition variable.
//
// Any number of threads may push. One consumer at a time may call front and pop: the reference that
// front returns is used outside the mutex and is good until the next pop. Pushes don't disturb it,
// because a deque keeps references valid when it grows at an end.
//
// There is no shutdown: front on an empty queue waits for a push that may never come. A consumer
// that must not block asks size first.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>

template <typename Element>
class ThreadSafeQueue {
 public:
  // Appends a copy of the element, which is left as it was, and wakes one waiter. If the copy
  // throws, the queue is unchanged and the exception passes to the caller.
  void push(Element&& element) {
    {
      std::lock_guard<std::mutex> lock(mutex);
      // A copy on purpose: callers may go on using what they pushed.
      queue.push_back(static_cast<const Element&>(element));
    }
    condition.notify_one();
  }

  // The oldest element, which stays in the queue. Waits while there is none.
  Element& front() {
    std::unique_lock<std::mutex> lock(mutex);
    condition.wait(lock, [this] { return !queue.empty(); });
    return queue.front();
  }

  // Removes the oldest element. REQUIRES: there is one.
  void pop() {
    std::lock_guard<std::mutex> lock(mutex);
    queue.pop_front();
  }

  // The count at the moment of the call.
  std::size_t size() {
    std::lock_guard<std::mutex> lock(mutex);
    return queue.size();
  }

 private:
  std::mutex mutex;
  std::condition_variable condition;
  std::deque<Element> queue;
};
