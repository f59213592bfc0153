#include "bridge/Folders.h"

#include <cstdlib>
#include <system_error>

#ifdef __APPLE__
#include <mach-o/dyld.h>

#include <cstdint>
#endif

namespace bridge {

namespace {

namespace fs = std::filesystem;

fs::path fromEnvironment(const char* variable) {
  const char* value = std::getenv(variable);
  return value == nullptr ? fs::path() : fs::path(value);
}

#ifdef __APPLE__
fs::path program() {
  char path[4096];
  std::uint32_t size = sizeof path;
  if (_NSGetExecutablePath(path, &size) != 0) return {};
  std::error_code error;
  return fs::canonical(path, error);
}

fs::path settings() {
  return fromEnvironment("HOME") / "Library" / "Application Support" / "Velomar";
}
#else
fs::path program() {
  std::error_code error;
  return fs::read_symlink("/proc/self/exe", error);
}

fs::path settings() {
  const fs::path folder = fromEnvironment("XDG_CONFIG_HOME");
  return (folder.is_absolute() ? folder : fromEnvironment("HOME") / ".config") / "velomar";
}
#endif

}  // namespace

fs::path Folders::ofUser() {
  return settings();
}

fs::path Folders::shipped(const char* name) {
  const fs::path folder = program().parent_path();
  std::error_code error;
  fs::path beside = folder / name;
  if (fs::is_directory(beside, error)) return beside;
  return folder.parent_path() / "share" / "velomar" / name;
}

// It is in the folder of the stores, because two bridges would share these.
fs::path Folders::lockFile() {
  return "/var/tmp/velomar-bridge.lock";
}

}  // namespace bridge
