// memcpy and memcmp for areas that are mostly as short as a key. Up to 16 bytes are covered by two
// words that may overlap, at a fraction of a call's cost. Any thread may call; there are no errors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace velomar {

template <typename Word>
Word wordOf(const void* bytes, std::size_t offset) {
  Word word;
  std::memcpy(&word, static_cast<const char*>(bytes) + offset, sizeof word);
  return word;
}

// REQUIRES, for both functions: `count` is the size of one to two words.
template <typename Word>
void copyEnds(void* to, const void* from, std::size_t count) {
  const std::size_t last = count - sizeof(Word);
  const Word head = wordOf<Word>(from, 0);
  const Word tail = wordOf<Word>(from, last);
  std::memcpy(to, &head, sizeof head);
  std::memcpy(static_cast<char*>(to) + last, &tail, sizeof tail);
}

template <typename Word>
bool sameEnds(const void* a, const void* b, std::size_t count) {
  const std::size_t last = count - sizeof(Word);
  const Word head = wordOf<Word>(a, 0) ^ wordOf<Word>(b, 0);
  const Word tail = wordOf<Word>(a, last) ^ wordOf<Word>(b, last);
  return (head | tail) == 0;
}

// REQUIRES: the two areas don't overlap.
inline void copyShort(void* to, const void* from, std::size_t count) {
  if (count - 8 <= 8) return copyEnds<std::uint64_t>(to, from, count);
  if (count - 4 <= 4) return copyEnds<std::uint32_t>(to, from, count);
  std::memcpy(to, from, count);
}

inline bool sameShort(const void* a, const void* b, std::size_t count) {
  if (count - 8 <= 8) return sameEnds<std::uint64_t>(a, b, count);
  if (count - 4 <= 4) return sameEnds<std::uint32_t>(a, b, count);
  return std::memcmp(a, b, count) == 0;
}

}  // namespace velomar
