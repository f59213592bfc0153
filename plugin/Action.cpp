#include "plugin/Action.h"

#include <cstdlib>

#include "common/Helpers.h"

namespace {

constexpr int kTarget = 0;  // hardware and software
constexpr int kAnyState = -1;

constexpr char kBlankIcon[] = "SDPlusIcon.png";

constexpr int kLines = 10;
constexpr std::size_t kTitleBytes = 999;
constexpr int kMaxValue = 100;

// Cuts a title to the part that a dial accepts. A cut never leaves half a character: the text has
// to stay UTF-8 to be sent at all.
std::string cutTitle(const std::string& title) {
  const std::string text = title.substr(0, title.find('\0'));
  return text.substr(0, wholeCharacters(text, kTitleBytes));
}

}  // namespace

std::string Action::imagePath(std::uint32_t id) {
  return "images/" + std::to_string(id) + ".png";
}

void Action::SetImage(const std::string& base64, std::uint32_t id) {
  if (isEncoder.load(std::memory_order_relaxed)) {
    SetFeedback({{"icon", base64.empty() ? kBlankIcon : imagePath(id)}});
  } else {
    ESDAction::SetImage(base64, kTarget, kAnyState);
  }
}

void Action::SetTitle(const std::string& title) {
  if (!isEncoder.load(std::memory_order_relaxed)) {
    ESDAction::SetTitle(title, kTarget, kAnyState);
    return;
  }
  const std::string text = cutTitle(title);
  int index = 0;
  for (std::size_t begin = 0; begin != std::string::npos && index < kLines; ++index) {
    const std::size_t end = text.find('\n', begin);
    setLine(index, text.substr(begin, end - begin));
    begin = end == std::string::npos ? end : end + 1;
  }
  for (; index < kLines; ++index) SetFeedback({{"line" + itoString(index), ""}});
}

void Action::setLine(int index, const std::string& line) {
  SetFeedback({{"line" + itoString(index), line}});
  if (!is_number(line)) return;
  const int value = std::atoi(line.c_str());
  if (value >= 0 && value <= kMaxValue) SetFeedback({{"val" + itoString(index), value}});
}
