// The one place from which words and bytes of a region are touched.
//
// A region is mapped by several processes at once, at different addresses, so every word that more
// than one thread may reach is an atomic that is lock-free and free of addresses. Each verb names
// its order:
//
//   loadSeqCst, storeSeqCst,    order everything else: a slot's swap publishes the entries and
//   compareAndSwap, fetchAdd    bytes written before it, the free list's swap publishes the links.
//   loadAcquire, storeRelease   where an ordinary load or store would do, on words that may be
//                               changing at that moment. A reader that sees a word of a newer chain
//                               also sees that chain's version, which is written first, and the
//                               comparison of versions makes whatever else it saw harmless.
//
// Bytes of keys and values are plain memory. They may be read while another thread recycles the
// very block: what was read counts only after a version, looked at afterwards, says that it was
// whole. Two fences make sure that the version is not older than the bytes. The writer calls
// writeAfter before the first byte, and each read below ends with readBefore: a reader that got one
// byte of a newer chain then sees that the older chain has lost its version. On x86 neither is an
// instruction.
//
// The language calls a plain read beside a write undefined, so under a race detector the bytes are
// relaxed atomics, one by one. Elsewhere they are memcpy, which every compiler that the store is
// built with takes for what it is.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "common/ShortBytes.h"

#if defined(__SANITIZE_THREAD__)
#define VELOMAR_RACE_DETECTOR
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VELOMAR_RACE_DETECTOR
#endif
#endif

namespace store {

using i32 = std::int32_t;
using i64 = std::int64_t;
using u8 = std::uint8_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;

using Word32 = std::atomic<u32>;
using Word64 = std::atomic<u64>;

static_assert(Word32::is_always_lock_free && sizeof(Word32) == 4);
static_assert(Word64::is_always_lock_free && sizeof(Word64) == 8);
static_assert(alignof(Word32) == sizeof(u32));
static_assert(alignof(Word64) == sizeof(u64));

// Sequentially consistent: one order of all of these, in every thread.
template <typename T>
T loadSeqCst(const std::atomic<T>& word) {
  return word.load(std::memory_order_seq_cst);
}

template <typename T>
void storeSeqCst(std::atomic<T>& word, T value) {
  word.store(value, std::memory_order_seq_cst);
}

// Replaces `seen` by `desired`. On failure `seen` becomes the value found.
template <typename T>
bool compareAndSwap(std::atomic<T>& word, T& seen, T desired) {
  return word.compare_exchange_strong(seen, desired, std::memory_order_seq_cst,
                                      std::memory_order_seq_cst);
}

// Adds and returns the value before.
template <typename T>
T fetchAdd(std::atomic<T>& word, T amount) {
  return word.fetch_add(amount, std::memory_order_seq_cst);
}

template <typename T>
T loadAcquire(const std::atomic<T>& word) {
  return word.load(std::memory_order_acquire);
}

template <typename T>
void storeRelease(std::atomic<T>& word, T value) {
  word.store(value, std::memory_order_release);
}

// The atomic word at `offset` bytes from `base`, which REQUIRES its natural alignment.
template <typename Word>
Word* wordAt(void* base, u64 offset) {
  return reinterpret_cast<Word*>(static_cast<u8*>(base) + offset);
}

// Sets whole 32-bit words to 0, and writes only where they aren't: a page of a new file costs much
// less to read than to write. No other thread may use the area.
void clearWords(void* area, std::size_t bytes);

// Keeps the version check from being reordered before the byte reads above it. Pairs with
// writeAfter.
inline void readBefore() {
  std::atomic_thread_fence(std::memory_order_acquire);
}

// Keeps the byte writes below it from being reordered before the entry's version, and before the 0
// that the block's last owner left there. Pairs with readBefore.
inline void writeAfter() {
  std::atomic_thread_fence(std::memory_order_release);
}

#ifdef VELOMAR_RACE_DETECTOR

inline void writeBytes(void* to, const void* from, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    __atomic_store_n(static_cast<u8*>(to) + i, static_cast<const u8*>(from)[i], __ATOMIC_RELAXED);
  }
}

inline void readBytes(void* to, const void* from, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    static_cast<u8*>(to)[i] = __atomic_load_n(static_cast<const u8*>(from) + i, __ATOMIC_RELAXED);
  }
  readBefore();
}

inline void appendBytes(std::string& to, const void* from, std::size_t count) {
  const std::size_t before = to.size();
  to.resize(before + count);
  readBytes(&to[before], from, count);
}

inline bool sameBytes(const void* region, const void* key, std::size_t count) {
  std::string bytes;
  appendBytes(bytes, region, count);
  return std::memcmp(bytes.data(), key, count) == 0;
}

#else

inline void writeBytes(void* to, const void* from, std::size_t count) {
  velomar::copyShort(to, from, count);
}

inline void readBytes(void* to, const void* from, std::size_t count) {
  velomar::copyShort(to, from, count);
  readBefore();
}

inline void appendBytes(std::string& to, const void* from, std::size_t count) {
  to.append(static_cast<const char*>(from), count);
  readBefore();
}

inline bool sameBytes(const void* region, const void* key, std::size_t count) {
  const bool same = velomar::sameShort(region, key, count);
  readBefore();
  return same;
}

#endif

// Asks for the first line of a block that will be read soon.
inline void prefetch(const void* address) {
  __builtin_prefetch(address, 0, 3);
}

}  // namespace store
