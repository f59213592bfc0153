#include "tools/state/StoreFile.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "store/RegionLayout.h"
#include "tools/state/Processes.h"

namespace {

using store::u64;

constexpr char kFolder[] = "/var/tmp/";

// The size of each of the two stores that the panel makes.
constexpr u64 kRegionBytes = store::regionSize(2048, 4096);

bool hasRoom() {
  struct statvfs space {};
  return statvfs(kFolder, &space) != 0 ||
         static_cast<u64>(space.f_bavail) * static_cast<u64>(space.f_frsize) >= kRegionBytes;
}

StoreFile::Kind kindOf(const struct stat& link, const std::string& path) {
  using Kind = StoreFile::Kind;
  struct stat target {};
  if (stat(path.c_str(), &target) != 0) {
    return S_ISLNK(link.st_mode) ? Kind::DanglingLink : Kind::NotPermitted;
  }
  if (!S_ISREG(target.st_mode)) return Kind::NotAFile;
  if (access(path.c_str(), R_OK | W_OK) != 0) return Kind::NotPermitted;
  return target.st_size == 0 && !hasRoom() ? Kind::NoRoom : Kind::Ready;
}

}  // namespace

std::string StoreFile::pathOf(const std::string& store) {
  return kFolder + ("simdb_" + store);
}

StoreFile StoreFile::of(const std::string& store) {
  const std::string path = pathOf(store);
  StoreFile file;
  struct stat link {};
  if (lstat(path.c_str(), &link) != 0) {
    file.kind = hasRoom() ? Kind::Missing : Kind::NoRoom;
    return file;
  }
  file.owner = nameOfUser(link.st_uid);
  file.kind = kindOf(link, path);
  return file;
}
