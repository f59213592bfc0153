// Reads files of a folder whose names come from another program.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

// Returns whether a path, taken from `folder` and with links resolved, lies outside of it. The file
// itself may be missing.
bool leavesFolder(const std::filesystem::path& folder, const std::string& path);

// The content of a file whose path is relative to `folder`. nullopt: it can't be read, or it leaves
// the folder.
std::optional<std::string> readPluginFile(const std::filesystem::path& folder,
                                          const std::string& path);
