// The state of the path of a store's file, as far as it keeps a process from using the store.
#pragma once

#include <string>

struct StoreFile {
  enum class Kind {
    Missing,       // the first process that starts makes it
    Ready,         // a file that this user may read and write
    NotAFile,      // a folder, or something else that isn't a file
    DanglingLink,  // a link to nothing
    NotPermitted,  // a file that this user may not write
    NoRoom,        // it is still to be made, and the disk has no room for it
  };

  // Looks under the store's path.
  static StoreFile of(const std::string& store);

  static std::string pathOf(const std::string& store);

  Kind kind = Kind::Missing;
  std::string owner;  // user; empty if it is missing
};
