#include "simulator/SimulatorLink.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "common/LinkProtocol.h"
#include "simulator/MessageGroup.h"
#include "simulator/OneAtATime.h"
#include "store/PendingKeys.h"
#include "store/simdb.h"

using nlohmann::json;

namespace velomar {
namespace {

static_assert(SimulatorLink::kHeartbeatInterval.count() * 2 < protocol::kReceiveTimeoutMs);
static_assert(SimulatorLink::kSilenceLimit.count() > protocol::kHeartbeatIntervalMs * 2);

// A panel that is alive writes at least twice within this time.
constexpr std::chrono::milliseconds kSignsOfLife{2 * protocol::kHeartbeatIntervalMs + 500};

// A Hello that comes within this time after a Welcome, and before the answer to it, was said before
// the panel had taken the Welcome: a panel that starts or fails pauses for longer before its Hello.
constexpr std::chrono::milliseconds kWelcomeUnderWay{2000};
static_assert(kWelcomeUnderWay.count() < protocol::kStartPauseMs &&
              kWelcomeUnderWay.count() < protocol::kErrorPauseMs);

void requireOpen(const char* name, const simdb& store) {
  if (store.openError() == SIMDB_OK) return;
  throw std::runtime_error(std::string("can't open the store ") + name + ", code " +
                           std::to_string(store.openError()) + ": " + store.openFault());
}

std::uint64_t wallClockMicroseconds() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

bool isApiVersion(const json& message) {
  return message.at("Message") == protocol::from_panel::kApiVersion;
}

bool isInput(const json& message) {
  using namespace protocol::from_panel;
  const std::array<std::string_view, 6> names{kKeyDown, kKeyUp,         kDialDown,
                                              kDialUp,  kEncoderRotate, kTouchTap};
  const auto& name = message.at("Message").get_ref<const std::string&>();
  return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

class SimulatorLink::State {
 public:
  explicit State(LateInput wanted);

  std::vector<std::string> poll();
  bool send(const std::string& value);
  void close();

  bool up = false;
  bool isAnswered = false;  // the last Welcome: "API Version" has come since
  Clock::time_point lastReceived = Clock::now();
  OneAtATime::Flag inUse = ATOMIC_FLAG_INIT;

 private:
  void take(std::string value, std::vector<std::string>& messages);
  void takeHello();
  void deliver(std::string text, std::vector<std::string>& messages);
  void welcome();
  void keepUp(Clock::time_point now);

  simdb toXPlane{protocol::kToXPlane, protocol::kBlockSize, protocol::kBlockCount, false};
  simdb fromXPlane{protocol::kFromXPlane, protocol::kBlockSize, protocol::kBlockCount, false};
  PendingKeys waiting{toXPlane};
  const LateInput lateInput;
  bool isOpen = true;
  bool hasAnnounced = false;
  bool isAsked = false;  // a Hello waits for its Welcome
  std::uint64_t lastKey = 0;
  Clock::time_point lastSent = Clock::now();
  Clock::time_point lastWelcome;
};

SimulatorLink::State::State(LateInput wanted) : lateInput(wanted) {
  requireOpen(protocol::kToXPlane, toXPlane);
  requireOpen(protocol::kFromXPlane, fromXPlane);
}

// The Welcome goes out after everything that waits has been taken, so that nothing taken before can
// be mistaken for its answer.
std::vector<std::string> SimulatorLink::State::poll() {
  std::vector<std::string> messages;
  if (!isOpen) return messages;
  waiting.list();
  for (auto left = protocol::kBlockCount; !waiting.empty() && left > 0; --left) {
    take(waiting.take(), messages);
    waiting.list();
  }
  if (isAsked) welcome();
  keepUp(Clock::now());
  return messages;
}

void SimulatorLink::State::take(std::string value, std::vector<std::string>& messages) {
  lastReceived = Clock::now();
  if (value == protocol::kHello) {
    takeHello();
  } else if (!value.empty() && value != protocol::kHeartbeat) {
    deliver(std::move(value), messages);
  }
}

// One Welcome answers all Hellos that were said before the panel could take it, because with each
// Welcome the panel lists everything again.
void SimulatorLink::State::takeHello() {
  if (up && !isAnswered && lastReceived - lastWelcome < kWelcomeUnderWay) return;
  isAsked = true;
  isAnswered = false;
}

// Input that comes before the answer to the Welcome was meant for an earlier run, or has waited.
void SimulatorLink::State::deliver(std::string text, std::vector<std::string>& messages) {
  if (isAnswered) {
    messages.push_back(std::move(text));
    return;
  }
  std::vector<json> parts = MessageGroup::split(text);
  isAnswered = up && !isAsked && std::any_of(parts.begin(), parts.end(), isApiVersion);
  const bool dropsInput = !isAnswered && lateInput == LateInput::Drop;
  if (!dropsInput || std::none_of(parts.begin(), parts.end(), isInput)) {
    messages.push_back(std::move(text));
    return;
  }
  parts.erase(std::remove_if(parts.begin(), parts.end(), isInput), parts.end());
  if (!parts.empty()) messages.push_back(MessageGroup::join(std::move(parts)));
}

// If the store has no room for the Welcome, the Hello stays unanswered until a later poll finds
// room.
void SimulatorLink::State::welcome() {
  if (!send(protocol::kWelcome)) return;
  isAsked = false;
  up = hasAnnounced = true;
  lastWelcome = lastSent;
}

void SimulatorLink::State::keepUp(Clock::time_point now) {
  if (up && now - lastReceived > kSilenceLimit) up = hasAnnounced = isAnswered = false;
  // An earlier run may have taken the panel's Hello, which the panel says only once.
  if (!hasAnnounced) hasAnnounced = send(protocol::kHello);
  if (up && now - lastSent >= kHeartbeatInterval) send(protocol::kHeartbeat);
}

// Keys have to sort in the order of sending, and after the keys that an earlier run has left in the
// store. So they count on from the wall clock at the start.
bool SimulatorLink::State::send(const std::string& value) {
  if (!isOpen) return false;
  lastKey = std::max(lastKey + 1, wallClockMicroseconds());
  char key[24];
  std::snprintf(key, sizeof key, "%020" PRIu64, lastKey);
  lastSent = Clock::now();
  return fromXPlane.put(key, value);
}

void SimulatorLink::State::close() {
  isOpen = up = isAnswered = false;
  toXPlane.close();
  fromXPlane.close();
}

SimulatorLink::SimulatorLink(LateInput lateInput) : state(std::make_unique<State>(lateInput)) {}
SimulatorLink::~SimulatorLink() = default;

std::vector<std::string> SimulatorLink::poll() {
  const OneAtATime inside(state->inUse);
  return state->poll();
}

bool SimulatorLink::isUp() const {
  return state->up;
}

bool SimulatorLink::isAnybodyThere() const {
  return state->isAnswered && Clock::now() - state->lastReceived < kSignsOfLife;
}

bool SimulatorLink::send(const json& message) {
  return send(message.dump());
}

bool SimulatorLink::send(const std::string& text) {
  const OneAtATime inside(state->inUse);
  return state->send(text);
}

void SimulatorLink::close() {
  const OneAtATime inside(state->inUse);
  state->close();
}

}  // namespace velomar
