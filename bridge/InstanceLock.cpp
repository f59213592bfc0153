#include "bridge/InstanceLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace bridge {

namespace {

std::string contentOf(int descriptor) {
  char text[64];
  const ssize_t count = pread(descriptor, text, sizeof text, 0);
  return count > 0 ? std::string(text, static_cast<std::size_t>(count)) : "another one";
}

}  // namespace

InstanceLock::InstanceLock(const std::filesystem::path& file)
    : descriptor(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)) {
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
  const std::string own = "process " + std::to_string(getpid());
  // A failure here leaves the file without its holder's name, and the lock is as good.
  (void)!ftruncate(descriptor, 0);
  (void)!pwrite(descriptor, own.data(), own.size(), 0);
}

InstanceLock::~InstanceLock() {
  close(descriptor);
}

}  // namespace bridge
