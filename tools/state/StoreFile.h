// Finds out whether a process could use a store's file, by its path.
#pragma once

#include <string>

struct StoreFile {
  enum class Kind {
    Missing,       // the next process to open the store makes it
    Ready,         // a file that this user may read and write
    NotAFile,      // a folder, or something else that isn't a file
    DanglingLink,  // a link to nothing
    NotPermitted,  // a file that this user may not write
    NoRoom,        // there is none yet, and the disk has no room for it
  };

  // Looks at the path of the store's file.
  static StoreFile of(const std::string& store);

  static std::string pathOf(const std::string& store);

  Kind kind = Kind::Missing;
  std::string owner;  // a user's name; empty if there is no file
};
