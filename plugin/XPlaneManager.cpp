// The link's thread: passes, handshake, output. What a message does has a file of its own.
#include "plugin/XPlaneManager.h"

#include <cinttypes>
#include <cstdio>
#include <exception>
#include <sstream>
#include <utility>

#include "StreamDeckSDK/ESDLogger.h"
#include "plugin/LinkClock.h"
#include "plugin/Velomar.h"
#include "store/PendingKeys.h"

using nlohmann::json;

namespace {

constexpr char kHello[] = "{Hello}";
constexpr char kWelcome[] = "{Welcome}";
constexpr char kHeartbeat[] = "{Heartbeat}";

constexpr char kToXPlane[] = "ToXPlane";
constexpr char kFromXPlane[] = "FromXPlane";

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
  ESDLogWithContext(__FILE__, "Can't open the store {}, code {}", std::string(name),
                    static_cast<int>(store.openError()));
  return false;
}

}  // namespace

XPlaneManager* XPlaneManager::pInstance = nullptr;
std::atomic<bool> XPlaneManager::connected{false};

XPlaneManager* XPlaneManager::getInstance() {
  if (pInstance == nullptr) new XPlaneManager();
  return pInstance;
}

XPlaneManager::XPlaneManager() {
  connected = false;
  toXPlane = std::make_unique<simdb>(kToXPlane, kBlockSize, kBlockCount, false);
  fromXPlane = std::make_unique<simdb>(kFromXPlane, kBlockSize, kBlockCount, false);
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
  stopRequested = true;
  managerThread->join();
  managerThread.reset();
}

int XPlaneManager::sendData(std::string data) {
  textQueue.push(std::move(data));
  return 0;
}

void XPlaneManager::startManager(XPlaneManager* manager) {
  manager->lastReceiveTime = manager->lastSendTime = LinkClock::now();
  LinkClock::pauseFor(kStartPauseMs);
  ESDLogWithContext(__FILE__, "....");
  ESDLogWithContext(__FILE__, "Starting Velomar Stream Deck Plugin 1.5.1");
  ESDLogWithContext(__FILE__, "Starting XPlane Manager");
  // Without both stores there is no link in this run. The host is served all the same.
  if (!manager->storesAreOpen()) return;

  PendingKeys pendingKeys(*manager->fromXPlane);
  bool helloSent = false;
  while (!manager->stopRequested) {
    try {
      manager->runPasses(pendingKeys, helloSent);
    } catch (const std::exception& e) {
      ESDLogger::LogMessage(__FILE__,
                            std::string("Got some error, disconnecting. Msg: ") + e.what());
    }
    connected = false;
    LinkClock::pauseFor(kErrorPauseMs);
  }
}

bool XPlaneManager::storesAreOpen() const {
  const bool toIsOpen = reportOpen(kToXPlane, *toXPlane);
  return reportOpen(kFromXPlane, *fromXPlane) && toIsOpen;
}

void XPlaneManager::runPasses(PendingKeys& pendingKeys, bool& helloSent) {
  do {
    pendingKeys.list();
    if (!pendingKeys.empty()) takeOne(pendingKeys, helloSent);
    if (!connected && !helloSent) sayHello(helloSent);
    checkTimeout();
    if (connected) drainQueues();
    processOutput();
    if (!isBusy(pendingKeys)) LinkClock::pauseFor(kIdlePauseMs);
  } while (!stopRequested);
}

// The key is gone from the store and from the pending ones before its value is handled, so that a
// bad message can't come up twice.
void XPlaneManager::takeOne(PendingKeys& pendingKeys, bool& helloSent) {
  handleValue(pendingKeys.take(), helloSent);
  lastReceiveTime = LinkClock::now();
}

void XPlaneManager::handleValue(std::string value, bool& helloSent) {
  if (value == kHeartbeat) {
    lastReceiveTime = LinkClock::now();
  } else if (value == kWelcome) {
    connected = true;
    helloSent = false;
    lastReceiveTime = LinkClock::now();
    Velomar::getInstance()->resendAll();
    ESDLogWithContext(__FILE__, "Got Welcome Message");
  } else if (value == kHello) {
    ESDLogWithContext(__FILE__, "Got Hello Message, sending another Hello");
    textQueue.push(kHello);
    helloSent = true;
  } else {
    processMessage(std::move(value));
  }
}

// Said once, not again and again: the value waits in the store until the peer takes it.
void XPlaneManager::sayHello(bool& helloSent) {
  textQueue.push(kHello);
  helloSent = true;
  ESDLogWithContext(__FILE__, "Sent Hello");
}

void XPlaneManager::checkTimeout() {
  if (!connected || LinkClock::now() - lastReceiveTime < kReceiveTimeoutMs) return;
  ESDLogWithContext(__FILE__, "No Heartbeat, disconnected");
  Velomar::getInstance()->resetAllContexts();
  connected = false;
  discard(jsonQueue);
  discard(textQueue);
}

void XPlaneManager::drainQueues() {
  if (LinkClock::now() - lastSendTime >= kHeartbeatIntervalMs) {
    textQueue.push(kHeartbeat);
    lastSendTime = LinkClock::now();
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
    lastSendTime = LinkClock::now();
    textQueue.pop();
  }
}

bool XPlaneManager::isBusy(const PendingKeys& pendingKeys) {
  return connected && (jsonQueue.size() > 0 || !pendingKeys.empty() || textQueue.size() > 0);
}
