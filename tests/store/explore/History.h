// The calls of threads on a store with their answers, and checks whether a map could have given the
// same answers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace explore {

struct Action {
  enum Kind { Put, Get, GetByValue, GetRaw, Del, Len, List, Take, PeerPut, PeerDel };
  Kind kind;
  std::string key;
  std::string value;
};

struct Event {
  Action action;
  std::uint64_t begin = 0;
  std::uint64_t end = ~std::uint64_t{0};  // of a call that was killed: never
  bool result = false;
  std::string value;               // read
  std::vector<std::string> found;  // listed or taken
  bool isOver() const { return end != ~std::uint64_t{0}; }
};

using History = std::vector<Event>;

// The action that a word of a program names. The process ends if there is none.
Action::Kind kindNamed(const std::string& word);

std::string text(const Event& event);

// Returns whether the events have an order in which a map gives each answer, and in which an event
// that ended before another began comes first (M. Herlihy, J. Wing: linearizability, TOPLAS 1990;
// searched as by Wing and Gong). A call that was killed may have had its effect or not.
// `mayRefuse`: a put may say that there is no room.
bool isLinearizable(const History& history, bool mayRefuse);

// Returns whether each key of each listing was in the store at some moment of that listing.
bool listsWhatWasThere(const History& history);

// Returns whether keys were taken in rising order, each once, with the value that was put.
bool tookInOrder(const History& history);

}  // namespace explore
