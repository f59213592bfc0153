// A panel as its file describes it: the names of the simulator's values, the face of each key and
// dial, and the actions of its presses and turns. PanelFile makes one.
//
// Expressions refer to values by their index in `values`. All of it is plain data but the
// expressions, which belong to one thread.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "bridge/Expression.h"
#include "bridge/Simulator.h"
#include "bridge/Words.h"

namespace bridge {

// The simulators that a panel's rows have names for.
enum class SimulatorKind { XPlane, FlightGear, Trainer };
constexpr std::size_t kSimulatorCount = 3;
constexpr std::array<const char*, kSimulatorCount> kSimulatorNames{"xplane", "flightgear",
                                                                   "trainer"};

struct Panel {
  // The states of the thing, such as a lamp or the gear, that a key or dial is about.
  enum class State { Off, On, Transit, Fault, Unavailable };
  static constexpr std::size_t kStateCount = 5;

  enum class Face { Lamp, Switch, Number, Text, Gauge, Compass, Clock, Picture };

  template <typename Type>
  using PerSimulator = std::array<std::optional<Type>, kSimulatorCount>;

  // The name in each simulator. Absent: that simulator has nothing of the kind.
  struct Row {
    std::string name;
    PerSimulator<std::string> names;
  };
  struct CommandRow {
    std::string name;
    PerSimulator<Command> commands;
  };

  struct Range {
    Expression from, to;
  };

  struct Display {
    Face face = Face::Lamp;
    std::string label;
    std::string symbol;    // one that ships, or a file
    std::uint32_t colour;  // 0xRRGGBB, of what is lit
    std::optional<Expression> on, transit, fault, available, alarm;
    Words show;
    Words second;  // a key's title, a dial's third line
    std::array<std::string, kStateCount> words;
    std::vector<std::string> positions;
    std::array<std::string, kStateCount> pictures;  // files
    std::optional<Range> range;
    std::optional<Expression> needle, mark, frame, bar;
    std::vector<std::size_t> needs;  // places of all the values that it needs
  };

  struct Toggle {
    std::size_t place;
  };
  struct Set {
    std::size_t place;
    Expression to;
  };
  struct Add {
    std::size_t place;
    Expression step;
    std::optional<Expression> fast;  // the step of a dial that is turned fast
    std::optional<Range> limits;
    bool wraps = false;  // from the end of the limits to their beginning
  };
  struct Cycle {
    std::size_t place;
    std::vector<Expression> through;
  };
  struct Run {
    std::size_t command;  // index into `commands`
    bool isHeld = false;  // from the press to the release
  };
  struct Action {
    std::variant<Toggle, Set, Add, Cycle, Run> what;
    bool isConfirmed = false;  // by the sign for OK
  };
  using Actions = std::vector<Action>;

  // The actions of one detent.
  struct Turn {
    std::optional<Add> add;
    Actions up, down;
    bool isEmpty() const { return !add && up.empty() && down.empty(); }
  };

  struct Control {
    Display display;
    Actions press;      // of a key, or of a dial that wasn't turned while it was down
    Actions longPress;  // in place of `press` when held for `longAfter`
    std::chrono::milliseconds longAfter{600};
    Turn turn, pressedTurn;
    Actions tap, hold;  // of the strip
  };

  std::string name;
  std::vector<std::string> aircraft;  // names by which it is chosen
  bool isForAny = false;              // chosen if no other panel has the aircraft's name
  bool hasTitles = false;             // words go as titles, not in the pictures
  std::vector<Row> values;
  std::vector<CommandRow> commands;
  std::map<std::string, Control> keys;
  std::map<std::string, Control> dials;
  std::vector<std::string> files;  // of the pictures and symbols that don't ship

  // The control of that name. If only the other kind has the name, its control is returned, so that
  // a key's name on a dial, or the other way round, still shows something.
  const Control* find(const std::string& keyName, bool isDial) const {
    for (const auto* controls : {isDial ? &dials : &keys, isDial ? &keys : &dials}) {
      const auto found = controls->find(keyName);
      if (found != controls->end()) return &found->second;
    }
    return nullptr;
  }
};

}  // namespace bridge
