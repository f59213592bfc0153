// What a key name stands for: how it looks in an aircraft's state, and what a user does to it.
//
// An instrument has no state of its own: all keys and dials of the same name share one.
#pragma once

#include <string>

#include "tools/cockpit/Aircraft.h"
#include "tools/cockpit/Face.h"

class Instrument {
 public:
  struct Look {
    Face face;
    std::string title;  // lines, on a dial
    bool isAlarm = false;
  };

  enum class Answer {
    Done,       // or nothing to do: the look says it all
    Confirmed,  // done, and worth a sign
    Refused,
    Held,  // lasts until the key is released
  };

  virtual ~Instrument() = default;

  virtual Look onKey(const Aircraft& aircraft, bool isHeld) const = 0;

  // The symbol of the key, and its words a line each.
  virtual Look onDial(const Aircraft& aircraft) const;

  // A key went down, a dial was pressed and released, the strip was tapped.
  virtual Answer press(Aircraft& aircraft) const = 0;

  // A dial was turned; far: while it was pressed.
  virtual void turn(Aircraft&, int /*ticks*/, bool /*isFar*/) const {}

  // The strip was held.
  virtual Answer hold(Aircraft&) const { return Answer::Done; }

  // Null: the name stands for nothing.
  static const Instrument* find(const std::string& keyName);
};
