// A file system in memory that replaces the system's for the store's sources. A call is a step, a
// lock that another thread holds makes the caller sleep, and all mappings of a file are at one
// address. The linker's --wrap redirects the calls, so that the sources stay as they are.
#pragma once

#include <cstddef>
#include <string>

namespace explore {

// Removes all files and closes all descriptors.
void formatFiles();

// The bytes of the file of that name, or null.
char* fileAt(const std::string& path);

// A user removes the file by hand.
void removeByHand(const std::string& path);

// Names the place in a file that an address belongs to.
std::string placeInFile(const void* address);

}  // namespace explore
