#include "plugin/ScratchFolders.h"

#include <fcntl.h>

#include <cstdio>
#include <filesystem>
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

// Whatever somebody has put under the name: a link isn't followed out of the folder, and a pipe
// without a reader isn't waited for.
void writeScratchFile(const std::string& path, const std::string& content) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  const int fd = open(path.c_str(), kFlags, 0666);
  std::FILE* file = fd == -1 ? nullptr : fdopen(fd, "wb");
  if (file == nullptr) return;
  (void)std::fwrite(content.data(), 1, content.size(), file);
  (void)std::fclose(file);
}
