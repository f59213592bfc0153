// Long JSON texts of the kinds that cost readers differently, for tests and benchmarks.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

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
