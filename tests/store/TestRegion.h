// A store to test with, in a file that goes away with the test and can be looked at and damaged
// byte by byte, and helpers for tests of stores.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>

#include "store/KeyHash.h"
#include "tests/store/HeapRegion.h"
#include "tests/support/Processes.h"
#include "tests/support/Texts.h"

using store::i32;

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

  std::string bytes() const { return contentOf(file); }
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
