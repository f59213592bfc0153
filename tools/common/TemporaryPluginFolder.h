// A folder like the one that the plug-in is installed in. The folder is made with the object and
// removed with it, and the real stores' files are removed at both times.
#pragma once

#include <filesystem>
#include <string>

#include "tools/common/TemporaryFolder.h"

class TemporaryPluginFolder {
  const TemporaryFolder folder;

 public:
  using Path = std::filesystem::path;

  TemporaryPluginFolder() {
    removeRegions();
    std::filesystem::create_directory(path / "images");
    std::filesystem::create_directory(path / "layouts");
  }
  ~TemporaryPluginFolder() { removeRegions(); }

  static Path region(const std::string& store) { return "/var/tmp/simdb_" + store; }

  const Path& path = folder.path();

 private:
  static void removeRegions() {
    for (const char* store : {"ToXPlane", "FromXPlane"}) std::filesystem::remove_all(region(store));
  }
};
