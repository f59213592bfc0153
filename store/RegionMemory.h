// The one place from which words and bytes of a region are touched.
//
// A region is mapped by several processes at once, at different addresses, so every word that more
// than one thread may reach is an atomic that is lock-free and free of addresses. Two kinds of
// access are enough:
//
//   load, swap, add   sequentially consistent. They order everything else: a slot's swap
//                     publishes the entries and bytes written before it, the free list's swap
//                     publishes the links.
//   look, note        acquire and release. They stand where an ordinary load or store would do,
//                     on words that may be changing at that moment. A reader that sees a word of a
//                     newer chain also sees that chain's version, which is written first, and the
//                     comparison of versions makes whatever else it saw harmless.
//
// Bytes of keys and values are plain memory. copyBytes, appendBytes and sameBytes may run while
// another thread recycles the very block: what they yield is used only after a version, looked at
// behind them, says that it was whole. No other function reads block data, so a race detector can
// be told of these three, which it finds by name, and stay loud for everything else.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "common/ShortBytes.h"

#if defined(__SANITIZE_THREAD__)
#define VELOMAR_FOUND_BY_NAME [[gnu::noinline]]
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VELOMAR_FOUND_BY_NAME [[gnu::noinline]]
#endif
#endif
#ifndef VELOMAR_FOUND_BY_NAME
#define VELOMAR_FOUND_BY_NAME
#endif

using i32 = std::int32_t;
using i64 = std::int64_t;
using u8 = std::uint8_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;

namespace store {

using Word32 = std::atomic<u32>;
using Word64 = std::atomic<u64>;

static_assert(Word32::is_always_lock_free && sizeof(Word32) == 4);
static_assert(Word64::is_always_lock_free && sizeof(Word64) == 8);
static_assert(alignof(Word32) == sizeof(u32));
static_assert(alignof(Word64) == sizeof(u64));

template <typename T>
T load(const std::atomic<T>& word) {
  return word.load(std::memory_order_seq_cst);
}

template <typename T>
void save(std::atomic<T>& word, T value) {
  word.store(value, std::memory_order_seq_cst);
}

// Replaces `seen` by `desired`. On failure `seen` becomes the value found.
template <typename T>
bool swap(std::atomic<T>& word, T& seen, T desired) {
  return word.compare_exchange_strong(seen, desired, std::memory_order_seq_cst,
                                      std::memory_order_seq_cst);
}

// Adds and returns the value before.
template <typename T>
T add(std::atomic<T>& word, T amount) {
  return word.fetch_add(amount, std::memory_order_seq_cst);
}

template <typename T>
T look(const std::atomic<T>& word) {
  return word.load(std::memory_order_acquire);
}

template <typename T>
void note(std::atomic<T>& word, T value) {
  word.store(value, std::memory_order_release);
}

// The atomic word that lies `offset` bytes behind `base`, which REQUIRES its natural alignment.
template <typename Word>
Word* wordAt(void* base, u64 offset) {
  return reinterpret_cast<Word*>(static_cast<u8*>(base) + offset);
}

// Sets whole 32-bit words to 0, and writes only where they aren't: a page of a new file costs much
// less to read than to write. Nobody else may use the area.
void clearWords(void* area, std::size_t bytes);

// Keeps the look at a version that follows behind the bytes that were read before it.
inline void readBefore() {
  std::atomic_thread_fence(std::memory_order_acquire);
}

VELOMAR_FOUND_BY_NAME inline void copyBytes(void* to, const void* from, std::size_t count) {
  velomar::copyShort(to, from, count);
  readBefore();
}

VELOMAR_FOUND_BY_NAME inline void appendBytes(std::string& to, const void* from,
                                              std::size_t count) {
  to.append(static_cast<const char*>(from), count);
  readBefore();
}

VELOMAR_FOUND_BY_NAME inline bool sameBytes(const void* a, const void* b, std::size_t count) {
  const bool same = velomar::sameShort(a, b, count);
  readBefore();
  return same;
}

// Asks for the first line of a block that will be read soon.
inline void prefetch(const void* address) {
  __builtin_prefetch(address, 0, 3);
}

}  // namespace store
