#include "tools/cockpit/Panel.h"

#include <iterator>
#include <utility>
#include <websocketpp/base64/base64.hpp>

#include "simulator/MessageGroup.h"

using nlohmann::json;

namespace {

constexpr char kEncoder[] = "Encoder";

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

}  // namespace

const std::map<std::string, Panel::Handler> Panel::kHandlers{
    {"API Version", &Panel::startAnew},    {"Force Refresh", &Panel::refresh},
    {"Add Device", &Panel::addDevice},     {"Add Context", &Panel::addContext},
    {"Hide Context", &Panel::hideContext}, {"Update Key Name", &Panel::rename},
    {"Key Down", &Panel::keyDown},         {"Key Up", &Panel::keyUp},
    {"Dial Down", &Panel::dialDown},       {"Dial Up", &Panel::dialUp},
    {"Encoder Rotate", &Panel::rotate},    {"Touch Tap", &Panel::tap},
};

Panel::Panel(Aircraft& shown, Sender send) : aircraft(shown), sender(std::move(send)) {}

void Panel::handle(const std::string& text, Time now) {
  for (const json& message : MessageGroup::split(text)) {
    deliveries.heed(message, now);
    try {
      take(message);
    } catch (const json::exception&) {  // no message of ours; the link goes on
    }
  }
}

std::string Panel::summary() const {
  return std::to_string(devices.size()) + " devices, " + std::to_string(contexts.size()) +
         " contexts";
}

void Panel::take(const json& message) {
  const auto found = kHandlers.find(message.at("Message").get<std::string>());
  if (found == kHandlers.end()) return;
  (this->*found->second)(message);
  isDue = true;
}

// The first message after the link has come up. All that there is follows it.
void Panel::startAnew(const json& /*message*/) {
  devices.clear();
  contexts.clear();
  forgetShown();
}

void Panel::refresh(const json& /*message*/) {
  forgetShown();
}

void Panel::addDevice(const json& message) {
  devices.insert(message.at("Device ID").get<std::string>());
}

// A context that is known already starts anew as well: it may have been blanked.
void Panel::addContext(const json& message) {
  Context context;
  context.keyName = message.at("KeyName").get<std::string>();
  context.isDial = message.at("Controller").get<std::string>() == kEncoder;
  context.instrument = Instrument::find(context.keyName);
  contexts[message.at("Context").get<std::string>()] = std::move(context);
}

void Panel::hideContext(const json& message) {
  contexts.erase(message.at("Context").get<std::string>());
  // Who shows what has come into doubt may not show it.
  for (auto& [id, context] : contexts) {
    Shown& shown = context.shown;
    if (shown.picture && !deliveries.hasImage(*shown.picture)) shown.picture.reset();
    if (shown.layout && !deliveries.hasLayout(*shown.layout)) shown.layout.reset();
  }
}

void Panel::rename(const json& message) {
  Context* context = contextOf(message);
  if (context == nullptr) return;
  const bool isDial = context->isDial;
  *context = Context();
  context->isDial = isDial;
  context->keyName = message.at("KeyName").get<std::string>();
  context->instrument = Instrument::find(context->keyName);
}

void Panel::keyDown(const json& message) {
  Context* context = contextOf(message);
  if (context != nullptr) context->isPressed = press(message, *context);
}

void Panel::keyUp(const json& message) {
  if (Context* context = contextOf(message)) context->isPressed = false;
}

void Panel::dialDown(const json& message) {
  Context* context = contextOf(message);
  if (context == nullptr) return;
  context->isPressed = true;
  context->isTurned = false;
}

// A dial that was turned while it was down wasn't pressed for the press's sake.
void Panel::dialUp(const json& message) {
  Context* context = contextOf(message);
  if (context == nullptr) return;
  if (context->isPressed && !context->isTurned) (void)press(message, *context);
  context->isPressed = false;
}

void Panel::rotate(const json& message) {
  Context* context = contextOf(message);
  const int ticks = message.at("Ticks").get<int>();
  if (context == nullptr || context->instrument == nullptr) return;
  context->isTurned = true;
  context->instrument->turn(aircraft, ticks, context->isPressed);
}

void Panel::tap(const json& message) {
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
  deliveries.forget();
  for (auto& [id, context] : contexts) context.shown = {};
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
  static const std::string gauge = websocketpp::base64_encode(kGauge);
  const std::string layout = face.shape == Face::Shape::Gauge ? kGaugeName : "";
  if (shown.layout == layout) return;
  changes.push_back(deliveries.layout(id, layout, gauge, now));
  shown = {};
  shown.layout = layout;
}

void Panel::updatePicture(const std::string& id, Shown& shown, const Face& face, Time now) {
  const Faces::Picture& picture = faces.picture(face);
  if (shown.picture == picture.id) return;
  changes.push_back(deliveries.image(id, picture.id, picture.base64, now));
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
  const std::string text = MessageGroup::join(std::move(changes));
  changes.clear();
  signs.clear();
  if (!sender(text)) forgetShown();
}
