#include "store/simdb.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <future>
#include <map>
#include <set>

#include "tests/store/TestRegion.h"
#include "tools/state/RegionAudit.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::EndsWith;
using testing::IsEmpty;
using Strings = std::vector<std::string>;
using namespace std::string_literals;

Strings listed(const simdb& store) {
  Strings keys;
  for (const auto& key : store.getKeyStrs()) keys.push_back(key.str);
  return keys;
}

bool del(simdb& store, const std::string& key) {
  return store.del(key.data(), size32(key));
}

template <typename Word>
void write(std::string& bytes, u64 offset, Word word) {
  std::memcpy(&bytes.at(offset), &word, sizeof word);
}

// A file that is blank but for a header.
std::string withHeader(u32 flags, u64 b, u64 n, u64 length) {
  std::string bytes(length, '\0');
  write(bytes, 0, flags);
  write(bytes, 8, b);
  write(bytes, 16, n);
  return bytes;
}

// The offsets of the fields whose place depends on the region's block size and count.
struct Shape {
  u32 n, b;
  u64 indexSize, version, head, links, length;
};

constexpr Shape kSmall{5, 64, 72, 88, 256, 328, 700};

// Every byte of a new region.
std::string fresh(const Shape& shape) {
  std::string bytes = withHeader(1, shape.b, shape.n, shape.length);
  write(bytes, 4, u32{1});
  write(bytes, 32, shape.indexSize);
  for (u64 i = 0; i < shape.n; ++i) {
    write(bytes, 40 + 8 * i, i % 2 == 0 ? u64{0x00000000FFFFFFFF} : u64{0xFFFFFFFF00000000});
  }
  write(bytes, shape.version, u64{1});
  write(bytes, shape.version + 8, u64{24} * shape.n + 8);
  write(bytes, shape.head + 64, u64{4} * shape.n + 8);
  for (u32 i = 0; i < shape.n; ++i) {
    write(bytes, shape.links + 4 * i, i + 1 < shape.n ? i + 1 : kEnd);
  }
  return bytes;
}

// The bytes at which two regions differ, few enough to print.
std::map<u64, std::pair<int, int>> difference(const std::string& a, const std::string& b) {
  std::map<u64, std::pair<int, int>> offsets;
  EXPECT_EQ(a.size(), b.size());
  for (u64 i = 0; i < std::min(a.size(), b.size()) && offsets.size() < 20; ++i) {
    if (a[i] != b[i]) offsets[i] = {static_cast<u8>(a[i]), static_cast<u8>(b[i])};
  }
  return offsets;
}

TEST(simdb, ANewRegionIsRightInEveryByte) {
  for (const Shape& shape :
       {Shape{4096, 2048, 32776, 32816, 131200, 131272, 8536264}, kSmall,
        Shape{6, 48, 72, 96, 320, 392, 704}, Shape{1, 5, 16, 56, 128, 200, 241}}) {
    SCOPED_TRACE(std::to_string(shape.n) + " blocks of " + std::to_string(shape.b));
    const TestRegion region;
    simdb store(region.name(), shape.b, shape.n, false);
    ASSERT_EQ(store.openError(), SIMDB_OK);
    EXPECT_EQ(store.slots(), shape.n);
    EXPECT_THAT(difference(region.bytes(), fresh(shape)), IsEmpty());
  }
}

TEST(simdb, AnEntryStandsWhereItsNeighbourLooksForIt) {
  const TestRegion region;
  simdb store(region.name(), 64, 5, false);
  const std::string key = keyAt(3, 5);
  ASSERT_TRUE(store.put(key, "value"));
  const u32 hash = store::hashOf(key.data(), 10);

  std::string expected = fresh(kSmall);
  write(expected, 40 + 8 * 3, u64{1});            // odd slot: block 0, version 1
  write(expected, 88, u64{2});                    // the next version
  write(expected, 256, u64{0x0000000100000001});  // the list: one pop, block 1 on top
  const u32 entry[] = {1, kEnd, 1, 15, 10, hash};
  std::memcpy(&expected[104], entry, sizeof entry);
  expected.replace(380, 15, key + "value");
  EXPECT_THAT(difference(region.bytes(), expected), IsEmpty());
}

TEST(simdb, AttachersTakeTheHeadersNumbersWhateverTheirOwn) {
  const TestRegion region;
  auto first = std::make_unique<simdb>(region.name(), 64, 100, false);
  const std::string large(6000, 'v');
  ASSERT_TRUE(first->put("key", large));
  region.set(32, u64{0});

  std::string expected = region.bytes();
  write(expected, 4, u32{2});
  write(expected, 32, u64{8 * 128 + 8});
  simdb smaller(region.name(), 5, 1, true);
  ASSERT_EQ(smaller.openError(), SIMDB_OK);
  EXPECT_THAT(difference(region.bytes(), expected), IsEmpty()) << "the index size word comes again";
  simdb larger(region.name(), 2048, 4096, false);
  ASSERT_EQ(larger.openError(), SIMDB_OK);
  EXPECT_EQ(region.bytes().size(), expected.size());

  for (simdb* other : {&smaller, &larger}) {
    EXPECT_EQ(other->slots(), 100U);
    EXPECT_EQ(other->get("key"), large);
    EXPECT_FALSE(other->put("more", std::string(64 * 6, 'x')));
  }

  first->close();
  first->close();
  first.reset();
  EXPECT_EQ(region.at<u32>(4), 2U) << "each attachment counts once, the creator's too";
  smaller.close();
  EXPECT_EQ(larger.get("key"), large);
  EXPECT_TRUE(region.exists());
  larger.close();
  EXPECT_FALSE(region.exists());
}

TEST(simdb, FilesThatDoNotFitTheirHeaderAreRefusedAndLeftAlone) {
  const std::map<std::string, std::string> files = {
      {"a byte too short", withHeader(1, 64, 5, 699)},
      {"blocks too small", withHeader(1, 4, 5, 700)},
      {"no blocks", withHeader(1, 64, 0, 700)},
      {"more than 32 bits of blocks", withHeader(1, 64, (u64{1} << 32U) + 5, 700)},
      {"a product that wraps", withHeader(1, 65536, 65536, 200 + 36 * 65536)},
      {"nonsense", std::string(700, '\xA5')}};
  for (const auto& [name, content] : files) {
    SCOPED_TRACE(name);
    const TestRegion region;
    region.create(content);
    { EXPECT_EQ(simdb(region.name(), 64, 5, false).openError(), SIMDB_MAP_FAILED); }
    EXPECT_THAT(difference(region.bytes(), content), IsEmpty());
  }
}

TEST(simdb, WhatCannotBeOpenedSaysWhy) {
  const std::string unique = TestRegion::uniqueName();
  const TestRegion longest(unique + std::string(239 - unique.size(), 'x'));
  const TestRegion tooLong(unique + std::string(240 - unique.size(), 'y'));
  EXPECT_EQ(simdb(longest.name(), 64, 5, false).openError(), SIMDB_OK);
  EXPECT_EQ(simdb(tooLong.name(), 64, 5, false).openError(), SIMDB_NAME_TOO_LONG);
  EXPECT_FALSE(tooLong.exists());
  EXPECT_EQ(simdb((unique + "/x").c_str(), 64, 5, false).openError(), SIMDB_MAP_FAILED);
  EXPECT_THAT(simdb((unique + "/x").c_str(), 64, 5, false).openFault(),
              EndsWith(unique + "/x: No such file or directory"));
  const TestRegion nonsense;
  nonsense.create(std::string(700, '\xA5'));
  EXPECT_THAT(simdb(nonsense.name(), 64, 5, false).openFault(), EndsWith("content is no store's"));
  TestRegion empty;
  empty.create("");
  const int end = endOf(startProcess([&empty] {
    (void)signal(SIGXFSZ, SIG_IGN);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_FSIZE, &none);
    const std::string fault = simdb(empty.name(), 64, 5, false).openFault();
    return fault.find(std::strerror(EFBIG)) != std::string::npos ? 0 : 1;
  }));
  EXPECT_EQ(end, 0) << "another's file that can't be lengthened";
  const TestRegion wraps;
  EXPECT_EQ(simdb(wraps.name(), 65536, 65536, false).openError(), SIMDB_MAP_FAILED);
}

// A creator was killed at some stage. The next process waits for it in vain, about a second, so
// all stages are tried side by side.
TEST(simdb, AnUnfinishedRegionIsTakenOver) {
  std::string halfTheSlots = fresh(kSmall);
  write(halfTheSlots, 0, u32{0});
  write(halfTheSlots, 4, u32{3});
  for (u64 i = 2; i < 5; ++i) write(halfTheSlots, 40 + 8 * i, u64{0});
  std::fill(halfTheSlots.begin() + 80, halfTheSlots.begin() + 380, '\x5A');
  std::string left = fresh(kSmall);
  write(left, 4, u32{0});
  const std::map<std::string, std::string> stages = {
      {"whole, but nobody holds it, and nobody removes it", left},
      {"empty file", ""},
      {"blank file", std::string(700, '\0')},
      {"header", withHeader(0, 64, 5, 700)},
      {"half the slots", halfTheSlots},
      {"other numbers", withHeader(0, 32, 10, 2000)}};
  std::map<std::string, std::unique_ptr<TestRegion>> regions;
  std::map<std::string, std::future<std::unique_ptr<simdb>>> stores;
  for (const auto& [stage, content] : stages) {
    const auto& region = regions[stage] = std::make_unique<TestRegion>();
    region->create(content);
    stores[stage] = std::async(std::launch::async, [name = region->name()] {
      return std::make_unique<simdb>(name, 64, 5, false);
    });
  }
  for (auto& [stage, opening] : stores) {
    SCOPED_TRACE(stage);
    const auto store = opening.get();
    ASSERT_EQ(store->openError(), SIMDB_OK);
    std::string expected = fresh(kSmall);
    expected.resize(std::max<std::size_t>(700, stages.at(stage).size()));  // others may map it all
    EXPECT_THAT(difference(regions[stage]->bytes(), expected), IsEmpty());
    EXPECT_TRUE(store->put("key", "value"));
    EXPECT_EQ(store->get("key"), "value");
  }
}

TEST(simdb, WhatADeadProcessLeftWholeIsAttachedTo) {
  const TestRegion region;
  ASSERT_EQ(endOf(startProcess([&region] {
              auto* neverClosed = new simdb(region.name(), 64, 5, false);
              return neverClosed->put("key", "of the dead") ? 0 : 1;
            })),
            0);
  region.set(0, u32{0});  // but for its flag
  {
    simdb store(region.name(), 128, 10, false);
    ASSERT_EQ(store.openError(), SIMDB_OK);
    EXPECT_EQ(store.get("key"), "of the dead");
    EXPECT_TRUE(store.put("key", "written again"));
  }
  EXPECT_EQ(region.at<u32>(4), 1U) << "the dead process still counts";
}

// The first state is that of a chain whose readers have gone below zero: its message must not stay
// for ever.
TEST(simdb, AChainThatRefusesEveryPinHoldsNobodyUp) {
  for (const u32 state : {1U - 4U, 3U, 0x80000001U}) {
    SCOPED_TRACE(state);
    const TestRegion region;
    simdb store(region.name(), 64, 5, false);
    const std::string key = keyAt(3, 5);
    ASSERT_TRUE(store.put(key, "stuck"));
    region.set(104, state);
    EXPECT_THAT(listed(store), ElementsAre(key));
    EXPECT_EQ(store.get(key), "stuck");
    ASSERT_TRUE(store.put(key, "fresh"));
    EXPECT_EQ(store.get(key), "fresh");
    EXPECT_TRUE(del(store, key));
    EXPECT_EQ(store.get(key), "") << "it took the very slot";
  }
}

TEST(simdb, AnUnfinishedRegionUnderAnothersLockIsGivenUp) {
  const TestRegion region;
  region.create(std::string(700, '\0'));
  const int fd = open(region.path().c_str(), O_RDWR);
  ASSERT_EQ(flock(fd, LOCK_EX), 0);
  EXPECT_EQ(simdb(region.name(), 64, 5, false).openError(), SIMDB_LOCK_FAILED);
  EXPECT_EQ(region.bytes(), std::string(700, '\0'));
  (void)close(fd);
}

// Keys that read back by their bytes, whatever these are.
TEST(simdb, KeysAndValuesAreBytes) {
  const TestRegion region;
  simdb store(region.name(), 64, 16, false);
  std::string value = "as before";
  EXPECT_FALSE(store.get("absent", &value));
  EXPECT_EQ(value, "");
  EXPECT_EQ(store.get("absent"), "");
  EXPECT_FALSE(store.get("", &value));

  const std::string binary = "\0value\0with\xff\0"s;
  ASSERT_TRUE(store.put("text", binary));
  ASSERT_TRUE(store.put("a\0b"s, "of a key with a NUL"));
  ASSERT_TRUE(store.put("a\0c"s, ""));
  EXPECT_EQ(store.get("text"), binary);
  EXPECT_EQ(store.get("a\0b"s), "of a key with a NUL");
  EXPECT_TRUE(store.get("a\0c"s, &value)) << "an empty value is there";
  EXPECT_EQ(value, "");

  std::set<std::string> seen;
  for (int pass = 0; pass < 40; ++pass) {
    for (const auto& key : listed(store)) seen.insert(key);
  }
  EXPECT_THAT(seen, ElementsAre("text")) << "keys with NULs aren't listed";
}

TEST(simdb, KeysSortAsBytesWithPrefixesFirst) {
  std::set<simdb::VerStr> keys;
  for (const auto& text : {"0000000010"s, "9"s, "abcd"s, "abc"s, "0000000002"s, "10"s, "\xff"s}) {
    EXPECT_TRUE(keys.insert({1, text}).second);
  }
  EXPECT_FALSE(keys.insert({2, "abc"}).second) << "the version plays no part";
  Strings sorted;
  for (const auto& key : keys) sorted.push_back(key.str);
  EXPECT_THAT(sorted, ElementsAre("0000000002", "0000000010", "10", "9", "abc", "abcd", "\xff"));
}

// One step of the walk: its key and how far it counts.
std::pair<std::string, u64> step(const simdb& store) {
  u64 searched = 0;
  const std::string key = store.nxtKey(&searched).str;
  return {key, searched};
}

TEST(simdb, TheWalkCountsWhatItSkips) {
  using Step = std::pair<std::string, u64>;
  const TestRegion region;
  simdb store(region.name(), 64, 4096, false);
  EXPECT_EQ(store.nxt(), CncrHsh::empty);
  EXPECT_EQ(step(store), (Step{"", 4097}));
  EXPECT_THAT(listed(store), IsEmpty());
  EXPECT_EQ(store.walked(), 3U * 4096);

  // The cursor has moved on to slot 3.
  const std::string key = keyAt(100, 4096);
  ASSERT_TRUE(store.put(key, "v"));
  EXPECT_EQ(step(store), (Step{key, 97}));
  EXPECT_EQ(step(store), (Step{key, 4096})) << "round the table to the same slot";
  EXPECT_THAT(listed(store), ElementsAre(key));
  EXPECT_EQ(store.walked(), 3U * 4096 + 98 + 2 * 4096);
  ASSERT_TRUE(del(store, key));

  const std::string last = keyAt(4095, 4096);
  ASSERT_TRUE(store.put(last, "v"));
  EXPECT_EQ(step(store), (Step{last, 4096 - 101})) << "the cursor is back at slot 0";
  EXPECT_EQ(step(store), (Step{last, 4096})) << "from 0 to 0";
}

TEST(simdb, APassEndsAtAKeyInTheCursorsVerySlot) {
  const TestRegion region;
  simdb store(region.name(), 64, 4096, false);
  std::set<std::string> keys{keyAt(5, 4096), keyAt(6, 4096)};
  for (const auto& key : keys) ASSERT_TRUE(store.put(key, "v"));
  ASSERT_TRUE(store.put(keyAt(9, 4096), "v"));
  EXPECT_THAT(listed(store), ElementsAreArray(keys));
  keys.insert(keyAt(9, 4096));
  EXPECT_THAT(listed(store), ElementsAreArray(keys)) << "goes on after the first two";
}

TEST(simdb, SlotsAnswerForTheVersionThatTheyHold) {
  const TestRegion region;
  simdb store(region.name(), 64, 4, false);
  ASSERT_TRUE(store.put(keyAt(2, 4), "value"));
  u32 keyLength = 0, valueLength = 0;
  EXPECT_EQ(store.len(2, 1, &keyLength, &valueLength), 15U);
  EXPECT_EQ(std::pair(keyLength, valueLength), std::pair(10U, 5U));
  EXPECT_EQ(store.len(2, 2, &keyLength, &valueLength), 0U);

  std::string key(10, '#');
  EXPECT_FALSE(store.getKey(2, 1, key.data(), 9));
  EXPECT_FALSE(store.getKey(1, 0, key.data(), 10));
  EXPECT_EQ(key, "##########");
  EXPECT_TRUE(store.getKey(2, 1, key.data(), 10));
  EXPECT_EQ(key, keyAt(2, 4));

  region.set(64 + 8 * 4 + 8, u32{7});  // the block was taken again, the slot is looked at too late
  EXPECT_EQ(store.len(2, 1, &keyLength, &valueLength), 0U);
  EXPECT_EQ(step(store).first, "");
}

// A model of a store that one thread uses: a map from slot to entry, and blocks as a mere count.
class Model {
 public:
  using Entry = std::pair<std::string, std::string>;

  Model(u32 slots, u32 size) : n(slots), b(size), room(slots) {}

  bool put(const std::string& key, const std::string& value) {
    if (blocks({key, value}) > room) return false;
    for (u32 i = home(key);; i = (i + 1) % n) {
      if (used.count(i) != 0 && used[i].first != key) continue;
      if (used.count(i) != 0) room += blocks(used[i]);
      used[i] = {key, value};
      room -= blocks(used[i]);
      return true;
    }
  }

  std::optional<std::string> get(const std::string& key) {
    const auto i = find(key, n);
    return i ? std::optional<std::string>(used[*i].second) : std::nullopt;
  }

  bool del(const std::string& key) {
    const auto i = find(key, n - 1);
    if (!i) return false;
    room += blocks(used[*i]);
    used.erase(*i);
    return true;
  }

  // The next used slot in the walk's order.
  std::string nextKey() {
    if (used.empty()) {
      cursor = (cursor + 1) % n;
      return "";
    }
    auto next = used.lower_bound(cursor);
    if (next == used.end()) next = used.begin();
    cursor = (next->first + 1) % n;
    return next->second.first;
  }

  u64 freeBlocks() const { return room; }

 private:
  u64 blocks(const Entry& entry) const {
    return (entry.first.size() + entry.second.size() + b - 1) / b;
  }
  u32 home(const std::string& key) const { return store::hashOf(key.data(), size32(key)) % n; }
  std::optional<u32> find(const std::string& key, u32 steps) const {
    for (u32 i = home(key); steps > 0; --steps, i = (i + 1) % n) {
      const auto at = used.find(i);
      if (at != used.end() && at->second.first == key) return i;
    }
    return std::nullopt;
  }

  u32 n;
  u32 b;
  u64 room;
  u32 cursor = 0;
  std::map<u32, Entry> used;
};

TEST(simdb, BehavesAsTheModelUnderRandomOperations) {
  const u32 seed = randomSeed();
  SCOPED_TRACE("seed " + std::to_string(seed));
  for (const auto& [n, b] : std::vector<std::pair<u32, u32>>{{13, 8}, {1, 16}, {64, 16}}) {
    SCOPED_TRACE(std::to_string(n) + " blocks of " + std::to_string(b));
    Dice dice(seed);
    const TestRegion region;
    simdb store(region.name(), b, n, false);
    Model model(n, b);
    for (int i = 0; i < 20000; ++i) {
      SCOPED_TRACE("operation " + std::to_string(i));
      // Few keys of many lengths, so that they meet each other's slots and fill whole blocks.
      const std::string key(dice(20) + 1, static_cast<char>('a' + dice(2)));
      const u32 action = dice(10);
      if (action < 4) {
        const std::string value = dice.bytes(dice(dice(30) == 0 ? n * b : 4 * b));
        ASSERT_EQ(store.put(key, value), model.put(key, value));
      } else if (action < 6) {
        ASSERT_EQ(del(store, key), model.del(key));
      } else if (action < 8) {
        ASSERT_EQ(store.nxtKey(nullptr).str, model.nextKey());
      }
      std::string value;
      const auto expected = model.get(key);
      ASSERT_EQ(store.get(key, &value), expected.has_value());
      ASSERT_EQ(value, expected.value_or(""));
      if (i % 500 == 0) {
        const RegionImage image = region.image(n, b);
        ASSERT_EQ(image.freeBlocks().size(), model.freeBlocks());
        for (u32 block : image.freeBlocks()) ASSERT_EQ(image.entry(block).version, 0U);
        std::string problem;
        const auto audit = RegionAudit::of(region.name(), problem);
        ASSERT_TRUE(audit && audit->isSound() && audit->pinnedChains == 0) << problem;
      }
    }
  }
}

// Every block looks pinned, free and the whole of a chain that goes in a circle, and every second
// slot names one.
TEST(simdb, ARegionOfNothingButDamageHoldsNoProcessUp) {
  constexpr u32 kN = 4096;
  constexpr u32 kB = 2048;
  std::string bytes = withHeader(1, kB, kN, 200 + 36 * kN) + std::string(u64{kB} * kN, 'k');
  for (u32 i = 0; i < kN; ++i) {
    write(bytes, 40 + 8 * i, i % 2 == 0 ? u64{7} << 32U | i : u64{0xFFFFFFFF00000000});
    write(bytes, 64 + 8 * kN + 24 * i, Entry{5, i, 7, kB * kN, kB * kN, 0});
    write(bytes, 131272 + 4 * i, i + 1 < kN ? i + 1 : 0);
  }
  const TestRegion region;
  region.create(bytes);
  simdb store(region.name(), kB, kN, false);
  EXPECT_EQ(listed(store), Strings{std::string(kB * kN, 'k')});
  EXPECT_LT(store.walked(), 20U) << "a pass copies some keys of the store's size, and then ends";
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(store.put("key", std::string(kB * kN - 3, 'v')));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20))
      << "20 ms for each block are far more";
  EXPECT_FALSE(store.put("key", std::string(kB * kN, 'v'))) << "the list has no end";
}

TEST(simdb, ListsTheStoresOfThisMachine) {
  const TestRegion one, two;
  one.create("");
  two.create("whatever is in it");
  simdb_error error = SIMDB_MAP_FAILED;
  const Strings names = simdb_listDBs(&error);
  EXPECT_EQ(error, SIMDB_OK);
  EXPECT_THAT(names, testing::IsSupersetOf({one.name(), two.name()}));
  EXPECT_EQ(simdb_listDBs(nullptr).empty(), false);

  const int end = endOf(startProcess([] {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_NOFILE, &none);
    simdb_error code = SIMDB_OK;
    return simdb_listDBs(&code).empty() ? static_cast<int>(code) : 0;
  }));
  EXPECT_EQ(end, SIMDB_DIR_OPEN_FAILED);
}

}  // namespace
