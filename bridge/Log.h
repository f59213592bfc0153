// Prints lines on standard error, each with the seconds since a start in front. Any thread may
// call.
#pragma once

#include <string>

namespace bridge {

class Log {
 public:
  // Sets the start, in nanoseconds of the monotonic clock, so that the lines of several processes
  // can be compared. Without it the process's own start counts.
  static void setStart(const std::string& nanoseconds);

  // Sets whether details are printed as well.
  static void setVerbose(bool isVerboseNow);
  static bool isVerbose();

  static void line(const std::string& text);
  static void detail(const std::string& text);
};

}  // namespace bridge
