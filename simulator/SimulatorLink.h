// The simulator's end of the link: both stores, their keys, the handshake and the heartbeat.
//
// A simulator plug-in uses it as it is. It has no thread: call poll from the simulator's own loop,
// as often as a press should be noticed and at least twice a second, and act on the messages.
//
//   velomar::SimulatorLink link;
//   // in the loop:
//   for (const nlohmann::json& message : velomar::MessageGroup::split(link.poll())) {
//     handle(message);
//   }
//   if (link.isUp()) link.send(nlohmann::json{{"Message", "Set Title"}, {"Context", "C1"}, ...});
//
// MessageGroup takes the texts apart and joins them, and Deliveries knows which images and layouts
// have to be sent whole.
//
// Threads: any, one at a time. A call of poll, send or close during another thread's call throws
// std::logic_error and does nothing else. Only one process at a time may be this end of the link.
#pragma once

#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace velomar {

class SimulatorLink {
 public:
  using Clock = std::chrono::steady_clock;

  // The panel gives the link up after 10001 ms without a message from here, and it writes at least
  // every 2.5 s itself.
  static constexpr std::chrono::milliseconds kHeartbeatInterval{2500};
  static constexpr std::chrono::milliseconds kSilenceLimit{10000};

  // Whether to drop or deliver presses, turns and taps that were made before the panel knew this
  // one. They may have waited for minutes, and delivering them could mean gear up on the ground.
  enum class LateInput { Drop, Deliver };

  // Opens or creates both stores. Throws std::runtime_error, with the store's name, code and
  // reason, if one of them can't be opened.
  explicit SimulatorLink(LateInput lateInput = LateInput::Drop);
  ~SimulatorLink();

  SimulatorLink(const SimulatorLink&) = delete;
  SimulatorLink& operator=(const SimulatorLink&) = delete;

  // Takes every message that waits, in the order of writing, answers the handshake, and keeps the
  // link up. Returns the JSON messages. The first group after the link came up lists every device
  // and context, and asks for the state of all of them. Input that comes before it is late.
  std::vector<std::string> poll();

  // Returns whether the panel's Hello was answered with a Welcome, and the panel has written within
  // kSilenceLimit. It may have gone since its Hello: see isAnybodyThere.
  bool isUp() const;

  // Returns whether the panel has answered the welcome, and has written within the time in which it
  // writes twice when it is alive.
  bool isAnybodyThere() const;

  // Writes one message. False: the store is full, or closed, and nothing was written. Messages
  // written while the link is down wait in the store. The overload for a message raises the JSON
  // library's error for a string that isn't UTF-8, and writes nothing then.
  bool send(const nlohmann::json& message);
  bool send(const std::string& text);
  bool send(const char* text) { return send(std::string(text)); }

  // Gives both stores back, which the destructor does too. The object stays down from then on. The
  // panel isn't told: it goes blank after the time of silence.
  void close();

 private:
  class State;
  std::unique_ptr<State> state;
};

}  // namespace velomar
