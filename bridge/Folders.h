// Where things are on this system. Any thread may call.
#pragma once

#include <filesystem>

namespace bridge {

class Folders {
 public:
  // The user's own settings and, in `panels`, panel files: ~/.config/velomar, or
  // ~/Library/Application Support/Velomar on macOS. It may be missing.
  static std::filesystem::path ofUser();

  // A folder that ships with the program: beside the program, or in the share folder of its prefix.
  static std::filesystem::path shipped(const char* name);

  // The file that a bridge locks, so that a second one on the machine finds out about the first.
  static std::filesystem::path lockFile();
};

}  // namespace bridge
