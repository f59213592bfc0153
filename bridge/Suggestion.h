// Finds the known word that is nearest to a misspelt one. Any thread may call.
#pragma once

#include <string>
#include <vector>

namespace bridge {

class Suggestion {
 public:
  // Returns `, did you mean "lamp"?`, or an empty text if no word is near.
  static std::string among(const std::string& word, const std::vector<std::string>& known);
};

}  // namespace bridge
