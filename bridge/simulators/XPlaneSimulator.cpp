#include "bridge/simulators/XPlaneSimulator.h"

#include <algorithm>
#include <asio/post.hpp>
#include <charconv>
#include <chrono>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "bridge/simulators/Json.h"
#include "bridge/simulators/RestClient.h"
#include "bridge/simulators/Timer.h"
#include "bridge/simulators/XPlaneNames.h"
#include "bridge/simulators/XPlaneSocket.h"
#include "bridge/simulators/XPlaneValues.h"

using nlohmann::json;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace bridge {

namespace {

// Unknown names are asked for again after this time.
constexpr milliseconds kUnknownPause{5000};

// X-Plane says nothing while nothing changes. So it is asked for something once it has been quiet
// for one to two times kQuietTime, and then has this long for its answer.
constexpr milliseconds kQuietTime{2000};
constexpr milliseconds kQuietDeadline{4000};
static_assert(2 * kQuietTime + kQuietDeadline < Simulator::kLongestSilence);
static_assert(2 * kQuietTime + RestClient::kDeadline < Simulator::kLongestSilence);

constexpr milliseconds kResultDeadline{8000};

// The aircraft's names, the most exact first.
const char* const kAircraftNames[] = {"sim/aircraft/view/acf_relative_path",
                                      "sim/aircraft/view/acf_ICAO",
                                      "sim/aircraft/view/acf_ui_name"};

enum class Told { nothing, unknown, known };

// A value that the observer follows.
struct Followed {
  std::size_t place;
  XPlaneElement element;
  std::optional<Value> value = std::nullopt;  // as told last
  Told told = Told::nothing;
  bool isUnknown = false;  // X-Plane doesn't know the name, or has no such element
};

// One dataref, with everything that follows it.
struct Dataref {
  std::optional<XPlaneName> known;
  bool isCurrent = false;            // known since the aircraft was loaded
  bool isAircraft = false;           // one of the aircraft's names
  bool isAsked = false;              // subscribed, or refused: not to be asked for again
  std::vector<std::size_t> indices;  // ascending; empty: the value as a whole
  std::vector<Value> values;         // one of each index, or the whole; empty: none has come
  std::vector<Followed> followers;
};

struct FollowedCommand {
  std::optional<XPlaneName> known;
  bool isCurrent = false;
  bool isUnknown = false;
  Told told = Told::nothing;
  std::vector<std::size_t> places;
};

class XPlaneSimulator final : public Simulator {
 public:
  XPlaneSimulator(asio::io_context& owner, const Endpoint& given)
      : context(owner),
        endpoint{given.host, given.port.empty() ? "8086" : given.port},
        alive(std::make_shared<char>()),
        rest(owner, endpoint),
        attempts(owner, [this] { connect(); }),
        nextSearch(owner),
        quiet(owner),
        socket(owner, {[this] { onOpened(); }, [this](const json& values) { onUpdate(values); },
                       [this](const std::string& reason) { fail(reason); }}) {
    follow({}, {});
  }

  void start(Observer& given) override {
    observer = &given;
    attempts.now();
  }

  void follow(std::vector<std::string> values, std::vector<Command> given) override;
  void write(const std::string& name, const Value& value) override;
  void run(const Command& command) override;
  void hold(const Command& command) override;
  void release(const Command& command) override;
  void listNames(const std::string& pattern, Names done) override;

 private:
  void connect();
  void onOpened();
  void watch();
  void askSocket(std::uint64_t id);
  void askServer();
  void fail(const std::string& reason);
  void forgetAll();

  void searchAll();
  void search();
  void takeDatarefs(const XPlaneNames& names);
  void takeCommands(const XPlaneNames& names);
  void prepare(Dataref& dataref);
  void onSearched();

  void subscribe();
  void subscribe(const std::vector<std::string>& names);
  void onRefusedSubscription(const std::vector<std::string>& names);
  void findLength(const std::string& name);
  void keepIndicesBelow(Dataref& dataref, std::size_t length);

  void onUpdate(const json& values);
  void tellAircraft();
  void tellAll();
  void tell(const Dataref& dataref, Followed& followed);
  void tell(FollowedCommand& command);

  // The command's id. nullopt: X-Plane doesn't know it; the observer has been told so.
  std::optional<std::uint64_t> idOf(const Command& command);
  void activate(const std::string& name, json entry);
  void refuse(const std::string& reason);
  std::string path(const std::string& end) const { return "/api/" + version + end; }
  bool hasCommands() const { return version != "v1"; }

  asio::io_context& context;
  const Endpoint endpoint;
  Observer* observer = nullptr;  // not owned
  std::shared_ptr<char> alive;   // for what is posted
  RestClient rest;
  std::unique_ptr<RestClient> lists;  // of all names; isn't told to forget. Made when first needed
  Attempts attempts;
  Timer nextSearch;
  Timer quiet;
  std::string refusal;  // the last reason told while there was no connection

  std::map<std::string, Dataref> datarefs;  // what is followed, and the aircraft's names
  std::map<std::string, FollowedCommand> commands;

  // Of the connection.
  bool isOpen = false;
  bool isConnected = false;  // the aircraft is known
  std::string version;
  unsigned subscription = 0;  // counts, so that the answers to an older one are recognised
  int openSearches = 0;
  steady_clock::time_point lastHeard;
  std::map<std::uint64_t, std::string> namesById;  // of what is subscribed
  std::map<std::string, std::uint64_t> held;       // commands, by name
  std::vector<std::string> aircraft;

  XPlaneSocket socket;
};

// ---- The connection

void XPlaneSimulator::connect() {
  rest.get("/api/capabilities", [this](const RestClient::Answer& answer) {
    // The first versions of the API can't tell what they are.
    if (answer.status != 200 && answer.status != 404) return fail(faultOf(answer));
    const json read = json::parse(answer.body, nullptr, false);
    version = "v1";
    for (const auto& offered : memberOf(memberOf(read, "api"), "versions")) {
      if (offered == "v2") version = "v2";
    }
    socket.open(endpoint, path(""));
  });
}

void XPlaneSimulator::onOpened() {
  isOpen = true;
  lastHeard = steady_clock::now();
  watch();
  searchAll();
}

void XPlaneSimulator::watch() {
  quiet.after(kQuietTime, [this] {
    if (steady_clock::now() - lastHeard < kQuietTime) return watch();
    const auto& aircraft = datarefs[kAircraftNames[0]].known;
    aircraft ? askSocket(aircraft->id) : askServer();
  });
}

// Tests the WebSocket, because the server may answer while that is dead, and values come over it
// only. The test subscribes to a text once more, which changes nothing.
void XPlaneSimulator::askSocket(std::uint64_t id) {
  quiet.after(kQuietDeadline, [this] { fail("X-Plane does not answer"); });
  socket.request("dataref_subscribe_values", {{"datarefs", json::array({{{"id", id}}})}},
                 [this](const std::string& /*any answer is one*/) { watch(); });
}

// Tests the server instead, because at the main menu there is nothing to subscribe to.
void XPlaneSimulator::askServer() {
  rest.get("/api/capabilities", [this](const RestClient::Answer& answer) {
    if (answer.status == 0 || answer.status == 403) return fail(faultOf(answer));
    watch();
  });
}

void XPlaneSimulator::fail(const std::string& reason) {
  socket.drop();
  rest.forget();
  nextSearch.cancel();
  quiet.cancel();
  isOpen = false;
  forgetAll();
  attempts.later();
  if (std::exchange(isConnected, false)) {
    refusal.clear();
    observer->onLost(reason);
  } else if (std::exchange(refusal, reason) != reason) {
    observer->onRefused(reason);
  }
}

void XPlaneSimulator::forgetAll() {
  ++subscription;
  namesById.clear();
  held.clear();
  aircraft.clear();
  for (auto& [name, dataref] : datarefs) {
    dataref.known.reset();
    dataref.isCurrent = false;
    dataref.values.clear();
    for (auto& followed : dataref.followers) {
      followed.isUnknown = false;
      followed.told = Told::nothing;
    }
  }
  for (auto& [name, command] : commands) {
    const auto places = std::move(command.places);
    command = {};
    command.places = places;
  }
}

// ---- Names

void XPlaneSimulator::follow(std::vector<std::string> values, std::vector<Command> given) {
  const auto oldDatarefs = std::exchange(datarefs, {});
  const auto oldCommands = std::exchange(commands, {});
  for (const char* const name : kAircraftNames) datarefs[name].isAircraft = true;
  for (std::size_t place = 0; place < values.size(); ++place) {
    XPlaneElement element(values[place]);
    datarefs[element.name].followers.push_back({place, element});
  }
  for (std::size_t place = 0; place < given.size(); ++place) {
    commands[given[place].name].places.push_back(place);
  }
  // An id holds as long as the connection.
  for (const auto& [name, old] : oldDatarefs) {
    const auto kept = datarefs.find(name);
    if (kept == datarefs.end()) continue;
    kept->second.known = old.known;
    kept->second.isCurrent = old.isCurrent;
  }
  for (const auto& [name, old] : oldCommands) {
    const auto kept = commands.find(name);
    if (kept == commands.end()) continue;
    kept->second.known = old.known;
    kept->second.isCurrent = old.isCurrent;
  }
  if (isOpen) searchAll();
}

// Asks for the ids of unknown names, then subscribes to all. It begins at the next turn of the
// loop, because several reasons for it come together.
void XPlaneSimulator::searchAll() {
  ++subscription;
  namesById.clear();
  for (auto& [name, dataref] : datarefs) dataref.isAsked = false;
  nextSearch.after(milliseconds(0), [this] {
    // Waits for the result, because two subscriptions to one array would be mixed up: values that
    // come before the result still belong to the old one.
    nextSearch.after(kResultDeadline, [this] { fail("X-Plane does not answer"); });
    socket.request("dataref_unsubscribe_values", {{"datarefs", "all"}},
                   [this, mine = subscription](const std::string&) {
                     if (mine == subscription) search();
                   });
  });
}

void XPlaneSimulator::search() {
  std::vector<std::string> values;
  for (const auto& [name, dataref] : datarefs) {
    if (!dataref.isCurrent) values.push_back(name);
  }
  std::vector<std::string> actions;
  for (const auto& [name, command] : commands) {
    if (!command.isCurrent && hasCommands()) actions.push_back(name);
  }
  const auto take = [this](auto takeNames) {
    return
        [this, takeNames, mine = subscription](const XPlaneNames& names, const std::string& error) {
          if (mine != subscription) return;
          if (!error.empty()) return fail(error);
          (this->*takeNames)(names);
          onSearched();
        };
  };
  nextSearch.cancel();
  openSearches = 2;
  findXPlaneNames(rest, path("/commands"), actions, take(&XPlaneSimulator::takeCommands));
  findXPlaneNames(rest, path("/datarefs"), values, take(&XPlaneSimulator::takeDatarefs));
}

void XPlaneSimulator::takeDatarefs(const XPlaneNames& names) {
  for (auto& [name, dataref] : datarefs) {
    if (!dataref.isCurrent) {
      const auto found = names.find(name);
      dataref.isCurrent = found != names.end();
      dataref.known.reset();
      if (dataref.isCurrent) dataref.known = found->second;
    }
    if (!dataref.isAsked) prepare(dataref);
  }
  subscribe();
}

void XPlaneSimulator::takeCommands(const XPlaneNames& names) {
  for (auto& [name, command] : commands) {
    if (command.isCurrent) continue;
    const auto found = names.find(name);
    command.isCurrent = found != names.end();
    command.isUnknown = !command.isCurrent;
    command.known.reset();
    if (command.isCurrent) command.known = found->second;
  }
}

// Finds the elements that have to be asked for.
void XPlaneSimulator::prepare(Dataref& dataref) {
  std::set<std::size_t> indices;
  for (auto& followed : dataref.followers) {
    followed.isUnknown = !dataref.known || !followed.element.isIn(*dataref.known);
    if (followed.isUnknown) continue;
    if (const auto index = followed.element.indexIn(*dataref.known)) indices.insert(*index);
  }
  dataref.indices.assign(indices.begin(), indices.end());
  dataref.values.clear();
}

// Unknown names are asked for again later: the aircraft that has them may still be loading.
void XPlaneSimulator::onSearched() {
  if (--openSearches > 0) return;
  tellAll();
  const auto isMissing = [](const auto& entry) { return !entry.second.isCurrent; };
  if (std::any_of(datarefs.begin(), datarefs.end(), isMissing) ||
      (hasCommands() && std::any_of(commands.begin(), commands.end(), isMissing))) {
    nextSearch.after(kUnknownPause, [this] { search(); });
  }
}

// ---- Subscriptions

void XPlaneSimulator::subscribe() {
  std::vector<std::string> names;
  for (auto& [name, dataref] : datarefs) {
    const bool isNeeded =
        dataref.isAircraft || std::any_of(dataref.followers.begin(), dataref.followers.end(),
                                          [](const auto& followed) { return !followed.isUnknown; });
    if (!dataref.known || dataref.isAsked || !isNeeded) continue;
    dataref.isAsked = true;
    namesById[dataref.known->id] = name;
    names.push_back(name);
  }
  if (!names.empty()) subscribe(names);
}

void XPlaneSimulator::subscribe(const std::vector<std::string>& names) {
  json list = json::array();
  for (const auto& name : names) {
    const Dataref& dataref = datarefs[name];
    list.push_back({{"id", dataref.known->id}});
    if (!dataref.indices.empty()) list.back()["index"] = dataref.indices;
  }
  socket.request("dataref_subscribe_values", {{"datarefs", list}},
                 [this, names, mine = subscription](const std::string& error) {
                   if (mine == subscription && !error.empty()) onRefusedSubscription(names);
                 });
}

// One bad entry makes the whole subscription fail, so its halves are then tried by themselves.
void XPlaneSimulator::onRefusedSubscription(const std::vector<std::string>& names) {
  if (names.size() == 1) return findLength(names.front());
  const auto middle = names.begin() + static_cast<std::ptrdiff_t>(names.size() / 2);
  subscribe(std::vector<std::string>(names.begin(), middle));
  subscribe(std::vector<std::string>(middle, names.end()));
}

// Asks for the array's length: an index past its end is the likely cause of the refusal.
void XPlaneSimulator::findLength(const std::string& name) {
  const std::string value = "/datarefs/" + std::to_string(datarefs[name].known->id) + "/value";
  rest.get(path(value), [this, name, mine = subscription](const RestClient::Answer& answer) {
    if (mine != subscription) return;
    const json read = json::parse(answer.body, nullptr, false);
    const auto& list = memberOf(read, "data");
    Dataref& dataref = datarefs[name];
    const std::size_t asked = dataref.indices.size();
    keepIndicesBelow(dataref, list.is_array() ? list.size() : 0);
    tellAll();
    if (!dataref.indices.empty() && dataref.indices.size() < asked) subscribe({name});
  });
}

void XPlaneSimulator::keepIndicesBelow(Dataref& dataref, std::size_t length) {
  auto& indices = dataref.indices;
  indices.erase(std::lower_bound(indices.begin(), indices.end(), length), indices.end());
  for (auto& followed : dataref.followers) {
    const auto index = followed.element.indexIn(*dataref.known);
    followed.isUnknown = !index || *index >= length;
  }
}

// ---- Values

void XPlaneSimulator::onUpdate(const json& values) {
  lastHeard = steady_clock::now();
  for (const auto& [key, value] : values.items()) {
    std::uint64_t id = 0;
    (void)std::from_chars(key.data(), key.data() + key.size(), id);
    const auto name = namesById.find(id);
    if (name == namesById.end()) continue;
    Dataref& dataref = datarefs[name->second];
    const std::size_t wanted = std::max<std::size_t>(dataref.indices.size(), 1);
    if (auto read = fromXPlane(value, *dataref.known, wanted)) dataref.values = std::move(*read);
  }
  // The observer may choose another panel here, with other values to follow.
  tellAircraft();
  tellAll();
}

void XPlaneSimulator::tellAircraft() {
  std::vector<std::string> names;
  for (const char* const name : kAircraftNames) {
    const auto& values = datarefs[name].values;
    if (values.empty()) continue;
    const std::string* const text = std::get_if<std::string>(&values.front());
    if (text != nullptr && !text->empty()) names.push_back(*text);
  }
  // While names are asked for again there are no values.
  if (names.empty() || names == aircraft) return;
  const bool isFirst = aircraft.empty();
  aircraft = names;
  if (!std::exchange(isConnected, true)) {
    attempts.succeeded();
    observer->onConnected();
  }
  observer->onAircraft(names);
  if (isFirst) return;
  for (auto& [name, dataref] : datarefs) dataref.isCurrent = false;
  for (auto& [name, command] : commands) command.isCurrent = false;
  searchAll();
}

void XPlaneSimulator::tellAll() {
  if (!isConnected) return;
  for (auto& [name, dataref] : datarefs) {
    for (auto& followed : dataref.followers) tell(dataref, followed);
  }
  for (auto& [name, command] : commands) tell(command);
}

void XPlaneSimulator::tell(const Dataref& dataref, Followed& followed) {
  if (followed.isUnknown) {
    if (std::exchange(followed.told, Told::unknown) != Told::unknown) {
      observer->onValueUnknown(followed.place);
    }
    return;
  }
  if (dataref.values.empty()) return;
  const auto index = followed.element.indexIn(*dataref.known).value_or(0);
  const auto& indices = dataref.indices;
  const auto at = std::lower_bound(indices.begin(), indices.end(), index) - indices.begin();
  const Value& value = dataref.values[static_cast<std::size_t>(at)];
  if (followed.told == Told::known && followed.value == value) return;
  followed.value = value;
  followed.told = Told::known;
  observer->onValue(followed.place, value);
}

void XPlaneSimulator::tell(FollowedCommand& command) {
  if (!command.known && !command.isUnknown) return;
  const Told now = command.known ? Told::known : Told::unknown;
  if (std::exchange(command.told, now) == now) return;
  for (const std::size_t place : command.places) {
    if (command.known) {
      observer->onCommandKnown(place);
    } else {
      observer->onCommandUnknown(place);
    }
  }
}

// ---- What goes to X-Plane

void XPlaneSimulator::write(const std::string& name, const Value& value) {
  if (!isConnected) return;
  const XPlaneElement element(name);
  const auto dataref = datarefs.find(element.name);
  if (dataref == datarefs.end() || !dataref->second.known ||
      !element.isIn(*dataref->second.known)) {
    return refuse("X-Plane has no value " + name);
  }
  const XPlaneName& known = *dataref->second.known;
  const auto written = toXPlane(value, known);
  if (!written) return refuse(name + " is of type " + known.type + " and can't hold that");
  json entry = {{"id", known.id}, {"value", *written}};
  if (const auto index = element.indexIn(known)) entry["index"] = *index;
  socket.request("dataref_set_values", {{"datarefs", json::array({std::move(entry)})}},
                 [this, name](const std::string& error) {
                   if (!error.empty()) observer->onRefused(name + ": " + error);
                 });
}

void XPlaneSimulator::run(const Command& command) {
  if (const auto id = idOf(command)) {
    activate(command.name, {{"id", *id}, {"is_active", true}, {"duration", 0}});
  }
}

void XPlaneSimulator::hold(const Command& command) {
  if (const auto id = idOf(command)) {
    held[command.name] = *id;
    activate(command.name, {{"id", *id}, {"is_active", true}});
  }
}

void XPlaneSimulator::release(const Command& command) {
  const auto found = held.find(command.name);
  if (found == held.end()) return;  // the end of a connection has released it
  activate(command.name, {{"id", found->second}, {"is_active", false}});
  held.erase(found);
}

std::optional<std::uint64_t> XPlaneSimulator::idOf(const Command& command) {
  if (!isConnected) return std::nullopt;
  const auto found = commands.find(command.name);
  if (found != commands.end() && found->second.known) return found->second.known->id;
  refuse(hasCommands() ? "X-Plane has no command " + command.name
                       : "X-Plane before 12.1.4 takes no commands");
  return std::nullopt;
}

void XPlaneSimulator::activate(const std::string& name, json entry) {
  socket.request("command_set_is_active", {{"commands", json::array({std::move(entry)})}},
                 [this, name](const std::string& error) {
                   if (!error.empty()) observer->onRefused(name + ": " + error);
                 });
}

void XPlaneSimulator::refuse(const std::string& reason) {
  asio::post(context, [this, here = std::weak_ptr<char>(alive), reason] {
    if (here.lock()) observer->onRefused(reason);
  });
}

void XPlaneSimulator::listNames(const std::string& pattern, Names done) {
  if (!lists) lists = std::make_unique<RestClient>(context, endpoint);
  listXPlaneNames(*lists, pattern, std::move(done));
}

}  // namespace

std::unique_ptr<Simulator> makeXPlane(asio::io_context& context, Endpoint endpoint) {
  return std::make_unique<XPlaneSimulator>(context, endpoint);
}

}  // namespace bridge
