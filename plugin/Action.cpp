#include "plugin/Action.h"

#include <algorithm>
#include <cstdlib>

#include "common/Helpers.h"

namespace {

constexpr int kTarget = 0;  // hardware and software
constexpr int kAnyState = -1;

constexpr char kBlankIcon[] = "SDPlusIcon.png";

constexpr int kLines = 10;
constexpr std::size_t kTitleBytes = 999;
constexpr int kMaxValue = 100;

bool isContinuationByte(char c) {
  return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// What a dial takes of a title. A cut never leaves half a character behind: the text has to stay
// UTF-8 to be sent at all.
std::string cutTitle(const std::string& title) {
  std::size_t end = std::min(title.find('\0'), title.size());
  if (end <= kTitleBytes) return title.substr(0, end);
  end = kTitleBytes;
  while (end > 0 && isContinuationByte(title[end])) --end;
  return title.substr(0, end);
}

}  // namespace

std::string Action::imagePath(std::uint32_t id) {
  return "images/" + std::to_string(id) + ".png";
}

void Action::SetImage(const std::string& base64, std::uint32_t id) {
  if (isEncoder) {
    SetFeedback({{"icon", base64.empty() ? kBlankIcon : imagePath(id)}});
  } else {
    ESDAction::SetImage(base64, kTarget, kAnyState);
  }
}

void Action::SetTitle(const std::string& title) {
  if (!isEncoder) {
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
