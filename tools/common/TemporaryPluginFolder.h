// A folder like the one that the plug-in is installed in, and the real stores' files: both are new
// when the object is made, and gone when it goes.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

class TemporaryPluginFolder {
 public:
  using Path = std::filesystem::path;

  TemporaryPluginFolder() {
    removeRegions();
    std::string name = (std::filesystem::temp_directory_path() / "velomar-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder to be had");
    path = name;
    std::filesystem::create_directory(path / "images");
    std::filesystem::create_directory(path / "layouts");
  }
  ~TemporaryPluginFolder() {
    std::filesystem::remove_all(path);
    removeRegions();
  }
  TemporaryPluginFolder(const TemporaryPluginFolder&) = delete;
  TemporaryPluginFolder& operator=(const TemporaryPluginFolder&) = delete;

  static Path region(const std::string& store) { return "/var/tmp/simdb_" + store; }

  Path path;

 private:
  static void removeRegions() {
    for (const char* store : {"ToXPlane", "FromXPlane"}) std::filesystem::remove_all(region(store));
  }
};
