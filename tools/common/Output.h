// Lines that the programs print and read at a terminal.
#pragma once

#include <chrono>
#include <string>

// Prints lines. If a prompt is on show they appear above it, and a half-typed line stays.
class Output {
 public:
  // Sets the common start, in nanoseconds of the monotonic clock. Without it the process's own
  // start counts.
  static void setStart(const std::string& nanoseconds);
  static std::string start();

  // Seconds since the start.
  static double now();

  // Prints a line with the seconds since the start in front, so that the lines of several processes
  // can be compared. Any thread may call.
  static void line(const std::string& text);

  // Prints a line as it is. Any thread may call.
  static void plain(const std::string& text);
};

// Waits for lines on standard input and for Ctrl-C, SIGTERM, SIGHUP or the end of the input. At a
// terminal it shows a prompt, and lines can be edited and called back. One object, one thread.
class Input {
 public:
  // Takes over the three signals for the whole process. If `prompt` is empty, none is shown.
  explicit Input(const std::string& prompt = "");
  ~Input();

  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  enum class Event { Line, Nothing, End };

  // Waits for the next line, at most for `patience` or a tenth of a second, whichever is shorter.
  Event next(std::string& line, std::chrono::milliseconds patience);

  // Takes the prompt away, until the next line is waited for.
  void hidePrompt();

  // Returns whether one of the signals has come.
  static bool isToldToEnd();

 private:
  Event edit(std::string& line);
  bool takeLine(std::string& line);

  std::string prompt;
  std::string buffer;
};
