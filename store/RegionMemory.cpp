#include "store/RegionMemory.h"

#include <cstring>

namespace store {

void copyBytes(void* to, const void* from, std::size_t count) {
  std::memcpy(to, from, count);
}

bool sameBytes(const void* a, const void* b, std::size_t count) {
  return std::memcmp(a, b, count) == 0;
}

}  // namespace store
