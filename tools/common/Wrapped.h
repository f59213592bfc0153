// Breaks a text into lines. Any thread may call.
#pragma once

#include <cstddef>
#include <sstream>
#include <string>

// Breaks a text between words, so that each line is shorter than `width` unless a word is longer.
inline std::string wrapped(const std::string& text, std::size_t width) {
  std::istringstream words(text);
  std::string all;
  std::size_t length = 0;
  for (std::string word; words >> word;) {
    const bool fits = length + 1 + word.size() < width;
    if (length > 0) all += fits ? " " : "\n";
    length = length > 0 && fits ? length + 1 + word.size() : word.size();
    all += word;
  }
  return all;
}
