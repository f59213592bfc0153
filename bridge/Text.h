// Small helpers for texts. Any thread may call.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace bridge {

class Text {
 public:
  // Returns the text as UTF-8: bytes that aren't become U+FFFD, and the text is cut before a zero
  // byte and after 200 bytes.
  static std::string repaired(const std::string& text);

  // Returns the number of bytes up to the first that isn't UTF-8; a zero byte isn't.
  static std::size_t validBytes(const std::string& text);

  // Returns at most so many bytes of the text, cut between characters, and says how many it had.
  static std::string shortened(const std::string& text, std::size_t bytes);

  // Returns whether two texts are the same but for capital letters of ASCII.
  static bool isSame(const std::string& one, const std::string& other);

  // Finds the known word that is nearest to a misspelt one. Returns `, did you mean "lamp"?`, or an
  // empty text if no word is near.
  static std::string didYouMean(const std::string& word, const std::vector<std::string>& known);
};

}  // namespace bridge
