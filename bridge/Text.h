// Small things done to texts. Any thread may call.
#pragma once

#include <string>

namespace bridge {

class Text {
 public:
  // As UTF-8, in one piece: what isn't is U+FFFD, and it ends before a zero byte and after 200
  // bytes.
  static std::string repaired(const std::string& text);

  // At most so many bytes, never ending inside of a character, and how many there were.
  static std::string shortened(const std::string& text, std::size_t bytes);
};

}  // namespace bridge
