// Lets only one bridge run on a machine, because two would take each other's presses.
#pragma once

#include <filesystem>
#include <string>

namespace bridge {

class InstanceLock {
 public:
  // Takes the lock in a file, and gives it back with the object, which removes the file, or at the
  // process's end. Throws std::runtime_error that says who has it, or what is wrong with the file.
  explicit InstanceLock(const std::filesystem::path& path);
  ~InstanceLock();

  InstanceLock(const InstanceLock&) = delete;
  InstanceLock& operator=(const InstanceLock&) = delete;

 private:
  const std::filesystem::path file;
  int descriptor;
};

}  // namespace bridge
