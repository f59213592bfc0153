#include "bridge/simulators/FlightGearSimulator.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <utility>

#include "bridge/simulators/Json.h"
#include "bridge/simulators/RemoteSimulator.h"
#include "bridge/simulators/RestClient.h"
#include "bridge/simulators/Timer.h"
#include "bridge/simulators/WebSocketClient.h"

using nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace bridge {

namespace {

// The pauses before FlightGear is asked again: at rest; for some rounds after a write or a command,
// whose effects may take a few frames; and the shortest one between two rounds.
constexpr milliseconds kRestingPause{1000};
constexpr milliseconds kLivelyPause{250};
constexpr milliseconds kShortestPause{50};
constexpr int kLivelyRounds = 4;

// How long an answer is waited for.
constexpr milliseconds kPatience{8000};
static_assert(kRestingPause + kPatience < Simulator::kLongestSilence);

constexpr milliseconds kListDeadline{30'000};

// Each round ends with a question for this node, whose answer ends the round, because answers come
// in the order of the questions. The node is always there and never has a value, so nothing else
// reports it.
const char* const kLastOfRound = "/sim";

// The path under which names are kept that no property with a value can have. It is never asked
// for.
const char* const kNameless = "";

// The names of the aircraft, the most exact first. FlightGear has some or all of them, by how the
// aircraft was loaded.
const char* const kAircraftNodes[] = {"/sim/aircraft-id", "/sim/aircraft", "/sim/description"};

// FlightGear writes some numbers as `inf` or `nan`, which isn't JSON. A quotation mark within a
// text is escaped, so the pattern can't match inside of one.
json parsed(const std::string& text) {
  json read = json::parse(text, nullptr, false);
  if (!read.is_discarded()) return read;
  static const std::regex kNoNumber("(\"value\":)-?(inf|nan)");
  return json::parse(std::regex_replace(text, kNoNumber, "$1null"), nullptr, false);
}

bool isFinite(const Value& value) {
  const double* const number = std::get_if<double>(&value);
  return number == nullptr || std::isfinite(*number);
}

bool isSame(const Value& a, const Value& b) {
  const double* const x = std::get_if<double>(&a);
  const double* const y = std::get_if<double>(&b);
  return a == b || (x != nullptr && y != nullptr && std::isnan(*x) && std::isnan(*y));
}

Value valueOf(const json& value) {
  if (value.is_boolean()) return value.get<bool>() ? 1.0 : 0.0;
  if (value.is_number()) return value.get<double>();
  if (value.is_string()) return value.get<std::string>();
  return std::nan("");
}

// nullopt: the node is a branch of the tree, which has no value.
std::optional<Value> reportedValue(const json& report) {
  const auto value = report.find("value");
  if (value == report.end()) {
    if (memberOf(report, "nChildren") != 0) return std::nullopt;
    return 0.0;
  }
  // FlightGear gives a property a type when it is first written. Until then a number from a file is
  // reported as a text.
  if (value->is_string() && memberOf(report, "type") == "unspecified") {
    const json read = json::parse(value->get_ref<const std::string&>(), nullptr, false);
    if (read.is_number() || read.is_boolean()) return valueOf(read);
  }
  return valueOf(*value);
}

// The paths of a node and of those below it that hold a value and contain the pattern.
std::vector<std::string> pathsWith(const std::string& pattern, const json& root) {
  std::vector<std::string> found;
  std::vector<const json*> waiting = {&root};
  while (!waiting.empty()) {
    const json& node = *waiting.back();
    waiting.pop_back();
    if (!node.is_object()) continue;
    const auto path = node.find("path");
    if (node.contains("value") && path != node.end() && path->is_string()) {
      const auto& text = path->get_ref<const std::string&>();
      if (text.find(pattern) != std::string::npos) found.push_back(text);
    }
    const auto children = node.find("children");
    if (children == node.end()) continue;
    for (const auto& child : *children) waiting.push_back(&child);
  }
  std::sort(found.begin(), found.end());
  return found;
}

class FlightGearSimulator final : public RemoteSimulator {
 public:
  FlightGearSimulator(asio::io_context& owner, Endpoint given)
      : RemoteSimulator(owner, std::move(given), "5480"),
        nextRound(owner),
        silence(owner),
        socket(owner, {[this] { ask(); }, [this](const std::string& text) { onText(text); },
                       [this](const std::string& reason) { onEnd(reason); }}) {}

  void follow(std::vector<std::string> values, std::vector<Command> /*all are known*/) override;
  void write(const std::string& name, const Value& value) override;
  void run(const Command& command) override;
  void hold(const Command& command) override { run(command); }
  void release(const Command& command) override {
    for (const Command& end : command.atRelease) run(end);
  }
  void listNames(const std::string& pattern, Names done) override;

 private:
  struct Node {
    std::vector<std::size_t> places;
    std::optional<Value> value;
    bool isThere = false;  // reported since the round began
    bool isAlone = true;   // asked for by itself in that round
    Told told = Told::Nothing;
  };

  void connect() override { socket.open(endpoint, "/PropertyListener"); }
  void ask();
  void askFor(const char* member, const json& paths);
  void askSoon();
  void onText(const std::string& text);
  void onRoundEnd();
  void tellAircraft();
  void tellNodes();
  void tell(Node& node);
  void listen();
  void onEnd(const std::string& reason);
  std::optional<std::string> faultIn(const Command& command) const;

  Timer nextRound;
  Timer silence;
  std::unique_ptr<RestClient> rest;  // made when first needed: it has a thread

  std::map<std::string, Node> nodes;  // those that are followed, by path

  // The state of the connection.
  bool isConnected = false;        // a round has ended
  bool isRoundOpen = false;        // asked, and not yet answered
  bool isRoundOutdated = false;    // the followed nodes have changed since it was asked
  bool isRoundWanted = false;      // as soon as that has ended
  int livelyRounds = 0;            // still to come
  steady_clock::time_point asked;  // when the last round began
  std::set<std::string> listened;  // paths with a listener
  std::map<std::string, std::string> aircraft;  // by path
  std::vector<std::string> toldAircraft;

  WebSocketClient socket;
};

void FlightGearSimulator::follow(std::vector<std::string> values, std::vector<Command>) {
  nodes.clear();
  for (std::size_t place = 0; place < values.size(); ++place) {
    const std::string path = propertyPath(values[place]).value_or(kNameless);
    nodes[path == kLastOfRound ? kNameless : path].places.push_back(place);
  }
  std::vector<std::string> unneeded;
  for (const auto& path : listened) {
    if (nodes.count(path) == 0) unneeded.push_back(path);
  }
  for (const auto& path : unneeded) {
    socket.send(textOf({{"command", "removeListener"}, {"node", path}}));
    listened.erase(path);
  }
  isRoundOutdated = true;
  if (isConnected) askSoon();
}

void FlightGearSimulator::write(const std::string& name, const Value& value) {
  if (!isConnected) return;
  const auto path = propertyPath(name);
  if (!path) return refuse("no property can be named \"" + name + "\"");
  if (!isFinite(value)) return refuse(name + " can't be set to what is no number");
  socket.send(textOf({{"command", "set"}, {"node", *path}, {"value", jsonOf(value)}}));
  livelyRounds = kLivelyRounds;
  askSoon();
}

void FlightGearSimulator::run(const Command& command) {
  if (!isConnected) return;
  if (const auto fault = faultIn(command)) return refuse(command.name + ": " + *fault);
  json children = json::array();
  for (const auto& [name, value] : command.arguments) {
    children.push_back({{"name", name}, {"value", jsonOf(value)}});
  }
  socket.send(textOf({{"command", "exec"}, {"fgcommand", command.name}, {"children", children}}));
  livelyRounds = kLivelyRounds;
  askSoon();
}

// Says why a command would stop FlightGear. nullopt: it wouldn't.
std::optional<std::string> FlightGearSimulator::faultIn(const Command& command) const {
  for (const auto& [name, value] : command.arguments) {
    if (!propertyPath(name)) return "no argument can be named \"" + name + "\"";
    if (!isFinite(value)) return name + " is no number";
    const std::string* const text = std::get_if<std::string>(&value);
    if (text != nullptr && name.rfind("property", 0) == 0 && !propertyPath(*text)) {
      return "no property can be named \"" + *text + "\"";
    }
  }
  return std::nullopt;
}

void FlightGearSimulator::listNames(const std::string& pattern, Names done) {
  if (!rest) rest = std::make_unique<RestClient>(context, endpoint);
  rest->get(
      "/json/?d=100",
      [pattern, done](const RestClient::Answer& answer) {
        if (answer.status != 200) {
          return done({}, answer.status == 0
                              ? answer.error
                              : "FlightGear answers " + std::to_string(answer.status));
        }
        const json tree = parsed(answer.body);
        done(pathsWith(pattern, tree), tree.is_discarded() ? "FlightGear's answer is no JSON" : "");
      },
      kListDeadline);
}

// FlightGear answers a list only up to the first node that isn't there. So only nodes that were
// there in the last round are asked for together.
void FlightGearSimulator::ask() {
  for (const char* const path : kAircraftNodes) askFor("node", path);
  json together = json::array();
  for (auto& [path, node] : nodes) {
    node.isAlone = !std::exchange(node.isThere, false);
    if (path == kNameless) continue;
    if (node.isAlone) {
      askFor("node", path);
    } else {
      together.push_back(path);
    }
  }
  if (!together.empty()) askFor("nodes", together);
  askFor("node", kLastOfRound);
  asked = steady_clock::now();
  isRoundOpen = true;
  isRoundOutdated = false;
  nextRound.cancel();
  silence.after(kPatience, [this] {
    socket.drop();
    onEnd("FlightGear does not answer");
  });
}

void FlightGearSimulator::askFor(const char* member, const json& paths) {
  socket.send(textOf({{"command", "get"}, {member, paths}}));
}

void FlightGearSimulator::askSoon() {
  isRoundWanted = isRoundOpen;
  if (isRoundOpen) return;
  const auto since = std::chrono::duration_cast<milliseconds>(steady_clock::now() - asked);
  if (since >= kShortestPause) return ask();
  nextRound.after(kShortestPause - since, [this] { ask(); });
}

void FlightGearSimulator::onText(const std::string& text) {
  const json report = parsed(text);
  if (!report.is_object()) return;
  const auto found = report.find("path");
  if (found == report.end() || !found->is_string()) return;
  const auto& path = found->get_ref<const std::string&>();
  if (path == kLastOfRound) return onRoundEnd();

  const auto value = reportedValue(report);
  if (!value) return;
  const bool isAircraft =
      std::count(std::begin(kAircraftNodes), std::end(kAircraftNodes), path) > 0;
  if (isAircraft && std::holds_alternative<std::string>(*value)) {
    aircraft[path] = std::get<std::string>(*value);
  }
  const auto node = nodes.find(path);
  if (node == nodes.end()) return;
  node->second.isThere = true;
  if (node->second.told == Told::Known && isSame(*node->second.value, *value)) return;
  node->second.value = value;
  if (isConnected) tell(node->second);
}

void FlightGearSimulator::onRoundEnd() {
  if (!isRoundOpen) return;
  isRoundOpen = false;
  silence.cancel();
  if (!isConnected) {
    isConnected = true;
    attempts.succeeded();
    observer->onConnected();
  }
  tellAircraft();
  // The observer may follow other nodes now. Then a new round is open, and a node that isn't there
  // may just not have been asked for yet.
  if (isRoundOpen) return;
  if (isRoundOutdated) return askSoon();
  tellNodes();
  listen();
  if (isRoundWanted) return askSoon();
  const bool isLively = livelyRounds > 0;
  if (isLively) --livelyRounds;
  nextRound.after(isLively ? kLivelyPause : kRestingPause, [this] { ask(); });
}

void FlightGearSimulator::tellAircraft() {
  std::vector<std::string> names;
  for (const char* const path : kAircraftNodes) {
    const auto name = aircraft.find(path);
    if (name == aircraft.end() || name->second.empty()) continue;
    if (std::count(names.begin(), names.end(), name->second) == 0) names.push_back(name->second);
  }
  aircraft.clear();  // a name that goes isn't reported
  if (names.empty() || names == toldAircraft) return;
  toldAircraft = names;
  observer->onAircraft(names);
}

void FlightGearSimulator::tellNodes() {
  for (auto& [path, node] : nodes) {
    if (!node.isThere && !node.isAlone) {
      isRoundWanted = true;  // another one of the list may be what is gone
      continue;
    }
    if (!node.isThere) node.value.reset();
    const bool isTold = node.told == (node.isThere ? Told::Known : Told::Unknown);
    if (!isTold) tell(node);
  }
}

void FlightGearSimulator::tell(Node& node) {
  node.told = node.value ? Told::Known : Told::Unknown;
  for (const std::size_t place : node.places) {
    if (node.value) {
      observer->onValue(place, *node.value);
    } else {
      observer->onValueUnknown(place);
    }
  }
}

// Only nodes that are there get a listener, because FlightGear would create any other. The next
// round finds the changes from before there was a listener.
void FlightGearSimulator::listen() {
  json paths = json::array();
  for (const auto& [path, node] : nodes) {
    if (node.isThere && listened.insert(path).second) paths.push_back(path);
  }
  if (paths.empty()) return;
  socket.send(textOf({{"command", "addListener"}, {"nodes", paths}}));
  isRoundWanted = true;
}

void FlightGearSimulator::onEnd(const std::string& reason) {
  nextRound.cancel();
  silence.cancel();
  isRoundOpen = false;
  livelyRounds = 0;
  listened.clear();
  aircraft.clear();
  toldAircraft.clear();
  for (auto& [path, node] : nodes) {
    const auto places = std::move(node.places);
    node = {};
    node.places = places;
  }
  attempts.later();
  tellEnd(reason, std::exchange(isConnected, false));
}

}  // namespace

std::unique_ptr<Simulator> makeFlightGear(asio::io_context& context, Endpoint endpoint) {
  return std::make_unique<FlightGearSimulator>(context, std::move(endpoint));
}

}  // namespace bridge
