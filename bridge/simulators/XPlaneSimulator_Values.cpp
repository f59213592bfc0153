// Values and the aircraft as they are told to the observer, and the requests to write values and to
// run commands.
#include <algorithm>
#include <charconv>
#include <utility>

#include "bridge/simulators/XPlaneSimulator_Class.h"

using nlohmann::json;
using std::chrono::steady_clock;

namespace bridge {

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
    if (std::exchange(followed.told, Told::Unknown) != Told::Unknown) {
      observer->onValueUnknown(followed.place);
    }
    return;
  }
  if (dataref.values.empty()) return;
  const auto index = followed.element.indexIn(*dataref.known).value_or(0);
  const auto& indices = dataref.indices;
  const auto at = std::lower_bound(indices.begin(), indices.end(), index) - indices.begin();
  const Value& value = dataref.values[static_cast<std::size_t>(at)];
  if (followed.told == Told::Known && followed.value == value) return;
  followed.value = value;
  followed.told = Told::Known;
  observer->onValue(followed.place, value);
}

void XPlaneSimulator::tell(FollowedCommand& command) {
  if (!command.known && !command.isUnknown) return;
  const Told now = command.known ? Told::Known : Told::Unknown;
  if (std::exchange(command.told, now) == now) return;
  for (const std::size_t place : command.places) {
    if (command.known) {
      observer->onCommandKnown(place);
    } else {
      observer->onCommandUnknown(place);
    }
  }
}

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

}  // namespace bridge
