// Finds out whether the plug-in is linked to a simulator's side. The Stream Deck application isn't
// told of the link, and the deck must not take part in it, so this reads the plug-in's log lines.
// One thread.
#pragma once

#include <string>

class LinkWatch {
 public:
  enum class State {
    Unknown,  // the plug-in isn't there
    Awaited,  // no simulator's side has come yet
    Up,
    Silent,     // nothing has been heard from it for 10 seconds or more
    Dropped,    // the plug-in couldn't do what it was told, and gave the link up for now
    Impossible  // a store can't be opened: there is no link in this run
  };

  // Takes the text of a log line that came at `now`. True: the state has changed.
  bool heard(const std::string& line, double now);

  // The plug-in has come, at `now`. It says nothing of the link for its first seconds.
  void begin(double now);

  // The plug-in has gone.
  void reset() { *this = LinkWatch(); }

  State state() const { return current; }

  // The state as a word, for JSON.
  const char* word() const;

  // The time at which the state began, in seconds on the clock of `now`. Silence begins before the
  // plug-in logs it.
  double since() const { return start; }

 private:
  State current = State::Unknown;
  double start = 0;
};
