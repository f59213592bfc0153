#include "store/RegionMemory.h"

#include <cstring>

namespace store {

namespace {

// Keeps the look at a version that follows behind the bytes that were read before it.
void readBefore() {
  std::atomic_thread_fence(std::memory_order_acquire);
}

}  // namespace

void clearWords(void* area, std::size_t bytes) {
  auto* words = static_cast<Word32*>(area);
  for (std::size_t i = 0; i < bytes / sizeof(u32); ++i) {
    if (look(words[i]) != 0) note(words[i], u32{0});
  }
}

void copyBytes(void* to, const void* from, std::size_t count) {
  std::memcpy(to, from, count);
  readBefore();
}

void appendBytes(std::string& to, const void* from, std::size_t count) {
  to.append(static_cast<const char*>(from), count);
  readBefore();
}

bool sameBytes(const void* a, const void* b, std::size_t count) {
  const bool same = std::memcmp(a, b, count) == 0;
  readBefore();
  return same;
}

}  // namespace store
