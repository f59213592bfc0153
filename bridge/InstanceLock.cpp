#include "bridge/InstanceLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace bridge {

namespace {

constexpr int kMostTries = 100;

std::string contentOf(int descriptor) {
  char text[64];
  const ssize_t count = pread(descriptor, text, sizeof text, 0);
  return count > 0 ? std::string(text, static_cast<std::size_t>(count)) : "another one";
}

int lock(const std::filesystem::path& file) {
  const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (descriptor < 0) {
    const char* advice =
        errno == EACCES ? ", it is another user's: delete it once that one's bridge has ended" : "";
    throw std::runtime_error(file.string() + ": " + std::strerror(errno) + advice);
  }
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    const std::string owner = contentOf(descriptor);
    close(descriptor);
    throw std::runtime_error("velomar-bridge runs already: " + owner);
  }
  return descriptor;
}

bool isNamed(int descriptor, const std::filesystem::path& file) {
  struct stat own {};
  struct stat named {};
  return fstat(descriptor, &own) == 0 && lstat(file.c_str(), &named) == 0 &&
         own.st_dev == named.st_dev && own.st_ino == named.st_ino;
}

}  // namespace

InstanceLock::InstanceLock(const std::filesystem::path& path) : file(path), descriptor(lock(path)) {
  // The bridge that had the lock before us may have removed the file after we had opened it.
  for (int tries = 0; tries < kMostTries && !isNamed(descriptor, file); ++tries) {
    close(descriptor);
    descriptor = lock(file);
  }
  const std::string own = "process " + std::to_string(getpid());
  // A failure here leaves the file without its holder's name, and the lock is as good.
  (void)!ftruncate(descriptor, 0);
  (void)!pwrite(descriptor, own.data(), own.size(), 0);
}

InstanceLock::~InstanceLock() {
  // A file that stayed would be in another user's way.
  if (isNamed(descriptor, file)) (void)unlink(file.c_str());
  close(descriptor);
}

}  // namespace bridge
