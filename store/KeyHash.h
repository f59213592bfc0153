// The hash of a key: 64-bit FNV-1a (Fowler, Noll, Vo; draft-eastlake-fnv), its halves folded by
// exclusive or. Every process must compute the same, because it picks the slot and is stored in the
// region. Any thread; no error.
#pragma once

#include "store/RegionMemory.h"

namespace store {

u32 hashOf(const void* key, u32 klen);

// The same, and remembers the thread's last short key and its hash: a message is written, read and
// deleted under one key, which is then hashed once.
u32 recalledHashOf(const void* key, u32 klen);

}  // namespace store
