// A file system in memory, in place of the system's, for the store's sources: calls on it are
// steps, a lock that is held makes its caller sleep, and files are as many mappings as there are
// attachments at one address. Reached through the linker's --wrap, so that the sources stay as they
// are.
#pragma once

#include <cstddef>
#include <string>

namespace explore {

// No files, none open.
void formatFiles();

// The bytes of the file of that name, or null.
char* fileAt(const std::string& path);

// A user removes the file by hand.
void removeByHand(const std::string& path);

// Names the place in a file at which an address lies.
std::string placeInFile(const void* address);

}  // namespace explore
