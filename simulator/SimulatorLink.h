// The simulator's end of the link: both stores, their keys, the handshake and the heartbeat.
//
// A simulator plug-in takes it as it is. It has no thread: call poll from the simulator's own loop,
// as often as a press should be noticed and at least twice a second, and act on what comes back.
//
//   SimulatorLink link;
//   // in the loop:
//   for (const std::string& message : link.poll()) handle(message);
//   if (link.isUp()) link.send(R"({"Message":"Set Title","Context":"C1","Title":"GEAR"})");
//
// MessageGroup takes the texts apart and puts them together, and Deliveries knows which images and
// layouts have to be sent whole.
//
// One thread uses an object, and one process at a time stands at this end of the stores.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "store/PendingKeys.h"
#include "store/simdb.h"

class SimulatorLink {
 public:
  using Clock = std::chrono::steady_clock;

  // The panel's end gives the link up after 10001 ms without a message from here, and it writes at
  // least every 2.5 s itself.
  static constexpr std::chrono::milliseconds kHeartbeatInterval{2500};
  static constexpr std::chrono::milliseconds kSilenceLimit{10000};

  // Opens or creates both stores. Throws std::runtime_error, with the store's name and code, if one
  // of them can't be opened.
  SimulatorLink();

  // Takes every message that waits, in the order of writing, answers the handshake, and keeps the
  // link up. Returns the JSON messages. The first group after the link came up lists every device
  // and context, and asks for the state of all of them.
  std::vector<std::string> poll();

  // Whether the panel's end has been welcomed and heard of since.
  bool isUp() const { return up; }

  // Writes one message, a JSON text. False: the store is full, and nothing was written.
  bool send(const std::string& message);

 private:
  void take(const std::string& value, std::vector<std::string>& messages);
  void keepUp(Clock::time_point now);

  simdb toXPlane;    // read here
  simdb fromXPlane;  // written here
  PendingKeys waiting;
  bool up = false;
  bool started = false;
  std::uint64_t lastKey = 0;
  Clock::time_point lastReceived;
  Clock::time_point lastSent;
};
