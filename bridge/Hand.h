// Carries out at the simulator the actions of keys and dials. One thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <set>
#include <vector>

#include "bridge/Panel.h"
#include "bridge/Simulator.h"
#include "bridge/Values.h"

namespace bridge {

class Hand {
 public:
  using Time = std::chrono::milliseconds;

  // When the user does something, and whether the key or dial is down then.
  struct Moment {
    Time now;
    bool isPressed;
  };

  enum class Answer {
    Done,       // or there was nothing to do; the face shows it, so no sign is needed
    Confirmed,  // done, and worth a sign
    Refused,
  };

  // All of them outlive the object.
  Hand(const Panel& used, SimulatorKind whose, const Values& current, Simulator& moved)
      : panel(used), kind(whose), values(current), simulator(moved) {}

  // Without a connection every action is refused, so that no press is carried out later.
  void setConnected(bool isConnectedNow);

  // The simulator has told this value. A value that was written counts in place of the told one
  // until the simulator has told it back. From then on the simulator may have changed it itself.
  void told(std::size_t place);

  // Sets whether the simulator knows a command, by its index in the panel.
  void setKnown(std::size_t command, bool isKnown);

  // Carries out the actions in order, up to the first that is refused. Commands that are to be held
  // are added to `held`.
  Answer perform(const Panel::Actions& actions, Moment moment, std::vector<std::size_t>& held);

  // Releases the held commands. A command that two keys hold ends with the second release.
  void release(std::vector<std::size_t>& held);

  // Carries out a dial's turn by `ticks`.
  Answer turn(const Panel::Turn& turn, int ticks, bool isFast, Moment moment);

 private:
  // A value that was written and that the simulator may not have told yet.
  struct Written {
    double value;
    Time at;
  };

  bool perform(const Panel::Action& action, Moment moment, std::vector<std::size_t>& held);
  bool perform(const Panel::Toggle& toggle, Moment moment);
  bool perform(const Panel::Set& set, Moment moment);
  bool perform(const Panel::Cycle& cycle, Moment moment);
  bool add(const Panel::Add& add, double steps, bool isFast, Moment moment);
  bool run(const Panel::Run& run, std::vector<std::size_t>* held);
  bool write(std::size_t place, double value, Time now);
  std::optional<double> valueOf(std::size_t place, Time now) const;
  std::optional<double> resultOf(const Expression& expression, Moment moment) const;

  const Panel& panel;
  SimulatorKind kind;
  const Values& values;
  Simulator& simulator;
  bool isConnected = false;
  std::set<std::size_t> unknown;            // commands
  std::map<std::size_t, unsigned> holders;  // of a command that is held, how often
  std::map<std::size_t, Written> written;
};

}  // namespace bridge
