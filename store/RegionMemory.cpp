#include "store/RegionMemory.h"

namespace store {

void clearWords(void* area, std::size_t bytes) {
  auto* words = static_cast<Word32*>(area);
  for (std::size_t i = 0; i < bytes / sizeof(u32); ++i) {
    if (loadAcquire(words[i]) != 0) storeRelease(words[i], u32{0});
  }
}

}  // namespace store
