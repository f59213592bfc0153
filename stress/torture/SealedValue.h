// Values that prove themselves: each carries its key, a generation and bytes computed from both, so
// that a reader can check it without knowing who wrote it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// A value of that key with `length` bytes of payload.
std::string sealed(const std::string& key, std::uint64_t generation, std::uint64_t length);

// The generation of a value, if it is whole and of that key.
std::optional<std::uint64_t> generationOf(const std::string& key, const std::string& value);
