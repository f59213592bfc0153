#include "bridge/PanelFile.h"

#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "bridge/PanelReader.h"

namespace bridge {

namespace {

constexpr std::uintmax_t kLargest = 1 << 20;  // bytes; the largest that ships has some 20,000

bool isBefore(const PanelFile::Problem& one, const PanelFile::Problem& other) {
  return std::tie(one.line, one.column) < std::tie(other.line, other.column);
}

// nullopt: it can't be read.
std::optional<std::string> contentOf(const std::filesystem::path& file) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(file, error)) return std::nullopt;
  if (std::filesystem::file_size(file, error) > kLargest || error) return std::nullopt;
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  return stream ? std::optional(text.str()) : std::nullopt;
}

}  // namespace

std::string PanelFile::Problem::describe() const {
  std::string where = file + ":";
  if (line > 0) where += std::to_string(line) + ":" + std::to_string(column) + ":";
  return where + " " + text;
}

PanelFile::PanelFile(const std::filesystem::path& file, const std::vector<std::string>& symbols) {
  if (const auto text = contentOf(file)) {
    *this = fromText(*text, file, symbols);
  } else {
    found.push_back({file.string(), 0, 0, "can't be read, or is no panel file"});
  }
}

PanelFile PanelFile::fromText(const std::string& text, const std::filesystem::path& file,
                              const std::vector<std::string>& symbols) {
  PanelFile result;
  try {
    PanelReader(file, symbols, result.read, result.found).read(YAML::Load(text));
  } catch (const YAML::Exception& error) {
    result.found.push_back({file.string(), error.mark.line + 1, error.mark.column + 1, error.msg});
  }
  std::stable_sort(result.found.begin(), result.found.end(), isBefore);
  return result;
}

}  // namespace bridge
