// Stands in for the library of this name where it isn't installed, by means of the standard's.
#pragma once

#include <filesystem>

namespace ghc {
namespace filesystem = std::filesystem;
}  // namespace ghc
