#include "tools/deck/PluginFolder.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

bool leavesFolder(const fs::path& folder, const std::string& path) {
  std::error_code error;
  const fs::path root = fs::canonical(folder, error);
  if (error) return true;
  const fs::path file = fs::weakly_canonical(root / path, error);
  return error ||
         std::mismatch(root.begin(), root.end(), file.begin(), file.end()).first != root.end();
}

std::optional<std::string> readPluginFile(const fs::path& folder, const std::string& path) {
  std::error_code error;
  if (leavesFolder(folder, path) || !fs::is_regular_file(folder / path, error)) return std::nullopt;
  std::ifstream stream(folder / path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(stream), {});
}
