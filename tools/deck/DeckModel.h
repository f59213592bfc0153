// The devices that a user has, and which key or dial lies where on which of their pages. Turns
// short commands into the JSON events of the Stream Deck application. One thread.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

class DeckModel {
 public:
  static constexpr int kPages = 3;

  struct Device {
    std::string name;
    int type = 0;  // as the Stream Deck application numbers them
    int columns = 0;
    int rows = 0;
    int dials = 0;
    int page = 0;  // the one on show
    bool isPlugged = true;
  };

  // A key or a dial that was placed. It is on show while its device is plugged in and its page
  // turned up.
  struct Context {
    std::string device;
    std::string controller;
    int page = 0;
    int column = 0;
    int row = 0;
    nlohmann::json settings = nlohmann::json::object();
  };

  using Events = std::vector<nlohmann::json>;

  // The commands, a line each.
  static const char* help();

  // The events that a command makes, in order; there may be none. A text in `error`: the command
  // isn't understood, or can't be done as things stand, and nothing has changed.
  Events obey(const std::string& command, std::string& error);

  // Whether a command is one of those that change the model, rather than what fingers do.
  static bool isOfPlaces(const std::string& command);

  const std::map<std::string, Device>& devices() const { return plugged; }
  const std::map<std::string, Context>& contexts() const { return placed; }
  bool isShown(const Context& context) const;

  // How a dial's press is sent: "pair" as two events, "single" as one with a member that tells.
  const char* dialPress() const;

 private:
  class Words;
  struct Command {
    const char* name;
    Events (DeckModel::*make)(Words& words);
    bool isOfPlaces = false;
  };
  static const Command kCommands[];

  Events plug(Words& words);
  Events unplug(Words& words);
  Events turnPage(Words& words);
  Events appear(Words& words);
  Events appearDial(Words& words);
  Events vanish(Words& words);
  Events move(Words& words);
  Events press(Words& words);
  Events release(Words& words);
  Events push(Words& words);
  Events pull(Words& words);
  Events pressDial(bool pressed, Words& words);
  Events chooseDialPress(Words& words);
  Events rotate(Words& words);
  Events tap(Words& words);
  Events hold(Words& words);
  Events name(Words& words);
  Events wake(Words& words);

  Events place(const std::string& id, Context context, Words& words);
  bool isFree(const Context& wanted) const;
  Events ofShown(const char* event, const std::string& id, Words& words,
                 nlohmann::json details = nlohmann::json::object()) const;
  void tell(Events& events, const char* event, const std::string& device) const;
  nlohmann::json contextEvent(const char* event, const std::string& id,
                              nlohmann::json details = nlohmann::json::object()) const;
  nlohmann::json deviceEvent(const std::string& id) const;

  std::map<std::string, Device> plugged;
  std::map<std::string, Context> placed;
  bool dialsSendPairs = true;
};
