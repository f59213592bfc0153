// The devices that a user has, and the keys and dials on their pages. Turns short commands into the
// JSON events of the Stream Deck application. One thread.
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
    std::string kind;      // as `plug` takes it
    std::size_t turn = 0;  // the order in which devices were first plugged in
    int type = 0;          // as the Stream Deck application numbers them
    int columns = 0;
    int rows = 0;
    int dials = 0;
    int page = 0;  // the one on show
    bool isPlugged = true;
  };

  // A key or a dial that was placed. It is on show while its device is plugged in and shows its
  // page.
  struct Context {
    std::string device;
    std::string controller;
    int page = 0;
    int column = 0;
    int row = 0;
    nlohmann::json settings = nlohmann::json::object();
  };

  using Events = std::vector<nlohmann::json>;

  // A line of help: a command as it is typed, and what it does.
  static std::string helpLine(const std::string& usage, const std::string& purpose);

  // The commands, a line each.
  static std::string help();

  // Carries a command out and returns the events that it makes, in order; there may be none. If the
  // command isn't understood or can't be done now, nothing changes, and `error` becomes a sentence
  // for the user who typed it.
  Events obey(const std::string& command, std::string& error);

  // Returns the commands that make the present devices and contexts, a line each, for load().
  std::string save() const;

  // Makes the devices and contexts that save() returned; empty lines and those that begin with '#'
  // are passed over. Returns the events that tell of all contexts then on show. REQUIRES: there are
  // no devices yet. If a line can't be obeyed, `error` names it, and the model is as it was.
  Events load(const std::string& profile, std::string& error);

  // Returns whether a command changes the model, and isn't a press, turn or touch.
  static bool isOfPlaces(const std::string& command);

  const std::map<std::string, Device>& devices() const { return plugged; }
  const std::map<std::string, Context>& contexts() const { return placed; }
  bool isShown(const Context& context) const;

  // How a dial's press is sent: "pair" as two events, "single" as one with a member that tells,
  // "both" as the one after the other.
  const std::string& dialPress() const { return dialForm; }

 private:
  class Words;
  struct Command {
    const char* name;
    const char* arguments;  // in capitals those to fill in, in brackets those that may be left out
    const char* purpose;
    Events (DeckModel::*make)(Words& words);
    bool isOfPlaces = false;
  };
  static const Command kCommands[];
  static std::string usage(const Command& command);

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

  std::map<std::string, Device>::iterator takeDevice(Words& words);
  std::map<std::string, Context>::iterator takeContext(Words& words);
  Events place(const std::string& id, Context context, Words& words);
  bool hasPlace(const Context& wanted) const;
  std::map<std::string, Context>::iterator findAt(const Context& place);
  Events ofShown(const char* event, Words& words,
                 nlohmann::json details = nlohmann::json::object());
  Events ofShown(const char* event, std::map<std::string, Context>::const_iterator context,
                 Words& words, nlohmann::json details = nlohmann::json::object()) const;
  void tell(Events& events, const char* event, const std::string& device) const;
  nlohmann::json contextEvent(const char* event, const std::string& id,
                              nlohmann::json details = nlohmann::json::object()) const;
  nlohmann::json deviceEvent(const std::string& id) const;

  std::map<std::string, Device> plugged;
  std::map<std::string, Context> placed;
  std::string dialForm = "pair";
};
