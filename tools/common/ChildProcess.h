// A program started by this one, with its standard input and output on pipes.
//
// The child gets a process group of its own, so that Ctrl-C at the terminal reaches only this
// process. No other process holds the far end of its input, so that the input ends if this process
// dies: a child that ends with its input never outlives us. Its output is read line by line on a
// thread of the object. One thread uses an object.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

class ChildProcess {
 public:
  using LineHandler = std::function<void(const std::string&)>;

  struct Options {
    std::string folder;            // to run in; empty: this process's own
    bool withErrorOutput = false;  // standard error counts as output too
    LineHandler onLine;            // called on the reading thread; may be empty
  };

  // Starts `command[0]` with the other elements as arguments. Throws std::system_error if that
  // fails, also if there is no such program or folder.
  ChildProcess(const std::vector<std::string>& command, Options options);

  // Kills the child if it still runs.
  ~ChildProcess();

  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Writes a line to the child's standard input. If the child has gone, the line is lost.
  void writeLine(const std::string& line);
  void closeInput();

  void signal(int number) const;

  // Waits for the child's end. Returns its exit code, or 128 and the signal that ended it. nullopt:
  // it still runs.
  std::optional<int> waitForEnd(std::chrono::milliseconds patience);

  // Waits for a line that holds `text`, from line `from` on. Returns the index after it. nullopt:
  // it didn't come in time, or the child's output has ended without it.
  std::optional<std::size_t> waitForLine(const std::string& text,
                                         std::chrono::milliseconds patience, std::size_t from = 0);

  // All lines so far.
  std::vector<std::string> lines() const;

  pid_t pid() const { return child; }

 private:
  void readOutput(int fd, const LineHandler& onLine);

  pid_t child = -1;
  int input = -1;
  std::optional<int> result;
  std::thread reader;
  mutable std::mutex mutex;
  std::condition_variable changed;
  std::vector<std::string> output;
  bool hasEnded = false;  // the output
};
