#include "bridge/Text.h"

#include <glib.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <numeric>

#include "common/Helpers.h"

namespace bridge {

namespace {

constexpr std::size_t kLongest = 200;

constexpr std::size_t kLongestName = 60;

bool isSameLetter(char one, char other) {
  return std::tolower(static_cast<unsigned char>(one)) ==
         std::tolower(static_cast<unsigned char>(other));
}

// The optimal string alignment distance: it counts insertions, deletions, changes, and swaps of
// neighbours.
std::size_t distance(const std::string& one, const std::string& other) {
  std::vector<std::size_t> before(other.size() + 1);
  std::vector<std::size_t> last(other.size() + 1);
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(last.begin(), last.end(), 0);
  for (std::size_t i = 1; i <= one.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= other.size(); ++j) {
      const std::size_t change = last[j - 1] + (isSameLetter(one[i - 1], other[j - 1]) ? 0 : 1);
      row[j] = std::min({change, last[j] + 1, row[j - 1] + 1});
      const bool isSwapped = i > 1 && j > 1 && isSameLetter(one[i - 1], other[j - 2]) &&
                             isSameLetter(one[i - 2], other[j - 1]);
      if (isSwapped) row[j] = std::min(row[j], before[j - 2] + 1);
    }
    before.swap(last);
    last.swap(row);
  }
  return last.back();
}

}  // namespace

std::string Text::repaired(const std::string& text) {
  const std::string whole = text.substr(0, text.find('\0'));
  const std::string part = whole.substr(0, wholeCharacters(whole, kLongest));
  const std::unique_ptr<char, decltype(&g_free)> valid(
      g_utf8_make_valid(part.data(), static_cast<gssize>(part.size())), &g_free);
  return valid.get();
}

std::size_t Text::validBytes(const std::string& text) {
  const char* end = nullptr;
  (void)g_utf8_validate(text.data(), static_cast<gssize>(text.size()), &end);
  return static_cast<std::size_t>(end - text.data());
}

std::string Text::shortened(const std::string& text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  return text.substr(0, wholeCharacters(text, bytes)) + "... (" + std::to_string(text.size()) +
         " bytes)";
}

bool Text::isSame(const std::string& one, const std::string& other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(), isSameLetter);
}

std::string Text::didYouMean(const std::string& word, const std::vector<std::string>& known) {
  if (word.size() > kLongestName) return "";
  const std::string* best = nullptr;
  std::size_t least = std::max<std::size_t>(word.size() / 3, 1) + 1;
  for (const std::string& candidate : known) {
    if (candidate.size() > kLongestName) continue;
    const std::size_t steps = distance(word, candidate);
    if (steps >= least) continue;
    least = steps;
    best = &candidate;
  }
  return best == nullptr ? "" : ", did you mean \"" + *best + "\"?";
}

}  // namespace bridge
