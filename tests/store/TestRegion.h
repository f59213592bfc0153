// Stores to test with: one in a file that goes away with the test, and one in ordinary memory whose
// ends a memory checker guards. Both can be looked at and damaged byte by byte.
//
// The offsets are repeated here, apart from those of the store, so that a slip in either shows.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "store/CncrHsh.h"
#include "store/KeyHash.h"

using store::i32;
using store::u32;
using store::u64;
using store::u8;

// A build in which everything takes a multiple of its time does fewer rounds.
#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || \
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || !defined(__OPTIMIZE__)
constexpr bool kSlowBuild = true;
#else
constexpr bool kSlowBuild = false;
#endif

constexpr u32 kEnd = 0xFFFFFFFF;

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
  std::vector<u32> freeBlocks() const {
    return follow(listTop(), [this](u32 block) { return link(block); });
  }
  std::vector<u32> chain(u32 first) const {
    return follow(first, [this](u32 block) { return entry(block).next; });
  }

  // The bytes that a chain carries.
  std::string stream(u32 first) const {
    std::string all;
    for (u32 i : chain(first)) all += block(i);
    return all.substr(0, entry(first).len);
  }

  const std::string bytes;

 private:
  u64 head() const { return (64 + 32 * n) / 64 * 64 + 64; }

  template <typename Next>
  std::vector<u32> follow(u32 block, Next next) const {
    std::vector<u32> blocks;
    for (; block < n && blocks.size() <= n; block = next(block)) blocks.push_back(block);
    return blocks;
  }

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

// The name of a store that no other test uses, and its file, which goes away with this object.
class TestRegion {
 public:
  TestRegion() : TestRegion(uniqueName()) {}
  explicit TestRegion(std::string storeName)
      : text(std::move(storeName)), file(kFolder + ("simdb_" + text)) {}
  ~TestRegion() { (void)std::remove(file.c_str()); }
  TestRegion(const TestRegion&) = delete;
  TestRegion& operator=(const TestRegion&) = delete;

  static std::string uniqueName() {
    static std::atomic<int> count{0};
    return kPrefix + std::to_string(getpid()) + "." + std::to_string(++count);
  }

  const char* name() const { return text.c_str(); }
  const std::string& path() const { return file; }
  bool exists() const { return access(file.c_str(), F_OK) == 0; }

  std::string bytes() const {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  void create(const std::string& content) const {
    std::ofstream(file, std::ios::binary | std::ios::trunc) << content;
  }
  RegionImage image(u64 n, u64 b) const { return {bytes(), n, b}; }

  template <typename Word>
  Word at(u64 offset) const {
    return image(0, 0).at<Word>(offset);
  }
  template <typename Word>
  void set(u64 offset, Word word) const {
    std::fstream out(file, std::ios::binary | std::ios::in | std::ios::out);
    out.seekp(static_cast<std::streamoff>(offset));
    out.write(reinterpret_cast<const char*>(&word), sizeof word);
  }

 private:
  static constexpr char kFolder[] = "/var/tmp/";
  static constexpr char kPrefix[] = "storetest.";

  std::string text;
  std::string file;
};

// The nth ten-digit key whose probe starts at that slot.
inline std::string keyAt(u32 slot, u32 slots, u32 nth = 0) {
  for (u32 number = 0;; ++number) {
    char key[16];
    const int length = std::snprintf(key, sizeof key, "%010u", number);
    if (store::hashOf(key, static_cast<u32>(length)) % slots == slot && nth-- == 0) return key;
  }
}

// --gtest_random_seed repeats a run that failed.
inline u32 randomSeed() {
  const i32 given = GTEST_FLAG_GET(random_seed);
  return given != 0 ? static_cast<u32>(given) : u32{std::random_device{}()} % 99999 + 1;
}

class Dice {
 public:
  explicit Dice(u32 seed) : engine(seed) {}

  u32 operator()(u32 below) { return static_cast<u32>(engine() % below); }
  std::string bytes(u64 length) {
    std::string random(length, '\0');
    for (char& byte : random) byte = static_cast<char>(engine());
    return random;
  }

 private:
  std::mt19937 engine;
};

// Waits for a condition; false: it hasn't come true within a minute.
template <typename Condition>
bool eventually(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  return true;
}

// Runs `body` in a process of its own, which ends with the code that it returns.
template <typename Body>
pid_t startProcess(Body body) {
  const pid_t pid = fork();
  if (pid == 0) _exit(static_cast<int>(body()));
  return pid;
}

// The code that a process ended with, or minus the signal.
inline int endOf(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) == -1 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}
