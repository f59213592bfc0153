#include "tools/deck/VirtualDeck.h"

#include <algorithm>
#include <utility>

#include "tools/common/Output.h"

using nlohmann::json;
using Lock = std::lock_guard<std::mutex>;

namespace {

constexpr std::size_t kKeptLines = 400;
constexpr std::size_t kLineLength = 300;

std::string news(const char* kind, const char* name, json value) {
  // A long line may have been cut in the middle of a character.
  return json{{"kind", kind}, {name, std::move(value)}}.dump(-1, ' ', false,
                                                             json::error_handler_t::replace);
}

// A member's text; empty if it is missing or no text.
std::string textOf(const json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

bool isLayout(const json& value) {
  const auto items = value.find("items");
  return value.is_object() && items != value.end() && items->is_array() &&
         std::all_of(items->begin(), items->end(),
                     [](const json& item) { return !textOf(item, "key").empty(); });
}

}  // namespace

VirtualDeck::VirtualDeck(Bundle plugin, Speak speakToPlugin, Speak speakToPages)
    : bundle(std::move(plugin)),
      toPlugin(std::move(speakToPlugin)),
      toPages(std::move(speakToPages)) {}

std::string VirtualDeck::obey(const std::string& command) {
  const Lock lock(mutex);
  if (!command.empty() && command.front() == '{') {
    tellPlugin(command);
    return pluginIsThere || kept ? "" : "no plug-in is there";
  }
  std::string error;
  const auto events = model.obey(command, error);
  if (!error.empty()) return error;
  send(events);
  if (DeckModel::isOfPlaces(command)) showState();
  return {};
}

std::string VirtualDeck::load(const std::string& profile) {
  const Lock lock(mutex);
  std::string error;
  const auto events = model.load(profile, error);
  send(events);
  return error;
}

std::string VirtualDeck::profile() const {
  const Lock lock(mutex);
  return model.save();
}

void VirtualDeck::send(const DeckModel::Events& events) {
  for (const json& event : events) tellPlugin(event.dump());
}

void VirtualDeck::tellPlugin(const std::string& text) {
  if (kept) kept->push_back(text);
  if (!pluginIsThere) return;
  write("to plug-in", text);
  toPlugin(text);
}

void VirtualDeck::showState() {
  dropHiddenFaces();
  toPages(news("state", "state", stateLocked()));
}

// Drops the faces of contexts that aren't on show any more. The application does so too, and begins
// again with the default layout.
void VirtualDeck::dropHiddenFaces() {
  for (const auto& [id, context] : model.contexts()) {
    if (!model.isShown(context)) {
      faces.erase(id);
    } else if (faces.count(id) == 0) {
      Face& face = faces[id];
      face.layoutPath = bundle.layout;
      face.layout = readLayout(bundle.layout);
    }
  }
  for (auto face = faces.begin(); face != faces.end();) {
    face = model.contexts().count(face->first) == 0 ? faces.erase(face) : std::next(face);
  }
}

void VirtualDeck::pluginRegistered() {
  const Lock lock(mutex);
  pluginIsThere = true;
  link.begin(Output::now());
  const auto before = std::exchange(kept, std::nullopt);
  for (const std::string& event : before.value_or(std::vector<std::string>())) tellPlugin(event);
  showState();
}

void VirtualDeck::pluginGone() {
  const Lock lock(mutex);
  pluginIsThere = false;
  link.reset();
  faces.clear();
  showState();
}

std::string VirtualDeck::frame(const std::string& text) {
  const json message = json::parse(text, nullptr, false);
  if (!message.is_object()) return {};
  const std::string event = textOf(message, "event");
  const std::string context = textOf(message, "context");
  json payload = message.value("payload", json::object());
  if (!payload.is_object()) payload = json::object();
  const Lock lock(mutex);
  if (event == "logMessage") {
    const std::string line = textOf(payload, "message");
    write("log", line);
    if (link.heard(line, Output::now())) toPages(describeLink().dump());
    return {};
  }
  write("from plug-in", text);
  if (event == "showOk" || event == "showAlert") {
    const char* sign = event == "showOk" ? "ok" : "alert";
    toPages(json{{"kind", "sign"}, {"context", context}, {"sign", sign}}.dump());
    return {};
  }
  if (faces.count(context) == 0) return {};
  std::string refusal = apply(event, context, payload);
  if (!refusal.empty()) write("refused", refusal);
  return refusal;
}

std::string VirtualDeck::apply(const std::string& event, const std::string& context,
                               const json& payload) {
  Face& face = faces[context];
  face.revision = ++lastRevision;
  std::string refusal;
  if (event == "setImage") {
    face.image = textOf(payload, "image");
  } else if (event == "setTitle") {
    face.title = textOf(payload, "title");
  } else if (event == "setFeedback") {
    refusal = fill(face, payload);
  } else if (event == "setFeedbackLayout") {
    refusal = setLayout(face, textOf(payload, "layout"));
  } else {
    return {};
  }
  toPages(json{{"kind", "face"}, {"context", context}, {"face", describe(face)}}.dump());
  return refusal;
}

std::string VirtualDeck::setLayout(Face& face, const std::string& path) {
  if (leavesFolder(bundle.folder, path)) return "a layout outside of the plug-in's folder: " + path;
  face.layoutPath = path;
  face.layout = readLayout(path);
  face.feedback = json::object();
  face.changed = json::object();
  return face.layout.is_null() ? "a layout that can't be read: " + path : "";
}

// Fills items of the layout. Properties that were set earlier and aren't named now stay.
std::string VirtualDeck::fill(Face& face, const json& feedback) {
  if (face.layout.is_null()) return "feedback without a layout";
  for (const auto& [key, given] : feedback.items()) {
    if (namesForeignFile(face.layout, key, given)) {
      return "an image outside of the plug-in's folder, for " + key;
    }
  }
  for (const auto& [key, given] : feedback.items()) {
    json& properties = face.feedback[key];
    properties.update(given.is_object() ? given : json{{"value", given}});
    face.changed[key] = face.revision;
  }
  return {};
}

bool VirtualDeck::namesForeignFile(const json& layout, const std::string& key,
                                   const json& given) const {
  const json& items = layout.at("items");
  const bool isPixmap = std::any_of(items.begin(), items.end(), [&](const json& item) {
    return textOf(item, "key") == key && textOf(item, "type") == "pixmap";
  });
  const std::string value = textOf(given.is_object() ? given : json{{"value", given}}, "value");
  const bool isPath = value.rfind("data:", 0) != 0 && value.find('<') == std::string::npos;
  return isPixmap && isPath && leavesFolder(bundle.folder, value);
}

json VirtualDeck::readLayout(const std::string& path) const {
  const auto text = readPluginFile(bundle.folder, path);
  if (!text) return nullptr;
  json layout = json::parse(*text, nullptr, false);
  return isLayout(layout) ? layout : json();
}

void VirtualDeck::write(const std::string& from, const std::string& text) {
  const bool isLong = text.size() > kLineLength;
  lines.push_back({{"time", Output::now()},
                   {"from", from},
                   {"text", isLong ? text.substr(0, kLineLength) + "..." : text}});
  if (lines.size() > kKeptLines) lines.pop_front();
  toPages(news("log", "lines", json::array({lines.back()})));
}

std::string VirtualDeck::stateNews() const {
  return news("state", "state", state());
}

std::string VirtualDeck::logNews() const {
  const Lock lock(mutex);
  return news("log", "lines", json(lines));
}

json VirtualDeck::state() const {
  const Lock lock(mutex);
  return stateLocked();
}

json VirtualDeck::describe(const Face& face) const {
  return {{"image", face.image},      {"title", face.title},       {"layoutPath", face.layoutPath},
          {"layout", face.layout},    {"feedback", face.feedback}, {"changed", face.changed},
          {"revision", face.revision}};
}

json VirtualDeck::describeLink() const {
  return {{"kind", "link"},
          {"link", {{"state", link.word()}, {"since", link.since()}}},
          {"time", Output::now()}};
}

// Lists the devices in the order in which they were first plugged in.
json VirtualDeck::describeDevices() const {
  std::map<std::size_t, json> devices;
  for (const auto& [id, device] : model.devices()) {
    devices[device.turn] = {{"id", id},
                            {"name", device.name},
                            {"type", device.type},
                            {"columns", device.columns},
                            {"rows", device.rows},
                            {"dials", device.dials},
                            {"page", device.page},
                            {"pages", DeckModel::kPages},
                            {"plugged", device.isPlugged}};
  }
  json list = json::array();
  for (auto& [turn, device] : devices) list.push_back(std::move(device));
  return list;
}

json VirtualDeck::describeContexts() const {
  json contexts = json::array();
  for (const auto& [id, context] : model.contexts()) {
    const auto face = faces.find(id);
    contexts.push_back({{"id", id},
                        {"device", context.device},
                        {"controller", context.controller},
                        {"page", context.page},
                        {"column", context.column},
                        {"row", context.row},
                        {"keyName", textOf(context.settings, "KeyName")},
                        {"shown", model.isShown(context)},
                        {"face", face == faces.end() ? json() : describe(face->second)}});
  }
  return contexts;
}

json VirtualDeck::stateLocked() const {
  json state = describeLink();
  state.erase("kind");
  state["plugin"] = pluginIsThere;
  state["dialPress"] = model.dialPress();
  state["stateImage"] = bundle.stateImage;
  state["devices"] = describeDevices();
  state["contexts"] = describeContexts();
  return state;
}
