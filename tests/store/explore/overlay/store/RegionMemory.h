// Takes the place of the store's own header of this name, so that the store's sources, as they are,
// run under the explorer: each access to a region asks it first who goes on, and, under weak
// memory, which of the values written so far a load gets. The names and their orders are the
// store's.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "tests/store/explore/Memory.h"

namespace store {

using i32 = std::int32_t;
using i64 = std::int64_t;
using u8 = std::uint8_t;
using u32 = std::uint32_t;
using u64 = std::uint64_t;

using Word32 = std::atomic<u32>;
using Word64 = std::atomic<u64>;

using explore::Order;

template <typename T>
T loadSeqCst(const std::atomic<T>& word) {
  return static_cast<T>(explore::load(&word, sizeof word, Order::SeqCst));
}

template <typename T>
void storeSeqCst(std::atomic<T>& word, T value) {
  explore::store(&word, sizeof word, value, Order::SeqCst);
}

template <typename T>
bool compareAndSwap(std::atomic<T>& word, T& seen, T desired) {
  u64 found = seen;
  const bool swapped = explore::compareAndSwap(&word, sizeof word, found, desired);
  seen = static_cast<T>(found);
  return swapped;
}

template <typename T>
T fetchAdd(std::atomic<T>& word, T amount) {
  return static_cast<T>(explore::fetchAdd(&word, sizeof word, amount));
}

template <typename T>
T loadAcquire(const std::atomic<T>& word) {
  return static_cast<T>(explore::load(&word, sizeof word, Order::Acquire));
}

template <typename T>
void storeRelease(std::atomic<T>& word, T value) {
  explore::store(&word, sizeof word, value, Order::Release);
}

template <typename Word>
Word* wordAt(void* base, u64 offset) {
  return reinterpret_cast<Word*>(static_cast<u8*>(base) + offset);
}

void clearWords(void* area, std::size_t bytes);

inline void readBefore() {
  explore::fence(Order::Acquire);
}
inline void writeAfter() {
  explore::fence(Order::Release);
}

inline void writeBytes(void* to, const void* from, std::size_t count) {
  explore::write(to, from, count);
}

inline void readBytes(void* to, const void* from, std::size_t count) {
  explore::read(to, from, count);
  readBefore();
}

inline void appendBytes(std::string& to, const void* from, std::size_t count) {
  std::string bytes(count, '\0');
  readBytes(bytes.data(), from, count);
  to += bytes;
}

inline bool sameBytes(const void* region, const void* key, std::size_t count) {
  std::string bytes(count, '\0');
  readBytes(bytes.data(), region, count);
  return std::memcmp(bytes.data(), key, count) == 0;
}

inline void prefetch(const void*) {}

}  // namespace store
