#include "plugin/ScratchFolders.h"

#include <filesystem>
#include <fstream>
#include <system_error>

namespace fs = std::filesystem;

namespace {

void cleanFolder(const char* folder) {
  std::error_code error;
  fs::directory_iterator entry(folder, error);
  while (!error && entry != fs::directory_iterator()) {
    std::error_code ignored;
    // The entry's own type: a link is removed and its target stays.
    const fs::file_type type = entry->symlink_status(ignored).type();
    if (type == fs::file_type::regular || type == fs::file_type::symlink) {
      fs::remove(entry->path(), ignored);
    }
    entry.increment(error);
  }
}

}  // namespace

void cleanImageFolder() {
  cleanFolder("images");
}

void cleanLayoutsFolder() {
  cleanFolder("layouts");
}

void writeScratchFile(const std::string& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
}
