#include "tools/cockpit/Panel.h"

#include <iterator>
#include <utility>
#include <websocketpp/base64/base64.hpp>

using nlohmann::json;

namespace {

constexpr char kEncoder[] = "Encoder";

// How long a context may have been gone before its "Hide Context" is taken.
constexpr Panel::Time kDoubt{2000};

// The names that pictures and titles reach: "icon", lines from "line0", numbers from "val0". A
// title writes all ten lines, so the layout names also those that it doesn't show.
constexpr char kGaugeName[] = "aeroplane-gauge";
constexpr char kGauge[] = R"({"id": "aeroplane-gauge", "items": [
  {"key": "icon", "type": "pixmap", "rect": [0, 0, 200, 100], "zOrder": 0},
  {"key": "line0", "type": "text", "rect": [12, 8, 110, 18], "zOrder": 1, "value": "",
   "alignment": "left", "color": "#59d2ff", "font": {"size": 15, "weight": 700}},
  {"key": "line1", "type": "text", "rect": [12, 28, 110, 30], "zOrder": 1, "value": "",
   "alignment": "left", "color": "#ffffff", "font": {"size": 22, "weight": 700}},
  {"key": "line2", "type": "text", "rect": [12, 59, 110, 18], "zOrder": 1, "value": "",
   "alignment": "left", "color": "#9fb0bf", "font": {"size": 13, "weight": 500}},
  {"key": "val3", "type": "bar", "rect": [12, 81, 106, 9], "zOrder": 1, "value": 0,
   "subtype": 0, "border_w": 1, "bar_bg_c": "#10161c", "bar_border_c": "#323d49",
   "bar_fill_c": "#3ddc84"},
  {"key": "line3", "type": "text", "rect": [30, 0, 9, 9], "enabled": false, "zOrder": 2, "value": ""},
  {"key": "line4", "type": "text", "rect": [40, 0, 9, 9], "enabled": false, "zOrder": 2, "value": ""},
  {"key": "line5", "type": "text", "rect": [50, 0, 9, 9], "enabled": false, "zOrder": 2, "value": ""},
  {"key": "line6", "type": "text", "rect": [60, 0, 9, 9], "enabled": false, "zOrder": 2, "value": ""},
  {"key": "line7", "type": "text", "rect": [70, 0, 9, 9], "enabled": false, "zOrder": 2, "value": ""},
  {"key": "line8", "type": "text", "rect": [80, 0, 9, 9], "enabled": false, "zOrder": 2, "value": ""},
  {"key": "line9", "type": "text", "rect": [90, 0, 9, 9], "enabled": false, "zOrder": 2, "value": ""}
]})";

json to(const std::string& context, const char* name) {
  return {{"Message", name}, {"Context", context}};
}

json grouped(std::vector<json> messages) {
  json members = json::object();
  for (std::size_t i = 0; i < messages.size(); ++i) {
    members[std::to_string(i)] = std::move(messages[i]);
  }
  return {{"Message", "Group Message"}, {"Messages", std::move(members)}};
}

}  // namespace

const std::map<std::string, Panel::Handler> Panel::kHandlers{
    {"Group Message", &Panel::takeGroup},
    {"API Version", &Panel::startAnew},
    {"Force Refresh", &Panel::refresh},
    {"Add Device", &Panel::addDevice},
    {"Add Context", &Panel::addContext},
    {"Hide Context", &Panel::hideContext},
    {"Update Key Name", &Panel::rename},
    {"Key Down", &Panel::keyDown},
    {"Key Up", &Panel::keyUp},
    {"Dial Down", &Panel::dialDown},
    {"Dial Up", &Panel::dialUp},
    {"Encoder Rotate", &Panel::rotate},
    {"Touch Tap", &Panel::tap},
};

Panel::Panel(Aircraft& shown, Sender send) : aircraft(shown), sender(std::move(send)) {}

void Panel::handle(const std::string& message, Time now) {
  try {
    take(json::parse(message), now);
  } catch (const json::exception&) {  // no message of ours; the link goes on
  }
}

std::string Panel::summary() const {
  return std::to_string(devices.size()) + " devices, " + std::to_string(contexts.size()) +
         " contexts";
}

void Panel::take(const json& message, Time now) {
  const auto found = kHandlers.find(message.at("Message").get<std::string>());
  if (found == kHandlers.end()) return;
  (this->*found->second)(message, now);
  isDue = true;
}

// By number: in the text "10" stands before "2".
void Panel::takeGroup(const json& message, Time now) {
  const json& members = message.at("Messages");
  for (std::size_t i = 0; i < members.size(); ++i) take(members.at(std::to_string(i)), now);
}

// The first message after the link has come up. All that there is follows it.
void Panel::startAnew(const json& /*message*/, Time /*now*/) {
  devices.clear();
  contexts.clear();
  forgetShown();
}

void Panel::refresh(const json& /*message*/, Time /*now*/) {
  forgetShown();
}

void Panel::addDevice(const json& message, Time /*now*/) {
  devices.insert(message.at("Device ID").get<std::string>());
}

// A context that is known already starts anew as well: it may have been blanked.
void Panel::addContext(const json& message, Time /*now*/) {
  Context context;
  context.keyName = message.at("KeyName").get<std::string>();
  context.isDial = message.at("Controller").get<std::string>() == kEncoder;
  context.instrument = Instrument::find(context.keyName);
  contexts[message.at("Context").get<std::string>()] = std::move(context);
}

void Panel::hideContext(const json& message, Time now) {
  const auto id = message.at("Context").get<std::string>();
  if (contexts.erase(id) != 0) doubtDeliveries(id, now);
}

void Panel::rename(const json& message, Time /*now*/) {
  Context* context = contextOf(message);
  if (context == nullptr) return;
  const bool isDial = context->isDial;
  *context = Context();
  context->isDial = isDial;
  context->keyName = message.at("KeyName").get<std::string>();
  context->instrument = Instrument::find(context->keyName);
}

void Panel::keyDown(const json& message, Time /*now*/) {
  Context* context = contextOf(message);
  if (context != nullptr) context->isPressed = press(message, *context);
}

void Panel::keyUp(const json& message, Time /*now*/) {
  if (Context* context = contextOf(message)) context->isPressed = false;
}

void Panel::dialDown(const json& message, Time /*now*/) {
  Context* context = contextOf(message);
  if (context == nullptr) return;
  context->isPressed = true;
  context->isTurned = false;
}

// A dial that was turned while it was down wasn't pressed for the press's sake.
void Panel::dialUp(const json& message, Time /*now*/) {
  Context* context = contextOf(message);
  if (context == nullptr) return;
  if (context->isPressed && !context->isTurned) (void)press(message, *context);
  context->isPressed = false;
}

void Panel::rotate(const json& message, Time /*now*/) {
  Context* context = contextOf(message);
  const int ticks = message.at("Ticks").get<int>();
  if (context == nullptr || context->instrument == nullptr) return;
  context->isTurned = true;
  context->instrument->turn(aircraft, ticks, context->isPressed);
}

void Panel::tap(const json& message, Time /*now*/) {
  Context* context = contextOf(message);
  const bool isHold = message.at("Hold").get<bool>();
  if (context == nullptr) return;
  if (isHold && context->instrument != nullptr) {
    answer(message, context->instrument->hold(aircraft));
  } else {
    (void)press(message, *context);
  }
}

// True: it lasts until the release.
bool Panel::press(const json& message, const Context& context) {
  auto answered = Instrument::Answer::Refused;
  if (context.instrument != nullptr) answered = context.instrument->press(aircraft);
  answer(message, answered);
  return answered == Instrument::Answer::Held;
}

// Null: it isn't known, or not any more.
Panel::Context* Panel::contextOf(const json& message) {
  const auto found = contexts.find(message.at("Context").get<std::string>());
  return found == contexts.end() ? nullptr : &found->second;
}

void Panel::answer(const json& message, Instrument::Answer answer) {
  const auto id = message.at("Context").get<std::string>();
  if (answer == Instrument::Answer::Confirmed) signs.push_back(to(id, "Ident Context"));
  if (answer == Instrument::Answer::Refused) signs.push_back(to(id, "Alert Context"));
}

void Panel::forgetShown() {
  delivered.clear();
  for (auto& [id, context] : contexts) context.shown = {};
}

// What is given through a context that has gone meanwhile is dropped at the panel's end, and
// nothing says so. So what this context was given last counts as not given, and who shows it, as
// not showing it.
void Panel::doubtDeliveries(const std::string& context, Time now) {
  for (auto it = delivered.begin(); it != delivered.end();) {
    const bool isInDoubt = it->second.context == context && now - it->second.at < kDoubt;
    it = isInDoubt ? delivered.erase(it) : std::next(it);
  }
  for (auto& [id, other] : contexts) {
    Shown& shown = other.shown;
    if (shown.picture && delivered.count(std::to_string(*shown.picture)) == 0)
      shown.picture.reset();
    if (shown.layout == kGaugeName && delivered.count(kGaugeName) == 0) shown.layout.reset();
  }
}

void Panel::show(Time now) {
  if (now < nextSend || (now < nextLook && !isDue)) return;
  isDue = false;
  nextLook = now + kFrame;
  for (auto& [id, context] : contexts) update(id, context, now);
  if (changes.empty() && signs.empty()) return;
  nextSend = now + kFrame;
  sendAll();
}

void Panel::update(const std::string& id, Context& context, Time now) {
  if (context.instrument == nullptr) {
    updateBlank(id, context);
    return;
  }
  const auto look = context.isDial ? context.instrument->onDial(aircraft)
                                   : context.instrument->onKey(aircraft, context.isPressed);
  if (context.isDial) updateLayout(id, context.shown, look.face, now);
  updatePicture(id, context.shown, look.face, now);
  updateTitle(id, context.shown, look.title);
  if (look.isAlarm && !context.isAlarmed) signs.push_back(to(id, "Alert Context"));
  context.isAlarmed = look.isAlarm;
}

void Panel::updateBlank(const std::string& id, Context& context) {
  if (!context.shown.isBlank) changes.push_back(to(id, "Reset Context"));
  context.shown.isBlank = true;
  updateTitle(id, context.shown,
              context.keyName.empty() ? "no\nname" : "what is\n" + context.keyName);
}

// A new layout starts with nothing in it.
void Panel::updateLayout(const std::string& id, Shown& shown, const Face& face, Time now) {
  const std::string layout = face.shape == Face::Shape::Gauge ? kGaugeName : "";
  if (shown.layout == layout) return;
  const bool isNew = !layout.empty() && delivered.try_emplace(layout, Delivery{id, now}).second;
  changes.push_back(to(id, isNew ? "Set Layout Cache" : "Set Layout"));
  changes.back()["UUID"] = layout;
  if (isNew) changes.back()["BASE64"] = websocketpp::base64_encode(kGauge);
  shown = {};
  shown.layout = layout;
}

void Panel::updatePicture(const std::string& id, Shown& shown, const Face& face, Time now) {
  const Faces::Picture& picture = faces.picture(face);
  if (shown.picture == picture.id) return;
  const bool isNew = delivered.try_emplace(std::to_string(picture.id), Delivery{id, now}).second;
  changes.push_back(to(id, isNew ? "Update Full Image ID" : "Update Image ID"));
  changes.back()["Image ID"] = picture.id;
  if (isNew) changes.back()["Base64"] = picture.base64;
  shown.picture = picture.id;
}

void Panel::updateTitle(const std::string& id, Shown& shown, const std::string& title) {
  if (shown.title == title) return;
  changes.push_back(to(id, "Set Title"));
  changes.back()["Title"] = title;
  shown.title = title;
}

void Panel::sendAll() {
  std::move(signs.begin(), signs.end(), std::back_inserter(changes));
  const json message = changes.size() == 1 ? changes.front() : grouped(std::move(changes));
  changes.clear();
  signs.clear();
  if (!sender(message.dump())) forgetShown();
}
