#include "plugin/LinkClock.h"

#include <chrono>
#include <thread>

#include "common/Helpers.h"

namespace {

class SystemClock : public LinkClock {
 public:
  std::int64_t now() override { return getElapsedMilliSeconds(); }
  void pauseFor(std::int64_t milliseconds) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  }
};

}  // namespace

LinkClock& LinkClock::system() {
  static SystemClock sSystem;
  return sSystem;
}
