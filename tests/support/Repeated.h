// A text some number of times over.
#pragma once

#include <string>

inline std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}
