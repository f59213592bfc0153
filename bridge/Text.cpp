#include "bridge/Text.h"

#include <glib.h>

#include <memory>

namespace bridge {

namespace {

constexpr std::size_t kLongest = 200;

std::string cut(const std::string& text, std::size_t bytes) {
  std::size_t end = bytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
  return text.substr(0, end);
}

}  // namespace

std::string Text::repaired(const std::string& text) {
  const std::string whole = text.substr(0, text.find('\0'));
  const std::string part = whole.size() > kLongest ? cut(whole, kLongest) : whole;
  const std::unique_ptr<char, decltype(&g_free)> valid(
      g_utf8_make_valid(part.data(), static_cast<gssize>(part.size())), &g_free);
  return valid.get();
}

std::string Text::shortened(const std::string& text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  return cut(text, bytes) + "... (" + std::to_string(text.size()) + " bytes)";
}

}  // namespace bridge
