// The link to the simulator's side: two shared-memory stores, two queues and one thread.
//
// The link thread takes at most one message in a pass from "FromXPlane", keeps the handshake, moves
// queued messages into "ToXPlane" and sleeps 10 ms when there is nothing to do. It brings itself
// back: after silence, after a bad message, and after either side was restarted. Its only report is
// the log.
//
// Threads: jsonQueue's push, isConnected and sendData from anywhere; the constructor, getInstance,
// start, stop and the destructor on the main thread; everything else is the link thread's own.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "common/ThreadSafeQueue.h"
#include "store/PendingKeys.h"
#include "store/simdb.h"

class Velomar;

// The link's clock and its pauses. A test may give the link another one, to let minutes pass at
// once.
class LinkClock {
 public:
  // The machine's own. Lives as long as the process.
  static LinkClock& system();

  virtual ~LinkClock() = default;
  virtual std::int64_t now() = 0;                        // milliseconds, monotonic
  virtual void pauseFor(std::int64_t milliseconds) = 0;  // blocks the calling thread
};

class XPlaneManager {
 public:
  static constexpr std::int64_t kIdlePauseMs = 10;

  // Null until the first getInstance. Velomar posts only if it is set.
  static XPlaneManager* pInstance;

  // The one instance, made by the first call: opens both stores and starts the link thread. The
  // clock isn't owned and outlives it.
  static XPlaneManager* getInstance(LinkClock& clock = LinkClock::system());
  static bool isConnected() { return connected.load(std::memory_order_relaxed); }

  // Stops and joins the link thread, which takes the rest of a pause of 5 seconds, and closes the
  // stores, "ToXPlane" first. Messages that are still queued are dropped.
  ~XPlaneManager();

  XPlaneManager(const XPlaneManager&) = delete;
  XPlaneManager& operator=(const XPlaneManager&) = delete;

  void start();
  // REQUIRES: start was called, and stop wasn't.
  void stop();

  // Queues a value for "ToXPlane", whatever the link's state. Returns 0. Any thread.
  int sendData(std::string data);

  // Handles one message that is no handshake word. Raises what the JSON library raises, and
  // std::runtime_error for a text or a group that nests too deeply; a message with a bad member
  // changes nothing. A group is handled member by member, and ends at the first that raises.
  void processMessage(std::string text);

  ThreadSafeQueue<nlohmann::json> jsonQueue;  // waits for the link to come up

 private:
  // State that lives as long as the link thread.
  struct Passes {
    PendingKeys pendingKeys;
    bool helloSent = false;  // since the last "{Welcome}"
  };

  explicit XPlaneManager(LinkClock& clock);

  static void startManager(XPlaneManager* manager);
  bool storesAreOpen() const;
  void discardUntilStopped();
  void runPasses(Passes& passes);
  void takeOne(Passes& passes);
  void handleValue(std::string value, Passes& passes);
  void sayHello(Passes& passes);
  void checkTimeout();
  void drainQueues();
  void processOutput();
  bool isBusy(const PendingKeys& pendingKeys);
  static void handleMessage(nlohmann::json& message, int groupDepth);
  static void handleGroup(nlohmann::json& message, int groupDepth);

  LinkClock& clock;                        // not owned
  ThreadSafeQueue<std::string> textQueue;  // store values, ready to be written
  std::atomic<bool> stopRequested{false};  // publishes nothing else, as connected: relaxed order
  std::unique_ptr<std::thread> managerThread;
  std::unique_ptr<simdb> toXPlane;
  std::unique_ptr<simdb> fromXPlane;
  std::uint64_t sequenceNumber = 0;  // of the last key written to "ToXPlane"
  std::int64_t lastReceiveTime = 0;  // ms, by the clock
  std::int64_t lastSendTime = 0;     // ms, by the clock

  static std::atomic<bool> connected;  // written by the link thread only
};
