// Files of a folder, for a reader that is told their names by somebody else.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

// Whether a path, taken from `folder` and with links resolved, lies outside of it. There need not
// be a file.
bool leavesFolder(const std::filesystem::path& folder, const std::string& path);

// The content of a file whose path is relative to `folder`. Nothing: it can't be read, or it leaves
// the folder.
std::optional<std::string> readPluginFile(const std::filesystem::path& folder,
                                          const std::string& path);
