#include "simulator/SimulatorLink.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <stdexcept>

namespace {

constexpr u32 kBlockSize = 2048;
constexpr u32 kBlockCount = 4096;

constexpr char kHello[] = "{Hello}";
constexpr char kWelcome[] = "{Welcome}";
constexpr char kHeartbeat[] = "{Heartbeat}";

void requireOpen(const char* name, const simdb& store) {
  if (store.openError() == SIMDB_OK) return;
  throw std::runtime_error(std::string("can't open the store ") + name + ", code " +
                           std::to_string(store.openError()));
}

std::uint64_t wallClockMicroseconds() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

}  // namespace

SimulatorLink::SimulatorLink()
    : toXPlane("ToXPlane", kBlockSize, kBlockCount, false),
      fromXPlane("FromXPlane", kBlockSize, kBlockCount, false),
      waiting(toXPlane),
      lastReceived(Clock::now()),
      lastSent(Clock::now()) {
  requireOpen("ToXPlane", toXPlane);
  requireOpen("FromXPlane", fromXPlane);
}

std::vector<std::string> SimulatorLink::poll() {
  std::vector<std::string> messages;
  for (waiting.list(); !waiting.empty(); waiting.list()) take(waiting.take(), messages);
  keepUp(Clock::now());
  return messages;
}

void SimulatorLink::take(const std::string& value, std::vector<std::string>& messages) {
  lastReceived = Clock::now();
  if (value == kHello) {
    send(kWelcome);
    up = started = true;
  } else if (!value.empty() && value != kHeartbeat) {
    messages.push_back(value);
  }
}

void SimulatorLink::keepUp(Clock::time_point now) {
  if (up && now - lastReceived > kSilenceLimit) up = started = false;
  // The panel's end may have said its Hello to somebody before us, and it says it only once.
  if (!started) started = send(kHello);
  if (up && now - lastSent >= kHeartbeatInterval) send(kHeartbeat);
}

// Keys have to sort in the order of sending, also behind what an earlier run has left in the store.
// The wall clock at the start sees to that, a count goes on from there.
bool SimulatorLink::send(const std::string& message) {
  lastKey = std::max(lastKey + 1, wallClockMicroseconds());
  char key[24];
  std::snprintf(key, sizeof key, "%020" PRIu64, lastKey);
  lastSent = Clock::now();
  return fromXPlane.put(key, message);
}
