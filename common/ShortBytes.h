// memcpy and memcmp for what is mostly as long as a key: from 8 to 16 bytes two words that overlap
// do, at a fraction of a call's cost. Any thread; no error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace velomar {

inline bool isTwoWords(std::size_t count) {
  return count - 8 <= 8;
}

inline std::uint64_t wordOf(const void* bytes, std::size_t offset) {
  std::uint64_t word;
  std::memcpy(&word, static_cast<const char*>(bytes) + offset, sizeof word);
  return word;
}

// REQUIRES: the two areas don't overlap.
inline void copyShort(void* to, const void* from, std::size_t count) {
  if (!isTwoWords(count)) {
    std::memcpy(to, from, count);
    return;
  }
  const std::uint64_t head = wordOf(from, 0);
  const std::uint64_t tail = wordOf(from, count - 8);
  std::memcpy(to, &head, sizeof head);
  std::memcpy(static_cast<char*>(to) + count - 8, &tail, sizeof tail);
}

inline bool sameShort(const void* a, const void* b, std::size_t count) {
  if (!isTwoWords(count)) return std::memcmp(a, b, count) == 0;
  const std::uint64_t head = wordOf(a, 0) ^ wordOf(b, 0);
  const std::uint64_t tail = wordOf(a, count - 8) ^ wordOf(b, count - 8);
  return (head | tail) == 0;
}

}  // namespace velomar
