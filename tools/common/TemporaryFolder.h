// A folder with a name of its own under the system's temporary folder, removed with the object.
#pragma once

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

class TemporaryFolder {
 public:
  // Throws std::system_error if it can't be made.
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "velomar-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), name);
    }
    made = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(made, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return made; }

 private:
  std::filesystem::path made;
};
