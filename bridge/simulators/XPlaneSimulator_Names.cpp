// The names of values and commands, and the subscriptions to the values.
#include <algorithm>
#include <set>
#include <utility>

#include "bridge/simulators/Json.h"
#include "bridge/simulators/XPlaneSimulator_Class.h"

using nlohmann::json;
using std::chrono::milliseconds;

namespace bridge {

namespace {

// Unknown names are asked for again after this time.
constexpr milliseconds kUnknownPause{5000};

// A result that doesn't come within this time ends the connection.
constexpr milliseconds kResultDeadline{8000};

}  // namespace

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

void XPlaneSimulator::listNames(const std::string& pattern, Names done) {
  if (!lists) lists = std::make_unique<RestClient>(context, endpoint);
  std::vector<std::string> paths{path("/datarefs")};
  if (hasCommands()) paths.push_back(path("/commands"));
  listXPlaneNames(*lists, std::move(paths), pattern, std::move(done));
}

}  // namespace bridge
