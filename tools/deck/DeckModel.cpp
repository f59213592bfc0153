#include "tools/deck/DeckModel.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <sstream>
#include <utility>

using nlohmann::json;

namespace {

constexpr char kAction[] = "com.brackenmoor.velomar.launch";
constexpr char kAppear[] = "willAppear";
constexpr char kDisappear[] = "willDisappear";
constexpr char kEncoder[] = "Encoder";
constexpr char kKeypad[] = "Keypad";
constexpr char kNoPlace[] = "That place is taken, or the device has none like it.";
constexpr char kPair[] = "pair";
constexpr char kSingle[] = "single";
constexpr char kBoth[] = "both";

const DeckModel::Device kKinds[] = {
    {"Eight keys, four dials", "plus", 0, 7, 4, 2, 4},
    {"Fifteen keys", "15", 0, 0, 5, 3, 0},
    {"Thirty-two keys", "32", 0, 2, 8, 4, 0},
};

}  // namespace

// The words of a command that follow its name. The first that is missing or wrong makes the command
// fail.
class DeckModel::Words {
 public:
  explicit Words(const std::string& line) : stream(line) {}

  std::string take(const char* argument) {
    std::string word;
    if (!(stream >> word)) refuse(std::string(argument) + " is missing.");
    return word;
  }

  int number(const char* argument) {
    const std::string word = take(argument);
    int value = 0;
    const auto [end, result] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (result != std::errc() || end != word.data() + word.size()) {
      refuse(std::string(argument) + " has to be a whole number, and " + word + " is none.");
    }
    return value;
  }

  // The rest of the line, which may be empty.
  std::string rest() {
    std::string text;
    std::getline(stream >> std::ws, text);
    return text;
  }

  // Says that the command can't be done. The first reason counts.
  Events refuse(const std::string& why) {
    if (problem.empty()) problem = why;
    return {};
  }

  bool failed() const { return !problem.empty(); }
  const std::string& why() const { return problem; }

 private:
  std::istringstream stream;
  std::string problem;
};

namespace {

std::string lowerCase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Says that no entry has this name, and suggests the one that differs in case only, or lists some.
template <typename Map>
std::string noSuch(const char* what, const std::string& name, const Map& known) {
  constexpr std::size_t kListed = 20;
  const std::string fault = std::string("There is no ") + what + " " + name + ".";
  std::string names;
  std::size_t count = 0;
  for (const auto& [other, ignored] : known) {
    if (lowerCase(other) == lowerCase(name)) return fault + " Do you mean " + other + "?";
    if (++count <= kListed) names += (names.empty() ? " There is " : ", ") + other;
  }
  if (count > kListed) names += " and " + std::to_string(count - kListed) + " more";
  return fault + (names.empty() ? "" : names + ".");
}

}  // namespace

const DeckModel::Command DeckModel::kCommands[] = {
    {"plug", "DEVICE [plus|15|32]", "plugs a device in", &DeckModel::plug, true},
    {"unplug", "DEVICE", "unplugs it", &DeckModel::unplug, true},
    {"page", "DEVICE PAGE", "shows page 0, 1 or 2 of it", &DeckModel::turnPage, true},
    {"appear", "CONTEXT DEVICE COLUMN ROW [NAME]", "places a key, with its key name",
     &DeckModel::appear, true},
    {"dial", "CONTEXT DEVICE COLUMN [NAME]", "places a dial", &DeckModel::appearDial, true},
    {"move", "CONTEXT PAGE COLUMN ROW", "moves a key or dial, or swaps two", &DeckModel::move,
     true},
    {"vanish", "CONTEXT", "removes a key or dial", &DeckModel::vanish, true},
    {"press", "CONTEXT", "presses a key", &DeckModel::press},
    {"release", "CONTEXT", "releases it", &DeckModel::release},
    {"push", "CONTEXT", "presses a dial", &DeckModel::push},
    {"pull", "CONTEXT", "releases it", &DeckModel::pull},
    {"rotate", "CONTEXT TICKS", "turns a dial; negative is to the left", &DeckModel::rotate},
    {"tap", "CONTEXT", "touches the strip above a dial", &DeckModel::tap},
    {"hold", "CONTEXT", "touches it for long", &DeckModel::hold},
    {"name", "CONTEXT [NAME]", "changes a key or dial's key name", &DeckModel::name, true},
    {"dialpress", "pair|single|both", "chooses the form of push and pull",
     &DeckModel::chooseDialPress, true},
    {"wake", "", "says that the machine has slept", &DeckModel::wake},
};

bool DeckModel::isOfPlaces(const std::string& command) {
  const std::string wanted = lowerCase(Words(command).take(""));
  return std::any_of(std::begin(kCommands), std::end(kCommands), [&](const Command& known) {
    return known.isOfPlaces && wanted == known.name;
  });
}

std::string DeckModel::usage(const Command& command) {
  return command.name + (*command.arguments == '\0' ? "" : std::string(" ") + command.arguments);
}

std::string DeckModel::helpLine(const std::string& usage, const std::string& purpose) {
  constexpr std::size_t kUsageWidth = 41;
  return usage + std::string(kUsageWidth - std::min(usage.size(), kUsageWidth - 1), ' ') + purpose +
         "\n";
}

std::string DeckModel::help() {
  std::string text;
  for (const Command& known : kCommands) {
    text += helpLine(usage(known), known.purpose);
  }
  return text;
}

DeckModel::Events DeckModel::obey(const std::string& command, std::string& error) {
  Words words(command);
  const std::string wanted = lowerCase(words.take(""));
  for (const Command& known : kCommands) {
    if (wanted != known.name) continue;
    Events events = (this->*known.make)(words);
    if (!words.failed()) return events;
    error = words.why() + " (" + usage(known) + ")";
    return {};
  }
  error = "There is no command " + wanted + "; help lists those that there are.";
  return {};
}

bool DeckModel::isShown(const Context& context) const {
  const auto found = plugged.find(context.device);
  return found != plugged.end() && found->second.isPlugged && found->second.page == context.page;
}

std::map<std::string, DeckModel::Device>::iterator DeckModel::takeDevice(Words& words) {
  const std::string id = words.take("DEVICE");
  const auto found = plugged.find(id);
  if (found == plugged.end()) words.refuse(noSuch("device", id, plugged));
  return found;
}

std::map<std::string, DeckModel::Context>::iterator DeckModel::takeContext(Words& words) {
  const std::string id = words.take("CONTEXT");
  const auto found = placed.find(id);
  if (found == placed.end()) words.refuse(noSuch("context", id, placed));
  return found;
}

DeckModel::Events DeckModel::plug(Words& words) {
  const std::string id = words.take("DEVICE");
  const std::string wanted = words.rest();
  const auto kind = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Device& known) {
    return wanted.empty() || wanted == known.kind;
  });
  if (kind == std::end(kKinds)) words.refuse("There is no kind of device " + wanted + ".");
  if (words.failed()) return {};
  const auto [found, isNew] = plugged.emplace(id, *kind);
  if (!isNew && found->second.isPlugged) return words.refuse(id + " is plugged in already.");
  if (isNew) found->second.turn = plugged.size();
  found->second.isPlugged = true;
  Events events{deviceEvent(id)};
  tell(events, kAppear, id);
  return events;
}

DeckModel::Events DeckModel::unplug(Words& words) {
  const auto found = takeDevice(words);
  if (words.failed()) return {};
  if (!found->second.isPlugged) return words.refuse(found->first + " isn't plugged in.");
  Events events;
  tell(events, kDisappear, found->first);
  found->second.isPlugged = false;
  events.push_back({{"event", "deviceDidDisconnect"}, {"device", found->first}});
  return events;
}

DeckModel::Events DeckModel::turnPage(Words& words) {
  const auto found = takeDevice(words);
  const int page = words.number("PAGE");
  if (page < 0 || page >= kPages) words.refuse("The pages are 0 to 2.");
  if (words.failed() || page == found->second.page) return {};
  Events events;
  tell(events, kDisappear, found->first);
  found->second.page = page;
  tell(events, kAppear, found->first);
  return events;
}

DeckModel::Events DeckModel::appear(Words& words) {
  const std::string id = words.take("CONTEXT");
  Context context;
  context.device = words.take("DEVICE");
  context.controller = kKeypad;
  context.column = words.number("COLUMN");
  context.row = words.number("ROW");
  return place(id, std::move(context), words);
}

DeckModel::Events DeckModel::appearDial(Words& words) {
  const std::string id = words.take("CONTEXT");
  Context context;
  context.device = words.take("DEVICE");
  context.controller = kEncoder;
  context.column = words.number("COLUMN");
  return place(id, std::move(context), words);
}

// Places a context on the page that its device shows.
DeckModel::Events DeckModel::place(const std::string& id, Context context, Words& words) {
  if (placed.count(id) != 0) words.refuse(id + " has a place already.");
  const auto device = plugged.find(context.device);
  if (device == plugged.end()) words.refuse(noSuch("device", context.device, plugged));
  if (words.failed()) return {};
  context.page = device->second.page;
  if (!hasPlace(context) || findAt(context) != placed.end()) return words.refuse(kNoPlace);
  const std::string keyName = words.rest();
  if (!keyName.empty()) context.settings["KeyName"] = keyName;
  const bool shows = isShown(context);
  placed[id] = std::move(context);
  return shows ? Events{contextEvent(kAppear, id)} : Events{};
}

bool DeckModel::hasPlace(const Context& wanted) const {
  const Device& device = plugged.at(wanted.device);
  const bool isDial = wanted.controller == kEncoder;
  const int columns = isDial ? device.dials : device.columns;
  const int rows = isDial ? 1 : device.rows;
  return wanted.page >= 0 && wanted.page < kPages && wanted.column >= 0 &&
         wanted.column < columns && wanted.row >= 0 && wanted.row < rows;
}

std::map<std::string, DeckModel::Context>::iterator DeckModel::findAt(const Context& place) {
  return std::find_if(placed.begin(), placed.end(), [&](const auto& entry) {
    const Context& other = entry.second;
    return other.device == place.device && other.controller == place.controller &&
           other.page == place.page && other.column == place.column && other.row == place.row;
  });
}

DeckModel::Events DeckModel::vanish(Words& words) {
  const auto found = takeContext(words);
  if (words.failed()) return {};
  Events events;
  if (isShown(found->second)) events.push_back(contextEvent(kDisappear, found->first));
  placed.erase(found);
  return events;
}

DeckModel::Events DeckModel::move(Words& words) {
  const auto found = takeContext(words);
  Context moved;
  if (!words.failed()) moved = found->second;
  moved.page = words.number("PAGE");
  moved.column = words.number("COLUMN");
  moved.row = words.number("ROW");
  if (words.failed()) return {};
  if (!hasPlace(moved)) return words.refuse(kNoPlace);
  std::vector<std::map<std::string, Context>::iterator> movers{found};
  const auto other = findAt(moved);
  if (other == found) return {};
  if (other != placed.end()) movers.push_back(other);
  Events events;
  for (const auto& each : movers) {
    if (isShown(each->second)) events.push_back(contextEvent(kDisappear, each->first));
  }
  if (other != placed.end()) {
    other->second.page = found->second.page;
    other->second.column = found->second.column;
    other->second.row = found->second.row;
  }
  found->second = std::move(moved);
  for (const auto& each : movers) {
    if (isShown(each->second)) events.push_back(contextEvent(kAppear, each->first));
  }
  return events;
}

DeckModel::Events DeckModel::press(Words& words) {
  return ofShown("keyDown", words);
}

DeckModel::Events DeckModel::release(Words& words) {
  return ofShown("keyUp", words);
}

DeckModel::Events DeckModel::push(Words& words) {
  return pressDial(true, words);
}

DeckModel::Events DeckModel::pull(Words& words) {
  return pressDial(false, words);
}

DeckModel::Events DeckModel::pressDial(bool pressed, Words& words) {
  const auto dial = takeContext(words);
  Events events;
  if (dialForm != kSingle) events = ofShown(pressed ? "dialDown" : "dialUp", dial, words);
  if (dialForm == kPair) return events;
  const Events single = ofShown("dialPress", dial, words, {{"pressed", pressed}});
  events.insert(events.end(), single.begin(), single.end());
  return events;
}

DeckModel::Events DeckModel::chooseDialPress(Words& words) {
  const std::string wanted = words.take("pair, single or both");
  if (wanted != kPair && wanted != kSingle && wanted != kBoth) {
    return words.refuse("It is pair, single or both.");
  }
  dialForm = wanted;
  return {};
}

DeckModel::Events DeckModel::rotate(Words& words) {
  const auto found = takeContext(words);
  const int ticks = words.number("TICKS");
  return ofShown("dialRotate", found, words, {{"ticks", ticks}, {"pressed", false}});
}

DeckModel::Events DeckModel::tap(Words& words) {
  return ofShown("touchTap", words, {{"tapPos", {100, 50}}, {"hold", false}});
}

DeckModel::Events DeckModel::hold(Words& words) {
  return ofShown("touchTap", words, {{"tapPos", {100, 50}}, {"hold", true}});
}

// The property inspector stores the name in the context's settings and tells the plug-in.
DeckModel::Events DeckModel::name(Words& words) {
  const auto found = takeContext(words);
  if (words.failed()) return {};
  const std::string keyName = words.rest();
  found->second.settings["KeyName"] = keyName;
  return {{{"event", "sendToPlugin"},
           {"action", kAction},
           {"context", found->first},
           {"payload", {{"KeyName", keyName}}}}};
}

DeckModel::Events DeckModel::wake(Words& /*words*/) {
  return {json{{"event", "systemDidWakeUp"}}};
}

DeckModel::Events DeckModel::ofShown(const char* event, Words& words, json details) {
  return ofShown(event, takeContext(words), words, std::move(details));
}

DeckModel::Events DeckModel::ofShown(const char* event,
                                     std::map<std::string, Context>::const_iterator context,
                                     Words& words, json details) const {
  if (words.failed()) return {};
  if (!isShown(context->second)) return words.refuse(context->first + " isn't on show.");
  return {contextEvent(event, context->first, std::move(details))};
}

// Adds an event for each context that is on show on the device.
void DeckModel::tell(Events& events, const char* event, const std::string& device) const {
  for (const auto& [id, context] : placed) {
    if (context.device == device && isShown(context)) events.push_back(contextEvent(event, id));
  }
}

// Returns `details` with the members that every event of a context carries.
json DeckModel::contextEvent(const char* event, const std::string& id, json details) const {
  const Context& context = placed.at(id);
  details["settings"] = context.settings;
  details["coordinates"] = {{"column", context.column}, {"row", context.row}};
  details["controller"] = context.controller;
  return {{"event", event},
          {"action", kAction},
          {"context", id},
          {"device", context.device},
          {"payload", std::move(details)}};
}

json DeckModel::deviceEvent(const std::string& id) const {
  const Device& device = plugged.at(id);
  return {{"event", "deviceDidConnect"},
          {"device", id},
          {"deviceInfo",
           {{"name", device.name},
            {"type", device.type},
            {"size", {{"columns", device.columns}, {"rows", device.rows}}}}}};
}
