#include "store/KeyHash.h"

#include <type_traits>

#include "common/ShortBytes.h"

namespace store {
namespace {

constexpr u64 kFnvBasis = 0xCBF29CE484222325ULL;
constexpr u64 kFnvPrime = 0x100000001B3ULL;

// One thread's last short key.
struct LastKey {
  u32 length = 0;  // none yet
  u32 hash = 0;
  u8 bytes[32] = {};
};
// A destructor would be code that a thread runs at its end, when a plug-in with this library may
// have been unloaded.
static_assert(std::is_trivially_destructible_v<LastKey>);

thread_local LastKey lastKey;

bool isKept(u32 klen) {
  return klen - 1 < sizeof lastKey.bytes;
}

// Kept out of line, so that a remembered key doesn't pay for the registers and the stack that this
// needs.
[[gnu::noinline]] u32 hashOfAnother(const void* key, u32 klen) {
  const u32 hash = hashOf(key, klen);
  if (!isKept(klen)) return hash;
  lastKey.length = klen;
  lastKey.hash = hash;
  velomar::copyShort(lastKey.bytes, key, klen);
  return hash;
}

}  // namespace

u32 hashOf(const void* key, u32 klen) {
  const u8* bytes = static_cast<const u8*>(key);
  u64 hash = kFnvBasis;
  for (u32 i = 0; i < klen; ++i) hash = (hash ^ bytes[i]) * kFnvPrime;
  return static_cast<u32>(hash >> 32U) ^ static_cast<u32>(hash);
}

u32 recalledHashOf(const void* key, u32 klen) {
  const LastKey& last = lastKey;
  // Keys that are counted up differ in their last byte.
  const bool isLast = isKept(klen) && last.length == klen &&
                      static_cast<const u8*>(key)[klen - 1] == last.bytes[klen - 1] &&
                      velomar::sameShort(key, last.bytes, klen);
  return isLast ? last.hash : hashOfAnother(key, klen);
}

}  // namespace store
