// Tolerant lookups in JSON that comes from outside, the guard against JSON that is too deep, and
// ways from text to JSON and back that are fast with long strings.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

// Static only. Any thread may call.
class EPLJSONUtils {
 public:
  // Levels of nesting that are let in. The JSON library parses without recursion but copies and
  // writes with it, so that a text of nothing but brackets would use up the stack.
  static constexpr int kMaxDepth = 512;

  // True, and a copy of the value in `output`, if `json` is an object that holds an object under
  // `name`. Else false, and `output` stays as it was.
  static bool GetObjectByName(const nlohmann::json& json, const std::string& name,
                              nlohmann::json& output);

  // The string that `json` holds under `name`, or the default if there is none.
  static std::string GetStringByName(const nlohmann::json& json, const std::string& name,
                                     const std::string& defaultString = "");

  // Whether the first JSON value of the text nests deeper than kMaxDepth. Of a text that isn't JSON
  // it looks at no less than a parser would.
  static bool IsTooDeep(const std::string& text);

  // The first JSON value of the text; what follows it isn't looked at. Raises the library's
  // parse_error if there is none. REQUIRES: the text isn't too deep.
  static nlohmann::json ParseFirst(const std::string& text);

  // The text that the library's dump yields, without indentation. Raises what dump raises if a
  // string isn't UTF-8.
  static std::string Dump(const nlohmann::json& value);
};
