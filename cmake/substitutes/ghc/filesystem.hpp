// Stands in for the library of this name where it isn't installed: what it offers is the
// standard's.
#pragma once

#include <filesystem>

namespace ghc {
namespace filesystem = std::filesystem;
}  // namespace ghc
