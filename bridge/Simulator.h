// A flight simulator as the bridge meets it: values that are followed, values that are written,
// commands that are run or held, and the aircraft that is flown.
//
// An implementation lives on one asio::io_context. All of its operations are called on the thread
// that runs the context, and the observer is called back on that thread, never from inside an
// operation of this class. It connects by itself, finds the loss of a connection by itself, and
// connects again after 1, 2, 5 and then every 10 seconds: see simulators/RemoteSimulator.h.
//
// Names are the simulator's own; an element of an array is written "name[2]".
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace bridge {

// A number or a text. A truth value is the number 0 or 1.
using Value = std::variant<double, std::string>;

// A command with its arguments, which only some simulators know.
struct Command {
  std::string name;
  std::vector<std::pair<std::string, Value>> arguments;
  std::vector<Command> atRelease{};  // at most one: what ends it in a simulator that holds none
};

class Simulator {
 public:
  class Observer {
   public:
    virtual ~Observer() = default;

    // The simulator answers. Next it tells the aircraft and every followed value that it has.
    virtual void onConnected() = 0;

    // The connection has ended, or the simulator hasn't answered for `kLongestSilence`. No value
    // counts any longer.
    virtual void onLost(const std::string& reason) = 0;

    // The names by which the aircraft is known, the most exact first (an id, an ICAO code, a
    // title). Called after onConnected and at each change.
    virtual void onAircraft(const std::vector<std::string>& names) = 0;

    // Tells a followed value, by its place in the list given to follow.
    virtual void onValue(std::size_t place, const Value& value) = 0;

    // The simulator doesn't know a followed value, or a command of the list given to follow. Either
    // may become known later, when an aircraft has been loaded; onValue and onCommandKnown tell.
    virtual void onValueUnknown(std::size_t place) = 0;
    virtual void onCommandUnknown(std::size_t place) = 0;
    virtual void onCommandKnown(std::size_t place) = 0;

    // A write or command was refused, in words for the log.
    virtual void onRefused(const std::string& reason) = 0;
  };

  // onLost is called within this time when a simulator hangs.
  static constexpr std::chrono::seconds kLongestSilence{10};

  virtual ~Simulator() = default;

  // The observer outlives the object. Called once, before anything else.
  virtual void start(Observer& observer) = 0;

  // Follows these values and commands in place of those before. They are kept when the connection
  // is lost.
  virtual void follow(std::vector<std::string> values, std::vector<Command> commands) = 0;

  // Does nothing while there is no connection, so that no press is carried out later.
  virtual void write(const std::string& name, const Value& value) = 0;
  virtual void run(const Command& command) = 0;

  // Holds a command until release, or until the connection ends. A simulator without held commands
  // runs it once, and `atRelease` at its release.
  virtual void hold(const Command& command) = 0;
  virtual void release(const Command& command) = 0;

  // Gets the names of values and commands that contain `pattern`, sorted; on failure an empty list
  // and the reason. FlightGear doesn't tell its commands. To be called while there is a connection.
  using Names = std::function<void(std::vector<std::string> names, std::string error)>;
  virtual void listNames(const std::string& pattern, Names done) = 0;
};

}  // namespace bridge
