// Replaces the library of this name where it isn't installed, by the standard library's.
#pragma once

#include <filesystem>

namespace ghc {
namespace filesystem = std::filesystem;
}  // namespace ghc
