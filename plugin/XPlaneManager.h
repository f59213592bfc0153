// The link to the simulator plug-in: two shared-memory stores, two queues and one thread.
//
// The link thread takes at most one message in a pass from "FromXPlane", keeps the handshake, moves
// queued messages into "ToXPlane" and sleeps 10 ms when there is nothing to do. It brings itself
// back: after silence, after a bad message, and after either side was restarted. Its only report is
// the log.
//
// Threads: push onto jsonQueue and isConnected from anywhere; the constructor, getInstance and the
// destructor on the main thread; everything else is the link thread's own.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>

#include "common/ThreadSafeQueue.h"
#include "store/simdb.h"

class PendingKeys;
class Velomar;

class XPlaneManager {
 public:
  static constexpr std::int64_t kStartPauseMs = 5000;
  static constexpr std::int64_t kErrorPauseMs = 5000;
  static constexpr std::int64_t kIdlePauseMs = 10;
  static constexpr std::int64_t kReceiveTimeoutMs = 10001;    // of silence, while connected
  static constexpr std::int64_t kHeartbeatIntervalMs = 2501;  // without a write, while connected
  static constexpr int kMaxGroupDepth = 64;
  static constexpr u32 kBlockSize = 2048;  // bytes
  static constexpr u32 kBlockCount = 4096;

  // Null until the first getInstance. Velomar posts only if it is set.
  static XPlaneManager* pInstance;

  // The one instance, made by the first call: opens both stores and starts the link thread.
  static XPlaneManager* getInstance();
  static bool isConnected() { return connected.load(std::memory_order_relaxed); }

  // Stops and joins the link thread, which takes the rest of a pause of 5 seconds, and closes the
  // stores, "ToXPlane" first. What is still queued is dropped.
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
  XPlaneManager();

  static void startManager(XPlaneManager* manager);
  bool storesAreOpen() const;
  void runPasses(PendingKeys& pendingKeys, bool& helloSent);
  void takeOne(PendingKeys& pendingKeys, bool& helloSent);
  void handleValue(std::string value, bool& helloSent);
  void sayHello(bool& helloSent);
  void checkTimeout();
  void drainQueues();
  void processOutput();
  bool isBusy(const PendingKeys& pendingKeys);
  static void handleMessage(nlohmann::json& message, int groupDepth);
  static void handleGroup(nlohmann::json& message, int groupDepth);

  ThreadSafeQueue<std::string> textQueue;  // store values, ready to be written
  std::atomic<bool> stopRequested{false};
  std::unique_ptr<std::thread> managerThread;
  std::unique_ptr<simdb> toXPlane;
  std::unique_ptr<simdb> fromXPlane;
  std::uint64_t sequenceNumber = 0;  // of the last key written to "ToXPlane"
  std::int64_t lastReceiveTime = 0;  // ms, LinkClock
  std::int64_t lastSendTime = 0;     // ms, LinkClock

  static std::atomic<bool> connected;  // written by the link thread only
};
