#include "tests/store/explore/FileSystem.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <time.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <vector>

#include "store/RegionLayout.h"
#include "tests/store/explore/Schedule.h"

namespace explore {
namespace {

constexpr std::size_t kMaxLength = 16 * 1024;
constexpr std::size_t kFiles = 8;
constexpr int kFirstDescriptor = 1000;

struct File {
  std::size_t length = 0;
  int lockedBy = -1;
  int number = 0;
  char* bytes = nullptr;
};

struct Files {
  std::unique_ptr<char[]> memory{new char[kFiles * kMaxLength + 4096]};
  std::vector<File> all;  // also those without a name
  std::map<std::string, std::size_t> names;
  std::vector<int> open;  // of a descriptor, the file, or -1
};

Files& files() {
  static Files instance;
  return instance;
}

char* place(std::size_t number) {
  char* const start = files().memory.get();
  const std::size_t over = reinterpret_cast<std::uintptr_t>(start) % 4096;
  return start + (4096 - over) % 4096 + number * kMaxLength;
}

File* opened(int fd) {
  const auto at = static_cast<std::size_t>(fd - kFirstDescriptor);
  if (fd < kFirstDescriptor || at >= files().open.size() || files().open[at] < 0) return nullptr;
  return &files().all[static_cast<std::size_t>(files().open[at])];
}

void fill(struct stat& status, const File& file) {
  status = {};
  status.st_dev = 1;
  status.st_ino = static_cast<ino_t>(file.number) + 1;
  status.st_size = static_cast<off_t>(file.length);
}

std::string placeInRegion(std::uint64_t at, std::uint64_t n) {
  const struct {
    std::uint64_t begin, bytes;
    const char* name;
  } parts[] = {{store::dataOffset(n), 1, "data"},       {store::linksOffset(n), 4, "link"},
               {store::headOffset(n), 8, "head"},       {store::entriesOffset(n), 24, "entry"},
               {store::versionOffset(n), 8, "version"}, {store::kSlotsOffset, 8, "slot"},
               {store::kCountOffset, 4, "count"},       {store::kFlagsOffset, 4, "flags"}};
  const auto* part = parts;
  while (at < part->begin) ++part;
  const std::uint64_t i = (at - part->begin) / part->bytes,
                      within = (at - part->begin) % part->bytes;
  return part->name + (" " + std::to_string(i)) + (within == 0 ? "" : "+" + std::to_string(within));
}

}  // namespace

void formatFiles() {
  Files& all = files();
  for (const File& file : all.all) std::memset(file.bytes, 0, kMaxLength);
  if (all.all.empty()) std::memset(place(0), 0, kFiles * kMaxLength);
  all.all.clear();
  all.all.reserve(kFiles);
  all.names.clear();
  all.open.clear();
}

char* fileAt(const std::string& path) {
  const auto at = files().names.find(path);
  return at == files().names.end() ? nullptr : files().all[at->second].bytes;
}

void removeByHand(const std::string& path) {
  files().names.erase(path);
}

std::string placeInFile(const void* address) {
  const char* byte = static_cast<const char*>(address);
  for (const File& file : files().all) {
    if (byte < file.bytes || byte >= file.bytes + kMaxLength) continue;
    std::uint64_t n = 0;
    std::memcpy(&n, file.bytes + store::kBlockCountOffset, sizeof n);
    return (files().all.size() > 1 ? "file " + std::to_string(file.number) + " " : std::string()) +
           placeInRegion(static_cast<std::uint64_t>(byte - file.bytes), n);
  }
  return address == nullptr ? "" : static_cast<const char*>(address);
}

}  // namespace explore

// The linker sends the store's calls here, by names that are its own.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming)
using explore::File;
using explore::files;

extern "C" {

int __wrap_open(const char* path, int flags, ...) {
  explore::step("open", path);
  auto& all = files();
  auto at = all.names.find(path);
  if (at == all.names.end()) {
    if ((flags & O_CREAT) == 0 || all.all.size() == explore::kFiles) return -1;
    const std::size_t number = all.all.size();
    all.all.push_back({0, -1, static_cast<int>(number), explore::place(number)});
    at = all.names.emplace(path, number).first;
  }
  all.open.push_back(static_cast<int>(at->second));
  return explore::kFirstDescriptor + static_cast<int>(all.open.size()) - 1;
}

int __wrap_close(int fd) {
  File* file = explore::opened(fd);
  if (file == nullptr) return -1;
  if (file->lockedBy == fd) file->lockedBy = -1;
  files().open[static_cast<std::size_t>(fd - explore::kFirstDescriptor)] = -1;
  return 0;
}

int __wrap_flock(int fd, int how) {
  explore::step("flock", "");
  File* file = explore::opened(fd);
  if (file == nullptr) return -1;
  if ((how & LOCK_UN) != 0) {
    if (file->lockedBy == fd) file->lockedBy = -1;
    return 0;
  }
  while (file->lockedBy >= 0 && file->lockedBy != fd) {
    if ((how & LOCK_NB) != 0) return -1;
    explore::sleep();
  }
  file->lockedBy = fd;
  return 0;
}

int __wrap_ftruncate(int fd, off_t length) {
  explore::step("ftruncate", "");
  File* file = explore::opened(fd);
  if (file == nullptr || static_cast<std::size_t>(length) > explore::kMaxLength) return -1;
  file->length = static_cast<std::size_t>(length);
  return 0;
}

int __wrap_fstat(int fd, struct stat* status) {
  const File* file = explore::opened(fd);
  if (file == nullptr) return -1;
  explore::step("fstat", "");
  explore::fill(*status, *file);
  return 0;
}

int __wrap_stat(const char* path, struct stat* status) {
  explore::step("stat", path);
  const auto at = files().names.find(path);
  if (at == files().names.end()) return -1;
  explore::fill(*status, files().all[at->second]);
  return 0;
}

int __wrap_fstatvfs(int, struct statvfs*) {
  return -1;
}

void* __wrap_mmap(void*, std::size_t, int, int, int fd, off_t) {
  const File* file = explore::opened(fd);
  return file == nullptr ? MAP_FAILED : file->bytes;
}

int __wrap_munmap(void*, std::size_t) {
  return 0;
}

int __wrap_posix_madvise(void*, std::size_t, int) {
  return 0;
}

int __wrap_remove(const char* path) {
  explore::step("remove", path);
  return files().names.erase(path) == 1 ? 0 : -1;
}

int __wrap_nanosleep(const timespec*, timespec*) {
  explore::sleep();
  return 0;
}

}  // extern "C"

// std::chrono::steady_clock::now, by the name that the linker knows.
// NOLINTNEXTLINE(clang-diagnostic-return-type-c-linkage)
extern "C" std::chrono::steady_clock::time_point __wrap__ZNSt6chrono3_V212steady_clock3nowEv() {
  return std::chrono::steady_clock::time_point(explore::now());
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
