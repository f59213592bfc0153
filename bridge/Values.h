// The simulator's values that a panel follows, by their place in the panel's list. One thread.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "bridge/Simulator.h"

namespace bridge {

class Values {
 public:
  enum class State {
    Waiting,  // not told yet
    Known,
    Unknown,  // the simulator has no such value
  };

  // Begins a list of `count` values, none of which is known.
  void reset(std::size_t count) { entries = std::vector<Entry>(count); }

  // Forgets what was told, because the connection has ended. What is unknown remains so until it is
  // told: nothing tells of a row that has no name for the simulator.
  void forget() {
    for (Entry& entry : entries) {
      if (entry.state == State::Known) entry.state = State::Waiting;
    }
  }

  void set(std::size_t place, const Value& value);
  void setUnknown(std::size_t place) { entries[place].state = State::Unknown; }

  std::size_t size() const { return entries.size(); }
  State state(std::size_t place) const { return entries[place].state; }

  // Null: the value isn't known. Valid until the next change.
  const Value* find(std::size_t place) const {
    return entries[place].state == State::Known ? &entries[place].value : nullptr;
  }

  // nullopt: the value isn't known, or is a text.
  std::optional<double> number(std::size_t place) const {
    const Value* value = find(place);
    const double* number = value == nullptr ? nullptr : std::get_if<double>(value);
    return number == nullptr ? std::nullopt : std::optional<double>(*number);
  }

 private:
  struct Entry {
    State state = State::Waiting;
    Value value;
  };

  std::vector<Entry> entries;
};

}  // namespace bridge
