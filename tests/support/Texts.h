// Texts: made, read from files and programs, and searched.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <utility>
#include <vector>

inline std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

inline std::string contentOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// The output of a shell's command, and the code that it ends with.
inline std::pair<std::string, int> outputOf(const std::string& command) {
  FILE* stream = popen(command.c_str(), "r");
  std::string text;
  for (int byte = fgetc(stream); byte != EOF; byte = fgetc(stream)) {
    text += static_cast<char>(byte);
  }
  const int status = pclose(stream);
  return {text, WEXITSTATUS(status)};
}

// The pattern's first group in each of its matches.
inline std::vector<std::string> found(const std::string& text, const char* pattern) {
  const std::regex regex(pattern);
  std::vector<std::string> all;
  for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
    all.push_back((*match)[1]);
  }
  return all;
}
