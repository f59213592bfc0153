#include "tools/deck/DeckModel.h"

#include <algorithm>
#include <sstream>
#include <utility>

using nlohmann::json;

namespace {

constexpr char kAction[] = "com.brackenmoor.velomar.launch";
constexpr char kAppear[] = "willAppear";
constexpr char kDisappear[] = "willDisappear";
constexpr char kEncoder[] = "Encoder";
constexpr char kKeypad[] = "Keypad";
constexpr char kPair[] = "pair";
constexpr char kSingle[] = "single";

struct Kind {
  const char* word;
  DeckModel::Device device;
};

const Kind kKinds[] = {
    {"plus", {"Eight keys, four dials", 7, 4, 2, 4}},
    {"15", {"Fifteen keys", 0, 5, 3, 0}},
    {"32", {"Thirty-two keys", 2, 8, 4, 0}},
};

}  // namespace

// The words of a command behind its name. One that is missing or wrong makes the command fail.
class DeckModel::Words {
 public:
  explicit Words(const std::string& line) : stream(line) {}

  std::string take() {
    std::string word;
    if (!(stream >> word)) failed = true;
    return word;
  }

  int number() {
    int value = 0;
    if (!(stream >> value)) failed = true;
    return value;
  }

  // All that is left, which may be nothing.
  std::string rest() {
    std::string text;
    std::getline(stream >> std::ws, text);
    return text;
  }

  // Says that what was asked for can't be done.
  Events refuse() {
    failed = true;
    return {};
  }

  bool failed = false;

 private:
  std::istringstream stream;
};

const DeckModel::Command DeckModel::kCommands[] = {
    {"plug", &DeckModel::plug, true},
    {"unplug", &DeckModel::unplug, true},
    {"page", &DeckModel::turnPage, true},
    {"appear", &DeckModel::appear, true},
    {"dial", &DeckModel::appearDial, true},
    {"vanish", &DeckModel::vanish, true},
    {"move", &DeckModel::move, true},
    {"name", &DeckModel::name, true},
    {"dialpress", &DeckModel::chooseDialPress, true},
    {"press", &DeckModel::press},
    {"release", &DeckModel::release},
    {"push", &DeckModel::push},
    {"pull", &DeckModel::pull},
    {"rotate", &DeckModel::rotate},
    {"tap", &DeckModel::tap},
    {"hold", &DeckModel::hold},
    {"wake", &DeckModel::wake},
};

bool DeckModel::isOfPlaces(const std::string& command) {
  const std::string wanted = Words(command).take();
  return std::any_of(std::begin(kCommands), std::end(kCommands), [&](const Command& known) {
    return known.isOfPlaces && wanted == known.name;
  });
}

const char* DeckModel::help() {
  return "plug DEVICE [plus|15|32]                  a device is plugged in\n"
         "unplug DEVICE                             and out again\n"
         "page DEVICE NUMBER                        another of its pages, 0 to 2, is turned up\n"
         "appear CONTEXT DEVICE COLUMN ROW [NAME]   a key is placed, with its key name\n"
         "dial CONTEXT DEVICE COLUMN [NAME]         a dial is\n"
         "move CONTEXT PAGE COLUMN ROW              either goes to another place\n"
         "vanish CONTEXT                            either is removed\n"
         "press CONTEXT, release CONTEXT            a key\n"
         "push CONTEXT, pull CONTEXT                a dial, pressed and let go\n"
         "rotate CONTEXT TICKS                      a dial, to the left if negative\n"
         "tap CONTEXT, hold CONTEXT                 the touch strip\n"
         "name CONTEXT NAME                         a key name from the property inspector\n"
         "dialpress pair|single                     what push and pull send: dialDown and dialUp "
         "as\n"
         "                                          hosts of today do (default), or dialPress\n"
         "wake                                      the machine has slept\n";
}

DeckModel::Events DeckModel::obey(const std::string& command, std::string& error) {
  Words words(command);
  const std::string wanted = words.take();
  for (const Command& known : kCommands) {
    if (wanted != known.name) continue;
    Events events = (this->*known.make)(words);
    if (!words.failed) return events;
    error = "can't be done: " + command;
    return {};
  }
  error = "not a command: " + command;
  return {};
}

const char* DeckModel::dialPress() const {
  return dialsSendPairs ? kPair : kSingle;
}

bool DeckModel::isShown(const Context& context) const {
  const auto found = plugged.find(context.device);
  return found != plugged.end() && found->second.isPlugged && found->second.page == context.page;
}

DeckModel::Events DeckModel::plug(Words& words) {
  const std::string id = words.take();
  const std::string wanted = words.rest();
  const auto kind = std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind& known) {
    return wanted.empty() || wanted == known.word;
  });
  if (words.failed || kind == std::end(kKinds)) return words.refuse();
  const auto [found, isNew] = plugged.emplace(id, kind->device);
  if (!isNew && found->second.isPlugged) return words.refuse();
  found->second.isPlugged = true;
  Events events{deviceEvent(id)};
  tell(events, kAppear, id);
  return events;
}

DeckModel::Events DeckModel::unplug(Words& words) {
  const auto found = plugged.find(words.take());
  if (found == plugged.end() || !found->second.isPlugged) return words.refuse();
  Events events;
  tell(events, kDisappear, found->first);
  found->second.isPlugged = false;
  events.push_back({{"event", "deviceDidDisconnect"}, {"device", found->first}});
  return events;
}

DeckModel::Events DeckModel::turnPage(Words& words) {
  const auto found = plugged.find(words.take());
  const int page = words.number();
  if (found == plugged.end() || words.failed || page < 0 || page >= kPages) return words.refuse();
  if (page == found->second.page) return {};
  Events events;
  tell(events, kDisappear, found->first);
  found->second.page = page;
  tell(events, kAppear, found->first);
  return events;
}

DeckModel::Events DeckModel::appear(Words& words) {
  const std::string id = words.take();
  Context context;
  context.device = words.take();
  context.controller = kKeypad;
  context.column = words.number();
  context.row = words.number();
  return place(id, std::move(context), words);
}

DeckModel::Events DeckModel::appearDial(Words& words) {
  const std::string id = words.take();
  Context context;
  context.device = words.take();
  context.controller = kEncoder;
  context.column = words.number();
  return place(id, std::move(context), words);
}

// Places a context on the page that its device shows.
DeckModel::Events DeckModel::place(const std::string& id, Context context, Words& words) {
  const auto device = plugged.find(context.device);
  if (words.failed || placed.count(id) != 0 || device == plugged.end()) return words.refuse();
  context.page = device->second.page;
  if (!isFree(context)) return words.refuse();
  const std::string keyName = words.rest();
  if (!keyName.empty()) context.settings["KeyName"] = keyName;
  const bool shows = isShown(context);
  placed[id] = std::move(context);
  return shows ? Events{contextEvent(kAppear, id)} : Events{};
}

bool DeckModel::isFree(const Context& wanted) const {
  const Device& device = plugged.at(wanted.device);
  const bool isDial = wanted.controller == kEncoder;
  const int columns = isDial ? device.dials : device.columns;
  const int rows = isDial ? 1 : device.rows;
  if (wanted.page < 0 || wanted.page >= kPages || wanted.column < 0 || wanted.column >= columns ||
      wanted.row < 0 || wanted.row >= rows) {
    return false;
  }
  return std::none_of(placed.begin(), placed.end(), [&](const auto& entry) {
    const Context& other = entry.second;
    return other.device == wanted.device && other.controller == wanted.controller &&
           other.page == wanted.page && other.column == wanted.column && other.row == wanted.row;
  });
}

DeckModel::Events DeckModel::vanish(Words& words) {
  const auto found = placed.find(words.take());
  if (found == placed.end()) return words.refuse();
  Events events;
  if (isShown(found->second)) events.push_back(contextEvent(kDisappear, found->first));
  placed.erase(found);
  return events;
}

DeckModel::Events DeckModel::move(Words& words) {
  const auto found = placed.find(words.take());
  if (found == placed.end()) return words.refuse();
  Context moved = found->second;
  moved.page = words.number();
  moved.column = words.number();
  moved.row = words.number();
  if (words.failed || !isFree(moved)) return words.refuse();
  Events events;
  if (isShown(found->second)) events.push_back(contextEvent(kDisappear, found->first));
  found->second = std::move(moved);
  if (isShown(found->second)) events.push_back(contextEvent(kAppear, found->first));
  return events;
}

DeckModel::Events DeckModel::press(Words& words) {
  return ofShown("keyDown", words.take(), words);
}

DeckModel::Events DeckModel::release(Words& words) {
  return ofShown("keyUp", words.take(), words);
}

DeckModel::Events DeckModel::push(Words& words) {
  return pressDial(true, words);
}

DeckModel::Events DeckModel::pull(Words& words) {
  return pressDial(false, words);
}

DeckModel::Events DeckModel::pressDial(bool pressed, Words& words) {
  const std::string id = words.take();
  if (dialsSendPairs) return ofShown(pressed ? "dialDown" : "dialUp", id, words);
  return ofShown("dialPress", id, words, {{"pressed", pressed}});
}

DeckModel::Events DeckModel::chooseDialPress(Words& words) {
  const std::string wanted = words.take();
  if (wanted != kPair && wanted != kSingle) return words.refuse();
  dialsSendPairs = wanted == kPair;
  return {};
}

DeckModel::Events DeckModel::rotate(Words& words) {
  const std::string id = words.take();
  const int ticks = words.number();
  return ofShown("dialRotate", id, words, {{"ticks", ticks}, {"pressed", false}});
}

DeckModel::Events DeckModel::tap(Words& words) {
  return ofShown("touchTap", words.take(), words, {{"tapPos", {100, 50}}, {"hold", false}});
}

DeckModel::Events DeckModel::hold(Words& words) {
  return ofShown("touchTap", words.take(), words, {{"tapPos", {100, 50}}, {"hold", true}});
}

// The property inspector stores the name in the context's settings and tells the plug-in.
DeckModel::Events DeckModel::name(Words& words) {
  const auto found = placed.find(words.take());
  if (found == placed.end()) return words.refuse();
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

DeckModel::Events DeckModel::ofShown(const char* event, const std::string& id, Words& words,
                                     json details) const {
  const auto found = placed.find(id);
  if (words.failed || found == placed.end() || !isShown(found->second)) return words.refuse();
  return {contextEvent(event, id, std::move(details))};
}

// Adds an event for each context that the device has on show.
void DeckModel::tell(Events& events, const char* event, const std::string& device) const {
  for (const auto& [id, context] : placed) {
    if (context.device == device && isShown(context)) events.push_back(contextEvent(event, id));
  }
}

// `details`, and what every event of a context carries.
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
