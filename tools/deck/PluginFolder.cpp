#include "tools/deck/PluginFolder.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

std::optional<std::string> readPluginFile(const fs::path& folder, const std::string& path) {
  std::error_code error;
  const fs::path root = fs::canonical(folder, error);
  if (error) return std::nullopt;
  const fs::path file = fs::canonical(root / fs::path(path).relative_path(), error);
  if (error || !fs::is_regular_file(file, error)) return std::nullopt;
  if (std::mismatch(root.begin(), root.end(), file.begin(), file.end()).first != root.end()) {
    return std::nullopt;
  }
  std::ifstream stream(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(stream), {});
}
