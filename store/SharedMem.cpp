#include "store/SharedMem.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "store/RegionLayout.h"
#include "store/RegionSetup.h"

namespace store {

namespace {

constexpr std::size_t kPrefixLength = sizeof SharedMem::kPrefix - 1;
constexpr mode_t kFileMode = 0666;

// Of several steps that fail, the first is the cause.
void keepFirst(int& systemError) {
  if (systemError == 0) systemError = errno;
}

// Writes the path of the store's file. False: it is too long.
template <std::size_t Size>
bool writePath(char (&path)[Size], const char* name) {
  std::memcpy(path, SharedMem::kPrefix, kPrefixLength + 1);
  const std::size_t nameLength = std::strlen(name);
  if (kPrefixLength + nameLength >= Size) return false;
  std::memcpy(path + kPrefixLength, name, nameLength + 1);
  return true;
}

// Gives a new file its length. Two processes may both have found no file and both have created it:
// the lock lets one of them see that the other was first.
bool giveLength(int fd, u64 size, simdb_error& code, int& systemError) {
  (void)flock(fd, LOCK_EX);
  struct stat status {};
  const bool first = fstat(fd, &status) != 0 || status.st_size == 0;
  if (first && !SharedMem::lengthen(fd, size)) {
    code = SIMDB_RESIZE_FAILED;
    keepFirst(systemError);
  }
  if (flock(fd, LOCK_UN) != 0) {
    code = SIMDB_LOCK_FAILED;
    keepFirst(systemError);
  }
  return first;
}

int openOrCreate(const char* path, u64 size, bool& owner, simdb_error& code, int& systemError) {
  int fd = open(path, O_RDWR);
  if (fd != -1) {
    owner = false;
    return fd;
  }
  fd = open(path, O_RDWR | O_CREAT, kFileMode);
  // The steps go on after a failure and overwrite the code, so a file that can't be created ends
  // as a mapping that failed.
  if (fd == -1) {
    code = SIMDB_FILE_OPEN_FAILED;
    keepFirst(systemError);
  }
  owner = giveLength(fd, size, code, systemError);
  return fd;
}

void* mapFile(int fd, u64 size) {
  void* address = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (address == MAP_FAILED) return nullptr;
  // Blocks are touched in no order: to read ahead would only fill memory with pages of a new file.
  (void)posix_madvise(address, size, POSIX_MADV_RANDOM);
  return address;
}

}  // namespace

bool SharedMem::lengthen(int fd, u64 bytes) {
  struct statvfs space {};
  const bool hasRoom = fstatvfs(fd, &space) != 0 ||
                       static_cast<u64>(space.f_bavail) * static_cast<u64>(space.f_frsize) >= bytes;
  if (!hasRoom) errno = ENOSPC;
  return hasRoom && ftruncate(fd, static_cast<off_t>(bytes)) == 0;
}

SharedMem SharedMem::AllocAnon(const char* name, u64 size, bool /*raw*/, simdb_error* error) {
  simdb_error ignored = SIMDB_OK;
  simdb_error& code = error != nullptr ? *error : ignored;
  code = SIMDB_OK;

  SharedMem mem;
  mem.size = size;
  if (!writePath(mem.path, name)) {
    code = SIMDB_NAME_TOO_LONG;
    return mem;
  }

  const int fd = openOrCreate(mem.path, size, mem.owner, code, mem.systemError);
  struct stat status {};
  if (fstat(fd, &status) == 0) {
    mem.device = status.st_dev;
    mem.inode = status.st_ino;
  }
  mem.mapping = mem.region = mapFile(fd, size);
  if (mem.mapping == nullptr) keepFirst(mem.systemError);
  if (fd != -1) (void)close(fd);
  if (mem.mapping == nullptr) {
    code = SIMDB_MAP_FAILED;
  } else {
    mem.mapped = size;
  }
  return mem;
}

void SharedMem::FreeAnon(SharedMem& mem) {
  if (mem.mapping != nullptr) (void)munmap(mem.mapping, mem.mapped);
  (void)std::remove(mem.path);
  mem.clear();
}

SharedMem::SharedMem(SharedMem&& other) noexcept {
  take(other);
}

SharedMem& SharedMem::operator=(SharedMem&& other) noexcept {
  if (this != &other) {
    const SharedMem old(std::move(*this));
    take(other);
  }
  return *this;
}

SharedMem::~SharedMem() {
  if (region == nullptr || !holds(kHeaderBytes)) return;
  if (loadSeqCst(*wordAt<Word32>(region, kCountOffset)) != 0) detach();
}

void SharedMem::detach() {
  auto& count = *wordAt<Word32>(region, kCountOffset);
  if (fetchAdd(count, static_cast<u32>(-1)) != 1) {
    region = nullptr;
    return;
  }
  // If this thread was delayed here, the file may have been taken over, or another one may have its
  // name.
  const RegionLock lock(*this);
  if (lock.isHeld() && isNamed() && loadSeqCst(count) == 0) {
    FreeAnon(*this);
  } else {
    abandon();
  }
}

void SharedMem::abandon() {
  if (mapping != nullptr) (void)munmap(mapping, mapped);
  clear();
}

bool SharedMem::holds(u64 bytes) const {
  struct stat status {};
  return find(status) && static_cast<u64>(status.st_size) >= bytes && mapped >= bytes;
}

bool SharedMem::isNamed() const {
  struct stat status {};
  return find(status);
}

bool SharedMem::find(struct stat& status) const {
  return stat(path, &status) == 0 && status.st_dev == device && status.st_ino == inode;
}

bool SharedMem::extend(u64 bytes) {
  if (bytes <= mapped) return true;
  const int fd = reopen();
  if (fd == -1) return false;
  void* longer = mapFile(fd, bytes);
  (void)close(fd);
  if (longer == nullptr) return false;
  (void)munmap(mapping, mapped);
  mapping = region = longer;
  mapped = bytes;
  return true;
}

int SharedMem::reopen() const {
  const int fd = open(path, O_RDWR);
  if (fd == -1) return -1;
  struct stat status {};
  if (fstat(fd, &status) == 0 && status.st_dev == device && status.st_ino == inode) return fd;
  (void)close(fd);
  return -1;
}

void SharedMem::clear() noexcept {
  fileHandle = 0;
  mapping = region = nullptr;
  size = mapped = 0;
  owner = false;
}

void SharedMem::take(SharedMem& other) noexcept {
  fileHandle = other.fileHandle;
  mapping = other.mapping;
  region = other.region;
  size = other.size;
  owner = other.owner;
  std::memcpy(path, other.path, sizeof path);
  systemError = other.systemError;
  mapped = other.mapped;
  device = other.device;
  inode = other.inode;
  other.clear();
}

}  // namespace store
