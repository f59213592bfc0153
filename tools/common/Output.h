// What the stand-ins print: one line at a time, with the seconds since a common start in front, so
// that the lines of several processes can be compared.
#pragma once

#include <chrono>
#include <string>

class Output {
 public:
  // Sets the common start, in nanoseconds of the monotonic clock. Without it the process's own
  // start counts.
  static void setStart(const std::string& nanoseconds);
  static std::string start();

  // Seconds since the start.
  static double now();

  // Prints a line. Any thread may call.
  static void line(const std::string& text);
};

// Waits for lines on standard input and for Ctrl-C, SIGTERM or the end of the input.
class Input {
 public:
  // Takes over the two signals for the whole process.
  Input();

  enum class Event { Line, Nothing, End };

  // Waits for the next line, for `patience` or a tenth of a second at most.
  Event next(std::string& line, std::chrono::milliseconds patience);

  // Whether one of the signals has come.
  static bool isToldToEnd();

 private:
  bool takeLine(std::string& line);

  std::string buffer;
};
