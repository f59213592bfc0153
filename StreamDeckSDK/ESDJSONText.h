// From text to JSON, for every text that comes from outside: frames of the Stream Deck application,
// messages of the simulator, the launch information and language files.
//
// The values and the errors are the JSON library's own. This class adds speed with long strings,
// such as images, and a limit to the nesting: the library parses without recursion but copies and
// writes with it, so a text of nothing but brackets would use up the stack. The time grows with the
// length of the text, whatever is in it.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

// Static only. Any thread may call.
class ESDJSONText {
 public:
  // Deepest nesting accepted.
  static constexpr std::size_t kMaxDepth = 512;

  // Reads a text that holds one value and nothing else but white space. Raises the library's
  // parse_error or out_of_range, and std::runtime_error for a value that nests deeper than
  // kMaxDepth.
  static nlohmann::json Read(const std::string& text);

  // Reads the first value of the text and ignores what follows it. Raises as Read does.
  static nlohmann::json ReadFirst(const std::string& text);

  // Whether a JSON string holds the characters as they are: ASCII with nothing to escape.
  static bool IsPlain(std::string_view text);
};
