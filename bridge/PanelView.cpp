#include "bridge/PanelView.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <utility>

#include "common/LinkProtocol.h"
#include "simulator/Base64.h"
#include "simulator/MessageGroup.h"

using nlohmann::json;
using velomar::MessageGroup;
namespace from_panel = velomar::protocol::from_panel;
namespace to_panel = velomar::protocol::to_panel;

namespace bridge {

namespace {

constexpr char kEncoder[] = "Encoder";

// The names that pictures and titles reach: "icon", lines from "line0", numbers from "val0". A
// title writes all ten lines, so the layout names also those that it doesn't show.
constexpr char kLines[] = R"(
  {"key": "icon", "type": "pixmap", "rect": [0, 0, 200, 100], "zOrder": 0},
  {"key": "line0", "type": "text", "rect": [12, 8, 110, 18], "zOrder": 1, "value": "",
   "alignment": "left", "color": "#59d2ff", "font": {"size": 15, "weight": 700}},
  {"key": "line1", "type": "text", "rect": [12, 28, 110, 30], "zOrder": 1, "value": "",
   "alignment": "left", "color": "#ffffff", "font": {"size": 22, "weight": 700}},
  {"key": "line2", "type": "text", "rect": [12, 59, 110, 18], "zOrder": 1, "value": "",
   "alignment": "left", "color": "#9fb0bf", "font": {"size": 13, "weight": 500}},
  {"key": "line3", "type": "text", "rect": [30, 0, 9, 9], "enabled": false, "zOrder": 2, "value": ""},
  {"key": "line4", "type": "text", "rect": [40, 0, 9, 9], "enabled": false, "zOrder": 2, "value": ""},
  {"key": "line5", "type": "text", "rect": [50, 0, 9, 9], "enabled": false, "zOrder": 2, "value": ""},
  {"key": "line6", "type": "text", "rect": [60, 0, 9, 9], "enabled": false, "zOrder": 2, "value": ""},
  {"key": "line7", "type": "text", "rect": [70, 0, 9, 9], "enabled": false, "zOrder": 2, "value": ""},
  {"key": "line8", "type": "text", "rect": [80, 0, 9, 9], "enabled": false, "zOrder": 2, "value": ""},
  {"key": "line9", "type": "text", "rect": [90, 0, 9, 9], "enabled": false, "zOrder": 2, "value": ""})";
constexpr char kBar[] = R"(,
  {"key": "val3", "type": "bar", "rect": [12, 81, 106, 9], "zOrder": 1, "value": 0,
   "subtype": 0, "border_w": 1, "bar_bg_c": "#10161c", "bar_border_c": "#323d49",
   "bar_fill_c": "#3ddc84"})";

constexpr char kPlainName[] = "bridge-lines";
constexpr char kBarName[] = "bridge-lines-bar";

// A dial that turns by more detents than this in a second counts as turned fast.
constexpr double kFastDetents = 15;
constexpr PanelView::Time kLongestTurn{250};

// A refusal that comes within this time is shown on the key or dial that was used last.
constexpr PanelView::Time kLastUse{2000};

json to(const std::string& context, const char* name) {
  return {{"Message", name}, {"Context", context}};
}

std::string layoutText(bool hasBar) {
  return velomar::encodeBase64(std::string(R"({"id": ")") + (hasBar ? kBarName : kPlainName) +
                               R"(", "items": [)" + kLines + (hasBar ? kBar : "") + "\n]}");
}

}  // namespace

const std::map<std::string, PanelView::Handler> PanelView::kHandlers{
    {from_panel::kApiVersion, &PanelView::startOver},
    {from_panel::kForceRefresh, &PanelView::refresh},
    {from_panel::kAddDevice, &PanelView::addDevice},
    {from_panel::kAddContext, &PanelView::addContext},
    {from_panel::kHideContext, &PanelView::hideContext},
    {from_panel::kUpdateKeyName, &PanelView::rename},
    {from_panel::kKeyDown, &PanelView::keyDown},
    {from_panel::kKeyUp, &PanelView::keyUp},
    {from_panel::kDialDown, &PanelView::dialDown},
    {from_panel::kDialUp, &PanelView::dialUp},
    {from_panel::kEncoderRotate, &PanelView::rotate},
    {from_panel::kTouchTap, &PanelView::tap},
};

PanelView::PanelView(Pictures& painted, Sender send) : pictures(painted), sender(std::move(send)) {}

void PanelView::setPanel(const Panel* newPanel, const Values* newValues, Hand* newHand) {
  releaseAll();
  panel = newPanel;
  values = newValues;
  hand = newHand;
  for (auto& [id, context] : contexts) {
    context.control = panel == nullptr ? nullptr : panel->find(context.keyName, context.isDial);
    context.isAlarmed = false;
  }
  isDue = true;
}

void PanelView::setAbsence(const std::string& word) {
  if (absence == word) return;
  absence = word;
  isDue = true;
}

void PanelView::alertLast(Time now) {
  if (contexts.count(lastUsed) == 0 || now - lastUse > kLastUse) return;
  signs.push_back(to(lastUsed, to_panel::kAlertContext));
  isDue = true;
}

void PanelView::alertAll() {
  for (const auto& [id, context] : contexts) signs.push_back(to(id, to_panel::kAlertContext));
  isDue = true;
}

void PanelView::letGo() {
  releaseAll();
  for (auto& [id, context] : contexts) context.isPressed = false;
}

bool PanelView::handle(const std::string& text, Time now) {
  const Time usedBefore = lastUse;
  for (const json& message : MessageGroup::split(text)) {
    deliveries.heed(message, now);
    const auto found = kHandlers.find(message["Message"].get<std::string>());
    if (found == kHandlers.end()) continue;
    try {
      (this->*found->second)(message, now);
    } catch (const json::exception&) {  // a member is missing or wrong: the message is passed over
    }
    isDue = true;
  }
  return lastUse != usedBefore;
}

std::string PanelView::summary() const {
  return std::to_string(devices.size()) + " devices, " + std::to_string(contexts.size()) +
         " contexts";
}

// The first message after the link has come up. A list of all devices and contexts follows it.
void PanelView::startOver(const json& /*message*/, Time /*now*/) {
  releaseAll();
  devices.clear();
  contexts.clear();
  forgetShown();
}

void PanelView::refresh(const json& /*message*/, Time /*now*/) {
  forgetShown();
}

void PanelView::addDevice(const json& message, Time /*now*/) {
  devices.insert(message.at("Device ID").get<std::string>());
}

// A context that is known already also starts over, because it may have been blanked.
void PanelView::addContext(const json& message, Time /*now*/) {
  Context context;
  context.keyName = message.at("KeyName").get<std::string>();
  context.isDial = message.at("Controller").get<std::string>() == kEncoder;
  if (panel != nullptr) context.control = panel->find(context.keyName, context.isDial);
  const auto id = message.at("Context").get<std::string>();
  deliveries.changed(id);
  Context& known = contexts[id];
  if (hand != nullptr) hand->release(known.held);
  known = std::move(context);
}

void PanelView::hideContext(const json& message, Time /*now*/) {
  Context* hidden = contextOf(message);
  if (hidden != nullptr && hand != nullptr) hand->release(hidden->held);
  contexts.erase(message.at("Context").get<std::string>());
  // Other contexts were sent an image or layout by name only. If its bytes went to the context that
  // has gone, they may have been dropped, and the others don't show it.
  for (auto& [id, context] : contexts) {
    Shown& shown = context.shown;
    if (shown.picture && !deliveries.hasImage(*shown.picture)) shown.picture.reset();
    if (shown.layout && !deliveries.hasLayout(*shown.layout)) shown.layout.reset();
  }
}

void PanelView::rename(const json& message, Time /*now*/) {
  Context* context = contextOf(message);
  if (context == nullptr) return;
  context->keyName = message.at("KeyName").get<std::string>();
  context->control = panel == nullptr ? nullptr : panel->find(context->keyName, context->isDial);
  context->isAlarmed = false;
}

void PanelView::keyDown(const json& message, Time now) {
  Context* context = contextOf(message);
  if (context == nullptr) return;
  context->isPressed = true;
  const auto id = message.at("Context").get<std::string>();
  if (context->control != nullptr && !context->control->longPress.empty()) {
    context->longPressAt = now + context->control->longAfter;
    hasWaiting = true;
  } else {
    perform(id, *context, context->control == nullptr ? Panel::Actions() : context->control->press,
            now);
  }
}

// Only at its end is a press known to be a short one.
void PanelView::keyUp(const json& message, Time now) {
  Context* context = contextOf(message);
  if (context == nullptr) return;
  if (context->longPressAt && context->control != nullptr) {
    perform(message.at("Context").get<std::string>(), *context, context->control->press, now);
  }
  context->isPressed = false;
  context->longPressAt.reset();
  if (hand != nullptr) hand->release(context->held);
}

void PanelView::dialDown(const json& message, Time /*now*/) {
  Context* context = contextOf(message);
  if (context == nullptr) return;
  context->isPressed = true;
  context->isTurned = false;
}

// A dial that was turned while it was down was pressed only to be turned.
void PanelView::dialUp(const json& message, Time now) {
  Context* context = contextOf(message);
  if (context == nullptr) return;
  if (context->isPressed && !context->isTurned && context->control != nullptr) {
    perform(message.at("Context").get<std::string>(), *context, context->control->press, now);
    if (hand != nullptr) hand->release(context->held);
  }
  context->isPressed = false;
}

void PanelView::rotate(const json& message, Time now) {
  Context* context = contextOf(message);
  const int ticks = message.at("Ticks").get<int>();
  if (context == nullptr) return;
  const Time since =
      context->turnedAt ? std::min(now - *context->turnedAt, kLongestTurn) : kLongestTurn;
  const double seconds = std::chrono::duration<double>(std::max(since, Time(1))).count();
  const bool isFast = std::abs(static_cast<double>(ticks)) / seconds > kFastDetents;
  context->turnedAt = now;
  context->isTurned = true;
  if (context->control == nullptr || hand == nullptr) return;
  const Panel::Control& control = *context->control;
  const bool usesPressedTurn = context->isPressed && !control.pressedTurn.isEmpty();
  answer(message.at("Context").get<std::string>(),
         hand->turn(usesPressedTurn ? control.pressedTurn : control.turn, ticks, isFast,
                    {now, context->isPressed}),
         now);
}

void PanelView::tap(const json& message, Time now) {
  Context* context = contextOf(message);
  const bool isHold = message.at("Hold").get<bool>();
  if (context == nullptr || context->control == nullptr) return;
  perform(message.at("Context").get<std::string>(), *context,
          isHold ? context->control->hold : context->control->tap, now);
  if (hand != nullptr) hand->release(context->held);
}

// Null: the message's context isn't on show, or not any more.
PanelView::Context* PanelView::contextOf(const json& message) {
  const auto found = contexts.find(message.at("Context").get<std::string>());
  return found == contexts.end() ? nullptr : &found->second;
}

// A key name that the panel doesn't have is refused; a control without an action isn't.
void PanelView::perform(const std::string& id, Context& context, const Panel::Actions& actions,
                        Time now) {
  Hand::Answer answered = Hand::Answer::Refused;
  if (hand != nullptr && context.control != nullptr) {
    answered = hand->perform(actions, {now, context.isPressed}, context.held);
  }
  answer(id, answered, now);
}

void PanelView::answer(const std::string& id, Hand::Answer answer, Time now) {
  lastUsed = id;
  lastUse = now;
  if (answer == Hand::Answer::Confirmed) signs.push_back(to(id, to_panel::kIdentContext));
  if (answer == Hand::Answer::Refused) signs.push_back(to(id, to_panel::kAlertContext));
}

void PanelView::releaseAll() {
  for (auto& [id, context] : contexts) {
    if (hand != nullptr) hand->release(context.held);
    context.held.clear();
    context.longPressAt.reset();
  }
}

// Carries out the long presses that are due.
void PanelView::pressLong(Time now) {
  for (auto& [id, context] : contexts) {
    if (!context.longPressAt) continue;
    if (now < *context.longPressAt) {
      hasWaiting = true;
    } else {
      context.longPressAt.reset();
      if (context.control != nullptr) perform(id, context, context.control->longPress, now);
      isDue = true;
    }
  }
}

void PanelView::forgetShown() {
  deliveries.forget();
  for (auto& [id, context] : contexts) context.shown = {};
}

void PanelView::show(Time now) {
  if (!isDue && !hasWaiting) return;
  hasWaiting = false;
  pressLong(now);
  for (auto& [id, context] : contexts) {
    if (!isDue && !context.isLate) continue;
    context.isLate = now < context.nextFrame;
    if (context.isLate) {
      hasWaiting = true;
    } else {
      update(id, context, now);
    }
  }
  isDue = false;
  if (!changes.empty() || !signs.empty()) sendAll();
}

void PanelView::blank() {
  for (auto& [id, context] : contexts) changes.push_back(to(id, to_panel::kResetContext));
  forgetShown();
  if (!changes.empty()) sendAll();
}

void PanelView::update(const std::string& id, Context& context, Time now) {
  const std::size_t before = changes.size();
  if (context.control == nullptr || values == nullptr) {
    updateBlank(id, context);
  } else {
    const Look look = Look::of(context.control->display, *values,
                               {context.isDial, context.isPressed, panel->hasTitles}, absence);
    if (context.isDial) updateLayout(id, context.shown, look, now);
    updatePicture(id, context.shown, look, now);
    updateTitle(id, context.shown, look.title);
    if (look.isAlarm && !context.isAlarmed) signs.push_back(to(id, to_panel::kAlertContext));
    context.isAlarmed = look.isAlarm;
  }
  if (changes.size() != before) context.nextFrame = now + kFrame;
}

void PanelView::updateBlank(const std::string& id, Context& context) {
  if (!context.shown.isBlank) {
    changes.push_back(to(id, to_panel::kResetContext));
    deliveries.changed(id);
    context.shown = {};
    context.shown.isBlank = true;
  }
  const bool isWaiting = panel == nullptr && !absence.empty();
  const std::string name = context.keyName.empty() ? "no\nname" : "what is\n" + context.keyName;
  updateTitle(id, context.shown, isWaiting ? absence : name);
}

// A new layout starts empty, so everything is sent again after it.
void PanelView::updateLayout(const std::string& id, Shown& shown, const Look& look, Time now) {
  static const std::string withBar = layoutText(true);
  static const std::string without = layoutText(false);
  const char* layout = look.hasBar ? kBarName : kPlainName;
  if (shown.layout == layout) return;
  changes.push_back(deliveries.layout(id, layout, look.hasBar ? withBar : without, now));
  deliveries.changed(id);
  shown = {};
  shown.layout = layout;
}

void PanelView::updatePicture(const std::string& id, Shown& shown, const Look& look, Time now) {
  const Pictures::Picture& picture = pictures.of(look.face);
  if (shown.picture == picture.id) return;
  if (!look.isMoving) {
    changes.push_back(deliveries.image(id, picture.id, picture.base64, now));
  } else if (auto frame = deliveries.frame(id, picture.base64)) {
    changes.push_back(std::move(*frame));
  }
  shown.picture = picture.id;
  shown.isBlank = false;
}

void PanelView::updateTitle(const std::string& id, Shown& shown, const std::string& title) {
  if (shown.title == title) return;
  changes.push_back(to(id, to_panel::kSetTitle));
  changes.back()["Title"] = title;
  shown.title = title;
}

void PanelView::sendAll() {
  std::move(signs.begin(), signs.end(), std::back_inserter(changes));
  const std::string text = MessageGroup::join(std::move(changes));
  changes.clear();
  signs.clear();
  if (sender(text)) return;
  forgetShown();
  isDue = true;
}

}  // namespace bridge
