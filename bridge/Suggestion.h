// "did you mean": the known word that is nearest to a misspelt one. Any thread may call.
#pragma once

#include <string>
#include <vector>

namespace bridge {

class Suggestion {
 public:
  // `, did you mean "lamp"?`, or nothing if no word is near.
  static std::string among(const std::string& word, const std::vector<std::string>& known);
};

}  // namespace bridge
