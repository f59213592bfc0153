#include "plugin/ScratchFolders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr mode_t kFileMode = 0666;

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

void writeOver(int fd, off_t before, const std::string& content) {
  std::size_t written = 0;
  while (written < content.size()) {
    const ssize_t n = write(fd, content.data() + written, content.size() - written);
    if (n == 0 || (n < 0 && errno != EINTR)) break;
    if (n > 0) written += static_cast<std::size_t>(n);
  }
  const auto after = static_cast<off_t>(written);
  if (after < before) (void)ftruncate(fd, after);
}

}  // namespace

void cleanImageFolder() {
  cleanFolder("images");
}

void cleanLayoutsFolder() {
  cleanFolder("layouts");
}

// The earlier file is written over and then cut, not emptied first: file systems write a file that
// was emptied to the disk as soon as it is closed, which costs a hundred times more. A link isn't
// followed, since it may lead out of the folder, and a pipe is neither waited for nor written to.
void writeScratchFile(const std::string& path, const std::string& content) {
  const int fd =
      open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, kFileMode);
  if (fd == -1) return;
  struct stat status {};
  if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) writeOver(fd, status.st_size, content);
  (void)close(fd);
}
