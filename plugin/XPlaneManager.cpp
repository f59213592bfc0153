// The link's thread: passes, handshake, output. The messages have a file of their own.
#include "plugin/XPlaneManager.h"

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <exception>
#include <sstream>
#include <utility>

#include "StreamDeckSDK/ESDLogger.h"
#include "common/Helpers.h"
#include "common/LinkProtocol.h"
#include "plugin/Velomar.h"

using nlohmann::json;
namespace protocol = velomar::protocol;

namespace {

class SystemClock : public LinkClock {
 public:
  std::int64_t now() override { return getElapsedMilliSeconds(); }
  void pauseFor(std::int64_t milliseconds) override {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  }
};

// Ten digits make the order of strings the order of numbers.
std::string formatKey(std::uint64_t number) {
  char key[24];
  std::snprintf(key, sizeof key, "%010" PRIu64, number);
  return key;
}

template <typename Element>
void discard(ThreadSafeQueue<Element>& queue) {
  while (queue.size() > 0) queue.pop();
}

bool reportOpen(const char* name, const simdb& store) {
  if (store.openError() == SIMDB_OK) return true;
  ESDLogWithContext(__FILE__, "Can't open the store {}, code {}: {}", std::string(name),
                    static_cast<int>(store.openError()), store.openFault());
  return false;
}

}  // namespace

LinkClock& LinkClock::system() {
  static SystemClock sSystem;
  return sSystem;
}

XPlaneManager* XPlaneManager::pInstance = nullptr;
std::atomic<bool> XPlaneManager::connected{false};

XPlaneManager* XPlaneManager::getInstance(LinkClock& clock) {
  if (pInstance == nullptr) new XPlaneManager(clock);
  return pInstance;
}

XPlaneManager::XPlaneManager(LinkClock& linkClock) : clock(linkClock) {
  connected.store(false, std::memory_order_relaxed);
  toXPlane = std::make_unique<simdb>(protocol::kToXPlane, protocol::kBlockSize,
                                     protocol::kBlockCount, false);
  fromXPlane = std::make_unique<simdb>(protocol::kFromXPlane, protocol::kBlockSize,
                                       protocol::kBlockCount, false);
  // The thread may run before this constructor returns, and what it calls posts through pInstance.
  pInstance = this;
  start();
}

XPlaneManager::~XPlaneManager() {
  if (managerThread) stop();
  pInstance = nullptr;
  toXPlane.reset();
  fromXPlane.reset();
}

void XPlaneManager::start() {
  managerThread = std::make_unique<std::thread>(startManager, this);
}

void XPlaneManager::stop() {
  stopRequested.store(true, std::memory_order_relaxed);
  managerThread->join();
  managerThread.reset();
}

int XPlaneManager::sendData(std::string data) {
  textQueue.push(std::move(data));
  return 0;
}

void XPlaneManager::startManager(XPlaneManager* manager) {
  manager->lastReceiveTime = manager->lastSendTime = manager->clock.now();
  manager->clock.pauseFor(protocol::kStartPauseMs);
  ESDLogWithContext(__FILE__, "....");
  ESDLogWithContext(__FILE__, "Starting Velomar Stream Deck Plugin 1.5.1");
  ESDLogWithContext(__FILE__, "Starting XPlane Manager");
  if (!manager->storesAreOpen()) {
    manager->discardUntilStopped();
    return;
  }

  Passes passes{PendingKeys(*manager->fromXPlane)};
  while (!manager->stopRequested.load(std::memory_order_relaxed)) {
    try {
      manager->runPasses(passes);
    } catch (const std::exception& e) {
      ESDLogWithContext(__FILE__, "Got some error, disconnecting. Msg: {}", e.what());
    }
    connected.store(false, std::memory_order_relaxed);
    manager->clock.pauseFor(protocol::kErrorPauseMs);
  }
}

// Without both stores there is no link in this run. The host is served all the same, and messages
// posted for the simulator must not pile up.
void XPlaneManager::discardUntilStopped() {
  while (!stopRequested.load(std::memory_order_relaxed)) {
    discard(jsonQueue);
    discard(textQueue);
    clock.pauseFor(protocol::kErrorPauseMs);
  }
}

bool XPlaneManager::storesAreOpen() const {
  const bool toIsOpen = reportOpen(protocol::kToXPlane, *toXPlane);
  return reportOpen(protocol::kFromXPlane, *fromXPlane) && toIsOpen;
}

void XPlaneManager::runPasses(Passes& passes) {
  do {
    passes.pendingKeys.list();
    if (!passes.pendingKeys.empty()) takeOne(passes);
    if (!isConnected() && !passes.helloSent) sayHello(passes);
    checkTimeout();
    if (isConnected()) drainQueues();
    processOutput();
    if (!isBusy(passes.pendingKeys)) clock.pauseFor(kIdlePauseMs);
  } while (!stopRequested.load(std::memory_order_relaxed));
}

// The key is gone from the store and from the pending ones before its value is handled, so that a
// bad message can't come up twice.
void XPlaneManager::takeOne(Passes& passes) {
  handleValue(passes.pendingKeys.take(), passes);
  lastReceiveTime = clock.now();
}

void XPlaneManager::handleValue(std::string value, Passes& passes) {
  if (value == protocol::kHeartbeat) {
    lastReceiveTime = clock.now();
  } else if (value == protocol::kWelcome) {
    connected.store(true, std::memory_order_relaxed);
    passes.helloSent = false;
    lastReceiveTime = clock.now();
    Velomar::getInstance()->resendAll();
    ESDLogWithContext(__FILE__, "Got Welcome Message");
  } else if (value == protocol::kHello) {
    ESDLogWithContext(__FILE__, "Got Hello Message, sending another Hello");
    textQueue.push(protocol::kHello);
    passes.helloSent = true;
  } else {
    processMessage(std::move(value));
  }
}

// Sent once, not again and again: the value waits in the store until the peer takes it.
void XPlaneManager::sayHello(Passes& passes) {
  textQueue.push(protocol::kHello);
  passes.helloSent = true;
  ESDLogWithContext(__FILE__, "Sent Hello");
}

void XPlaneManager::checkTimeout() {
  if (!isConnected() || clock.now() - lastReceiveTime < protocol::kReceiveTimeoutMs) return;
  ESDLogWithContext(__FILE__, "No Heartbeat, disconnected");
  Velomar::getInstance()->resetAllContexts();
  connected.store(false, std::memory_order_relaxed);
  discard(jsonQueue);
  discard(textQueue);
}

void XPlaneManager::drainQueues() {
  if (clock.now() - lastSendTime >= protocol::kHeartbeatIntervalMs) {
    textQueue.push(protocol::kHeartbeat);
    lastSendTime = clock.now();
  }
  while (jsonQueue.size() > 0) {
    std::ostringstream text;
    text << jsonQueue.front();
    textQueue.push(text.str());
    jsonQueue.pop();
  }
}

void XPlaneManager::processOutput() {
  while (textQueue.size() > 0) {
    // A store without room loses the value, and its number with it.
    (void)toXPlane->put(formatKey(++sequenceNumber), textQueue.front());
    lastSendTime = clock.now();
    textQueue.pop();
  }
}

bool XPlaneManager::isBusy(const PendingKeys& pendingKeys) {
  return isConnected() && (jsonQueue.size() > 0 || !pendingKeys.empty() || textQueue.size() > 0);
}
