// Whether the plug-in has a simulator's side to talk to. The Stream Deck application isn't told,
// and the deck keeps out of the link: it reads the plug-in's own log lines. One thread.
#pragma once

#include <string>

class LinkWatch {
 public:
  enum class State {
    Unknown,  // the plug-in hasn't said anything of it
    Awaited,  // no simulator's side has come yet
    Up,
    Silent,     // nothing has been heard from it for 10 seconds or more
    Dropped,    // the plug-in couldn't do what it was told, and gave the link up for now
    Impossible  // a store can't be opened: there is no link in this run
  };

  // Takes the text of a log line that came at `now`. True: it has changed what is known.
  bool heard(const std::string& line, double now);

  // The plug-in has gone.
  void reset() { *this = LinkWatch(); }

  State state() const { return current; }

  // As a word, for JSON.
  const char* word() const;

  // In seconds, on the clock of `now`. Silence began before the plug-in spoke of it.
  double since() const { return start; }

 private:
  State current = State::Unknown;
  double start = 0;
};
