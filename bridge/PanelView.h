// The keys and dials that are on show: their names, their faces, and the messages that make them
// show the simulator as it is now.
//
// It takes the panel's messages and makes those to the panel, but has no part in the link: give it
// every message that comes in, and let it show while the link is up.
//
// Times count from any start that isn't later. One thread.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "bridge/Hand.h"
#include "bridge/Look.h"
#include "bridge/Panel.h"
#include "bridge/Pictures.h"
#include "simulator/Deliveries.h"

namespace bridge {

class PanelView {
 public:
  using Time = std::chrono::milliseconds;

  // Sends one message. False: it wasn't taken.
  using Sender = std::function<bool(const std::string&)>;

  // The least time between two faces of a key or dial: ten a second are let through even if one
  // comes a little early now and then.
  static constexpr Time kFrame{90};

  // The pictures outlive the object.
  PanelView(Pictures& painted, Sender send);

  // Sets the panel, with the values that it shows and the hand that carries out its actions. Null:
  // there is no panel. All three are in use until the next call.
  void setPanel(const Panel* panel, const Values* values, Hand* hand);

  // Sets a word that every key shows instead of values. Empty: keys show their values.
  void setAbsence(const std::string& word);

  // A value or the panel's pictures have changed.
  void changed() { isDue = true; }

  // Shows the sign of warning: on the key or dial that was used last, if that was just now, or on
  // all.
  void alertLast(Time now);
  void alertAll();

  // The link is down, so the release of a key or dial won't be told: ends what is held.
  void letGo();

  // Takes one text of the link. Messages that can't be understood are passed over. Returns whether
  // it held the user's input.
  bool handle(const std::string& text, Time now);

  // Carries out what is due by now, then sends all that has changed as one message. If the message
  // isn't taken, the next one has everything. Throws std::runtime_error if a face can't be painted.
  void show(Time now);

  // Blanks every key and dial at once.
  void blank();

  // Says in words how many devices and contexts there are.
  std::string summary() const;

 private:
  // The face that a context is known to show; an absent member isn't known.
  struct Shown {
    std::optional<std::string> layout;
    std::optional<std::uint32_t> picture;
    std::optional<std::string> title;
    bool isBlank = false;
  };

  struct Context {
    std::string keyName;
    bool isDial = false;
    const Panel::Control* control = nullptr;
    bool isPressed = false;
    bool isTurned = false;            // since it was pressed
    std::optional<Time> longPressAt;  // not yet done
    std::vector<std::size_t> held;    // commands
    std::optional<Time> turnedAt;
    bool isAlarmed = false;
    bool isLate = false;  // has changed, and waits for its next frame
    Time nextFrame{0};
    Shown shown;
  };

  using Handler = void (PanelView::*)(const nlohmann::json& message, Time now);
  static const std::map<std::string, Handler> kHandlers;

  void startOver(const nlohmann::json& message, Time now);
  void refresh(const nlohmann::json& message, Time now);
  void addDevice(const nlohmann::json& message, Time now);
  void addContext(const nlohmann::json& message, Time now);
  void hideContext(const nlohmann::json& message, Time now);
  void rename(const nlohmann::json& message, Time now);
  void keyDown(const nlohmann::json& message, Time now);
  void keyUp(const nlohmann::json& message, Time now);
  void dialDown(const nlohmann::json& message, Time now);
  void dialUp(const nlohmann::json& message, Time now);
  void rotate(const nlohmann::json& message, Time now);
  void tap(const nlohmann::json& message, Time now);

  Context* contextOf(const nlohmann::json& message);
  void perform(const std::string& id, Context& context, const Panel::Actions& actions, Time now);
  void answer(const std::string& id, Hand::Answer answer, Time now);
  void releaseAll();
  void pressLong(Time now);
  void forgetShown();

  void update(const std::string& id, Context& context, Time now);
  void updateBlank(const std::string& id, Context& context);
  void updateLayout(const std::string& id, Shown& shown, const Look& look, Time now);
  void updatePicture(const std::string& id, Shown& shown, const Look& look, Time now);
  void updateTitle(const std::string& id, Shown& shown, const std::string& title);
  void sendAll();

  Pictures& pictures;
  Sender sender;
  const Panel* panel = nullptr;
  const Values* values = nullptr;
  Hand* hand = nullptr;
  std::string absence;
  std::set<std::string> devices;
  std::map<std::string, Context> contexts;
  velomar::Deliveries deliveries;
  std::vector<nlohmann::json> changes;
  std::vector<nlohmann::json> signs;  // of the moment, after the changes
  std::string lastUsed;
  Time lastUse{0};
  bool isDue = false;
  bool hasWaiting = false;  // something depends on time alone
};

}  // namespace bridge
