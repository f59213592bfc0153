// An installed plug-in: its folder, and the members of its manifest that the host needs.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

struct Bundle {
  std::filesystem::path folder;   // the program's working directory
  std::string name;               // of the folder; the program has to register with it
  std::filesystem::path program;  // absolute
  std::string uuid;
  std::string version;
  std::string layout;      // of a dial at first, a path in the folder
  std::string stateImage;  // of a key without an image, a path in the folder; may be empty
};

// Reads the manifest, on Linux with the patch for Linux merged into it, and makes the program that
// it names for this system executable. Throws std::exception with the reason if that fails.
Bundle openBundle(const std::filesystem::path& folder);

// Returns whether a path, taken from `folder` and with links resolved, lies outside of it. The file
// itself may be missing.
bool leavesFolder(const std::filesystem::path& folder, const std::string& path);

// The content of a file whose path is relative to `folder`. nullopt: it can't be read, or it leaves
// the folder.
std::optional<std::string> readPluginFile(const std::filesystem::path& folder,
                                          const std::string& path);
