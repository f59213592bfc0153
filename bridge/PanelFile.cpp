#include "bridge/PanelFile.h"

#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "bridge/PanelReader.h"
#include "bridge/Text.h"

namespace bridge {

namespace {

constexpr std::uintmax_t kLargest = 1 << 20;  // bytes; the largest that ships has some 20,000

bool isBefore(const PanelFile::Problem& one, const PanelFile::Problem& other) {
  return std::tie(one.line, one.column) < std::tie(other.line, other.column);
}

// Throws std::runtime_error, which says why the file can't be read.
std::string contentOf(const std::filesystem::path& file) {
  std::error_code error;
  if (!std::filesystem::exists(file, error)) throw std::runtime_error("there is no such file");
  if (!std::filesystem::is_regular_file(file, error)) throw std::runtime_error("is no file");
  if (std::filesystem::file_size(file, error) > kLargest) {
    throw std::runtime_error("has more than 1 MB, which no panel file has");
  }
  std::ifstream stream(file, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  if (!stream) throw std::runtime_error("can't be read");
  return text;
}

PanelFile::Problem problemAt(const std::string& text, std::size_t offset, std::string what) {
  const auto start = offset == 0 ? std::string::npos : text.rfind('\n', offset - 1);
  const auto line =
      std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(offset), '\n');
  return {"", static_cast<int>(line) + 1, static_cast<int>(offset - start), std::move(what)};
}

// The offset of a tab that a line is indented with; npos: there is none.
std::size_t findIndentingTab(const std::string& text) {
  for (auto tab = text.find('\t'); tab != std::string::npos; tab = text.find('\t', tab + 1)) {
    const auto before = text.find_last_not_of(' ', tab - 1);
    if (tab == 0 || before == std::string::npos || text[before] == '\n') return tab;
  }
  return std::string::npos;
}

// Explains why the YAML library can't read a text. It has no word of its own for a tab.
PanelFile::Problem explain(const YAML::Exception& error, const std::string& text) {
  const std::size_t tab = findIndentingTab(text);
  if (tab != std::string::npos) return problemAt(text, tab, "a tab: indent with blanks");
  return {"", error.mark.line + 1, error.mark.column + 1, error.msg};
}

}  // namespace

std::string PanelFile::Problem::describe() const {
  std::string where = file + ":";
  if (line > 0) where += std::to_string(line) + ":" + std::to_string(column) + ":";
  return where + " " + text;
}

PanelFile::PanelFile(const std::filesystem::path& file, const std::vector<std::string>& symbols) {
  try {
    *this = fromText(contentOf(file), file, symbols);
  } catch (const std::runtime_error& error) {
    found.push_back({file.string(), 0, 0, error.what()});
  }
}

PanelFile PanelFile::fromText(const std::string& text, const std::filesystem::path& file,
                              const std::vector<std::string>& symbols) {
  PanelFile result;
  // The YAML library passes bytes that aren't UTF-8 on, and no message of the link can carry them.
  if (const std::size_t valid = Text::validBytes(text); valid < text.size()) {
    result.found.push_back(problemAt(text, valid, "not UTF-8: save the file in that encoding"));
  } else {
    try {
      PanelReader(file, symbols, result.read, result.found).read(YAML::Load(text));
    } catch (const YAML::Exception& error) {
      result.found.push_back(explain(error, text));
    }
  }
  for (Problem& problem : result.found) problem.file = file.string();
  std::stable_sort(result.found.begin(), result.found.end(), isBefore);
  return result;
}

}  // namespace bridge
