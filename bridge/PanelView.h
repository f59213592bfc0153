// The keys and dials that are on show: what they are called, what they show, and what is to be sent
// so that they show the simulator as it is now.
//
// It takes the messages of the panel's end and makes those to it, but has no part in the link: give
// it every message that comes in, and let it show while the link is up.
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

  // A key or dial is given at most ten faces a second. What comes ten times a second, and now and
  // then a little early, is let through.
  static constexpr Time kFrame{90};

  // The pictures outlive the object.
  PanelView(Pictures& painted, Sender send);

  // Another panel, with what it is shown by and moved by. Null: there is none. All of them outlive
  // their use here, and are in use until the next call.
  void setPanel(const Panel* panel, const Values* values, Hand* hand);

  // The word that every key shows instead of values; empty: they show these.
  void setAbsence(const std::string& word);

  // A value or the panel's pictures have changed.
  void changed() { isDue = true; }

  // The sign of warning: on the key or dial that was used last, if that was just now, or on all.
  void alertLast(Time now);
  void alertAll();

  // Takes one text of the link. What can't be understood is passed over. Whether it had input of
  // the user's.
  bool handle(const std::string& text, Time now);

  // What depends on time alone, and then whatever has changed, as one message. What wasn't taken is
  // sent again with everything else. Throws std::runtime_error if a face can't be painted.
  void show(Time now);

  // Blanks every key and dial at once.
  void blank();

  // How many devices and contexts there are, in words.
  std::string summary() const;

 private:
  // What a context is known to show. Nothing: not known.
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
  void pressLongest(Time now);
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
