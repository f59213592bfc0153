#include "tools/deck/LinkWatch.h"

namespace {

using State = LinkWatch::State;

struct Saying {
  const char* start;
  State state;
};

// The beginnings of the log lines, after the name of the source file that they start with.
constexpr Saying kSayings[] = {
    {"Sent Hello", State::Awaited},
    {"Got Welcome Message", State::Up},
    {"No Heartbeat, disconnected", State::Silent},
    {"Got some error, disconnecting", State::Dropped},
    {"Can't open the store", State::Impossible},
};

// Seconds that the plug-in waits for a sign of life.
constexpr double kPatience = 10;

}  // namespace

bool LinkWatch::heard(const std::string& line, double now) {
  static const std::string kSource = "XPlaneManager.cpp: ";
  if (line.rfind(kSource, 0) != 0) return false;
  for (const Saying& saying : kSayings) {
    if (line.rfind(saying.start, kSource.size()) != kSource.size()) continue;
    // The plug-in says the same at its start and after a loss. After a loss the state stays what it
    // is, because that simulator is missed and not awaited.
    const bool wasThere = current == State::Silent || current == State::Dropped;
    if (saying.state == current || (saying.state == State::Awaited && wasThere)) return false;
    current = saying.state;
    start = current == State::Silent ? now - kPatience : now;
    return true;
  }
  return false;
}

void LinkWatch::begin(double now) {
  current = State::Awaited;
  start = now;
}

const char* LinkWatch::word() const {
  switch (current) {
    case State::Awaited:
      return "awaited";
    case State::Up:
      return "up";
    case State::Silent:
      return "silent";
    case State::Dropped:
      return "dropped";
    case State::Impossible:
      return "impossible";
    default:
      return "unknown";
  }
}
