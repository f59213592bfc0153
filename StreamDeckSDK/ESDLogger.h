// One call for every log line of the process: ESDLogWithContext(__FILE__, ...).
//
// A line reads: the source file's name, a colon, a blank, the message. It goes to the Stream Deck
// application's log, once there is a connection, and to the system log. Any thread may log. A log
// line never raises: bytes that aren't UTF-8, which a library's error text may quote from a bad
// message, become U+FFFD, a text that doesn't fit its arguments is logged without them, and what
// can't be delivered to one log is lost there alone.
//
// A line of more than kMaxLineBytes is cut there and says how long it was: a system log takes no
// more for certain, and an error text may quote a message of megabytes. The reason comes first in
// such a text.
//
// A debug log call tests ESDLogger::disableDebugLogging at the call site first, so that with the
// flag set not even its arguments are evaluated.
#pragma once

#include <fmt/format.h>

#include <string>
#include <type_traits>

class ESDConnectionManager;

// Static only.
class ESDLogger {
 public:
  static constexpr std::size_t kMaxLineBytes = 960;

  // Written before any other thread exists.
  static bool disableDebugLogging;

  // Where lines go to the Stream Deck application; not owned.
  static void SetConnectionManager(ESDConnectionManager* manager);

  // `context` is a source file's path, of which only the last component shows.
  static void LogMessage(const std::string& context, const std::string& message) noexcept;

  // The same with an fmt format string and its arguments as a message.
  static void LogFormatted(const std::string& context, fmt::string_view format,
                           fmt::format_args arguments) noexcept;

  // Nothing happens without a connection manager.
  static void LogToStreamDeckSoftware(const std::string& line);

  static void LogToSystem(const std::string& line);
};

// Plain form: the message as it is. Braces are ordinary characters.
template <typename Message,
          typename = std::enable_if_t<std::is_convertible_v<const Message&, std::string>>>
void ESDLogWithContext(const std::string& context, const Message& message) {
  ESDLogger::LogMessage(context, message);
}

// Format form: one or more arguments for the placeholders of an fmt format string.
template <typename First, typename... Rest>
void ESDLogWithContext(const std::string& context,
                       fmt::format_string<const First&, const Rest&...> format, const First& first,
                       const Rest&... rest) {
  ESDLogger::LogFormatted(context, format, fmt::make_format_args(first, rest...));
}
