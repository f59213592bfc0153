// Long JSON texts of the kinds that cost readers differently, and the JSON library's own reading to
// compare with, for tests, fuzzing and benchmarks.
#pragma once

#include <exception>
#include <functional>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "StreamDeckSDK/ESDJSONText.h"

struct JsonTexts {
  using Make = std::function<std::string(std::size_t)>;

  // By name: the function that makes a text of about so many bytes.
  static const std::vector<std::pair<std::string, Make>>& all() {
    static const std::vector<std::pair<std::string, Make>> kinds = {
        {"plain", inString("QUJD")},
        {"escapes", inString("\\n")},
        {"escaped slashes", inString(std::string(60, 'Q') + "\\/")},
        {"quotes", inString("\\\"")},
        {"unicode escapes", inString("\\u00e9")},
        {"UTF-8", inString("\xc3\xa9\xe2\x82\xac")},
        {"braces", inString("{[]}")},
        {"digits", [](std::size_t bytes) { return "[0." + times("7", bytes) + "]"; }},
        {"nesting",
         [](std::size_t bytes) {
           return "[" + times(times("[", 500) + times("]", 500) + ",", bytes) + "0]";
         }},
        {"members", members},
        {"strings", [](std::size_t bytes) { return "[" + times("\"\",", bytes) + "0]"; }},
        {"open string", [](std::size_t bytes) { return "[\"" + times("\\\\", bytes); }}};
    return kinds;
  }

  // `part` again and again, at least so many bytes.
  static std::string times(const std::string& part, std::size_t bytes) {
    std::string text;
    text.reserve(bytes + part.size());
    while (text.size() < bytes) text += part;
    return text;
  }

 private:
  static Make inString(const std::string& part) {
    return [part](std::size_t bytes) {
      return R"({"Message":"Set Title","Title":")" + times(part, bytes) + "\"}";
    };
  }

  static std::string members(std::size_t bytes) {
    std::string text = "{";
    for (int i = 0; text.size() < bytes; ++i) text += '"' + std::to_string(i) + "\":1,";
    return text + "\"end\":1}";
  }
};

// The first value of a text as the library alone reads it.
inline nlohmann::json firstByLibrary(const std::string& text) {
  nlohmann::json value;
  std::istringstream(text) >> value;
  return value;
}

// The value that a reading gives as text, or the error that it raises.
template <typename Read>
std::string told(Read read, const std::string& text) {
  try {
    return read(text).dump();
  } catch (const std::exception& e) {
    return e.what();
  }
}

constexpr char kTooDeep[] = "the JSON nests too deeply";

// Whether all readings of the text are the library's, errors included, but for what nests too
// deeply: the library isn't asked to read that.
inline bool isReadAsByTheLibrary(const std::string& text) {
  const auto allByLibrary = [](const std::string& whole) { return nlohmann::json::parse(whole); };
  const std::string first = told(ESDJSONText::ReadFirst, text);
  const std::string all = told(ESDJSONText::Read, text);
  return (first == kTooDeep || first == told(firstByLibrary, text)) &&
         (all == kTooDeep || all == told(allByLibrary, text));
}
