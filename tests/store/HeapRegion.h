// A region in ordinary memory whose ends a memory checker guards, and the bytes of any region read
// word by word.
//
// The offsets are written here once more, apart from those of the store, so that a slip in either
// shows.
#pragma once

#include <atomic>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "store/CncrHsh.h"

using store::u32;
using store::u64;
using store::u8;

using Blocks = std::vector<u32>;

constexpr u32 kEnd = 0xFFFFFFFF;

inline u32 size32(const std::string& text) {
  return static_cast<u32>(text.size());
}

struct Entry {
  u32 state, next, version, len, klen, hash;
};

inline bool operator==(const Entry& a, const Entry& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// The bytes of a region at one moment.
class RegionImage {
 public:
  RegionImage(std::string content, u64 blockCount, u64 blockSize)
      : bytes(std::move(content)), n(blockCount), b(blockSize) {}

  template <typename Word>
  Word at(u64 offset) const {
    if (offset + sizeof(Word) > bytes.size()) throw std::out_of_range("past the region's end");
    Word word;
    std::memcpy(&word, bytes.data() + offset, sizeof word);
    return word;
  }

  u64 slot(u64 i) const { return at<u64>(40 + 8 * i); }
  u64 versionCounter() const { return at<u64>(48 + 8 * n); }
  Entry entry(u64 i) const { return at<Entry>(64 + 8 * n + 24 * i); }
  u32 listVersion() const { return at<u32>(head()); }
  u32 listTop() const { return at<u32>(head() + 4); }
  u32 link(u64 i) const { return at<u32>(head() + 72 + 4 * i); }
  std::string block(u64 i) const { return bytes.substr(200 + 36 * n + b * i, b); }

  // At most one more than there are blocks, should the links go in a circle.
  Blocks freeBlocks() const {
    Blocks blocks;
    for (u32 i = listTop(); i < n && blocks.size() <= n; i = link(i)) blocks.push_back(i);
    return blocks;
  }

  const std::string bytes;

 private:
  u64 head() const { return (64 + 32 * n) / 64 * 64 + 64; }

  u64 n;
  u64 b;
};

// Value store and index over memory of exactly a region's size.
class HeapRegion {
 public:
  HeapRegion(u32 blockCount, u32 blockSize)
      : n(blockCount),
        b(blockSize),
        size(200 + 36 * n + b * n),
        memory(allocate(size)),
        values(at(48 + 8 * n), blockSize, blockCount, true),
        index(at(24), blockCount, &values, true) {}

  void* at(u64 offset) { return static_cast<u8*>(memory.get()) + offset; }
  std::atomic<u32>& state(u64 block) {
    return *static_cast<std::atomic<u32>*>(at(64 + 8 * n + 24 * block));
  }
  template <typename Word>
  void set(u64 offset, Word value) {
    std::memcpy(at(offset), &value, sizeof value);
  }
  RegionImage image() const {
    return {std::string(static_cast<const char*>(memory.get()), size), n, b};
  }

 private:
  static constexpr std::align_val_t kPage{4096};
  struct Release {
    void operator()(void* page) const { ::operator delete(page, kPage); }
  };
  static void* allocate(u64 size) { return std::memset(::operator new(size, kPage), 0, size); }

  u64 n;
  u64 b;
  u64 size;
  std::unique_ptr<void, Release> memory;

 public:
  CncrStr values;
  CncrHsh index;
};
