// The simulator's view of the panel: which keys and dials there are, what they show, and what is
// to be sent so that they show the aircraft as it is now.
//
// It takes the messages of the panel's end and makes those to it, but has no part in the link: give
// it every message that comes in, and let it show while the link is up.
//
//   Panel panel(aircraft, [&link](const std::string& message) { return link.send(message); });
//   // in the loop:
//   for (const std::string& message : link.poll()) panel.handle(message, now);
//   aircraft.advance(passed);
//   if (link.isUp()) panel.show(now);
//
// Times count from any start that isn't later. One thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "simulator/Deliveries.h"
#include "tools/cockpit/Aircraft.h"
#include "tools/cockpit/Faces.h"
#include "tools/cockpit/Instrument.h"

class Panel {
 public:
  using Time = std::chrono::milliseconds;

  // Sends one message. False: it wasn't taken.
  using Sender = std::function<bool(const std::string&)>;

  // A key or dial is to be given at most ten faces a second.
  static constexpr Time kFrame{100};

  // `shown` outlives the object.
  Panel(Aircraft& shown, Sender send);

  // Takes one text of the link. What can't be understood is passed over.
  void handle(const std::string& text, Time now);

  // Sends what has changed, as one message: at once after `handle`, but never twice within a frame.
  // What wasn't taken is sent again with everything else. Throws std::runtime_error if a face can't
  // be painted.
  void show(Time now);

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
    const Instrument* instrument = nullptr;
    bool isPressed = false;
    bool isTurned = false;  // since it was pressed
    bool isAlarmed = false;
    Shown shown;
  };

  using Handler = void (Panel::*)(const nlohmann::json& message);
  static const std::map<std::string, Handler> kHandlers;

  void take(const nlohmann::json& message);
  void startAnew(const nlohmann::json& message);
  void refresh(const nlohmann::json& message);
  void addDevice(const nlohmann::json& message);
  void addContext(const nlohmann::json& message);
  void hideContext(const nlohmann::json& message);
  void rename(const nlohmann::json& message);
  void keyDown(const nlohmann::json& message);
  void keyUp(const nlohmann::json& message);
  void dialDown(const nlohmann::json& message);
  void dialUp(const nlohmann::json& message);
  void rotate(const nlohmann::json& message);
  void tap(const nlohmann::json& message);

  bool press(const nlohmann::json& message, const Context& context);
  Context* contextOf(const nlohmann::json& message);
  void answer(const nlohmann::json& message, Instrument::Answer answer);
  void forgetShown();

  void update(const std::string& id, Context& context, Time now);
  void updateBlank(const std::string& id, Context& context);
  void updateLayout(const std::string& id, Shown& shown, const Face& face, Time now);
  void updatePicture(const std::string& id, Shown& shown, const Face& face, Time now);
  void updateTitle(const std::string& id, Shown& shown, const std::string& title);
  void sendAll();

  Aircraft& aircraft;
  Sender sender;
  Faces faces;
  std::set<std::string> devices;
  std::map<std::string, Context> contexts;
  Deliveries deliveries;
  std::vector<nlohmann::json> changes;
  std::vector<nlohmann::json> signs;  // of the moment, behind the changes
  bool isDue = false;
  Time nextLook{0};
  Time nextSend{0};
};
