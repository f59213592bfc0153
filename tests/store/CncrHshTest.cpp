#include "store/CncrHsh.h"

#include "tests/store/TestRegion.h"

namespace {

using namespace std::string_literals;

u32 hashOf(const std::string& key) {
  return store::hashOf(key.data(), size32(key));
}

class Index : public HeapRegion {
 public:
  using HeapRegion::HeapRegion;

  bool put(const std::string& key, const std::string& value) {
    return index.put(key.data(), size32(key), value.data(), size32(value), nullptr);
  }
  // The value, or "-" if the key is absent.
  std::string get(const std::string& key) const {
    std::string value(1000, '#');
    u32 readlen = 0;
    u32 vlen = 0;
    const u32 total = index.len(key.data(), size32(key), &vlen, nullptr);
    if (!index.get(key.data(), size32(key), value.data(), vlen, &readlen)) return "-";
    EXPECT_EQ(total, key.size() + vlen);
    EXPECT_EQ(readlen, vlen);
    value.resize(readlen);
    return value;
  }
  bool del(const std::string& key) { return index.del(key.data(), size32(key)); }
};

TEST(CncrHsh, HashesAreFoldedFnv1a) {
  EXPECT_EQ(hashOf("abc"), 0xE25EF552U);
  EXPECT_EQ(hashOf("\xff\x80"), 0xBC6CC36DU) << "bytes are unsigned";
  EXPECT_EQ(hashOf("a\0"s), 0xBDDF13E3U);
}

TEST(CncrHsh, RecallsNoOtherKeysHash) {
  // Neighbours differ in length alone, in one byte, or end alike.
  for (std::size_t length = 0; length < 40; ++length) {
    std::string key(length, 'k');
    for (std::size_t at = 0; at <= length; ++at, key.assign(length, 'k')) {
      if (at < length) key[at] = 'x';
      for (int again = 0; again < 2; ++again) {
        EXPECT_EQ(store::recalledHashOf(key.data(), size32(key)), hashOf(key)) << key;
      }
    }
  }
}

TEST(CncrHsh, NeighbouringSlotsHoldTheirHalvesTheOtherWayRound) {
  Index its(8, 64);
  its.set(48 + 8 * 8, u64{5});
  ASSERT_TRUE(its.put(keyAt(2, 8), "even"));
  ASSERT_TRUE(its.put(keyAt(3, 8), "odd"));
  EXPECT_EQ(its.image().slot(2), 0x0000000500000000U);
  EXPECT_EQ(its.image().slot(3), 0x0000000100000006U);
  EXPECT_EQ(its.index.load(2), (CncrStr::VerIdx{0, 5}));
  EXPECT_EQ(its.index.load(3), (CncrStr::VerIdx{1, 6}));
  EXPECT_EQ(its.image().entry(1).hash, hashOf(keyAt(3, 8)));

  EXPECT_TRUE(its.del(keyAt(2, 8)));
  EXPECT_TRUE(its.del(keyAt(3, 8)));
  EXPECT_FALSE(its.del(keyAt(3, 8)));
  EXPECT_EQ(its.image().slot(2), 0x00000000FFFFFFFEU);
  EXPECT_EQ(its.image().slot(3), 0xFFFFFFFE00000000U);
  EXPECT_EQ(its.image().freeBlocks().size(), 8U);
}

TEST(CncrHsh, APutSaysWhereItsChainBeginsOrThatThereIsNoRoom) {
  Index its(4, 64);
  u32 first = 4711;
  const std::string most(4 * 64 - 3, 'v');
  ASSERT_TRUE(its.index.put("key", 3, most.data(), size32(most), &first)) << "one fills the store";
  EXPECT_EQ(first, 0U);
  for (const u32 length : {0U, 0xFFFFFFFFU}) {  // with which the sum of lengths wraps
    EXPECT_FALSE(its.index.put("other", 5, "", length, &first));
    EXPECT_EQ(first, kEnd);
  }
  EXPECT_EQ(its.get("key"), most);
}

TEST(CncrHsh, LookupsReportSizesAndNeverCutAValue) {
  Index its(8, 64);
  ASSERT_TRUE(its.put("key", "value"));
  u32 vlen = 0, version = 0;
  EXPECT_EQ(its.index.len("key", 3, &vlen, &version), 8U);
  EXPECT_EQ(vlen, 5U);
  EXPECT_EQ(version, 1U);
  version = 0;
  EXPECT_EQ(its.index.len("kez", 3, &vlen, &version), 0U);
  EXPECT_EQ(version, 1U) << "of the chain that was met";

  std::string buffer = "####";
  u32 readlen = 4711;
  EXPECT_TRUE(its.index.get("key", 3, buffer.data(), 4, &readlen)) << "the key is there";
  EXPECT_EQ(buffer, "####");
  EXPECT_EQ(readlen, 4711U);
}

TEST(CncrHsh, ANewKeyWithoutASlotIsTakenBack) {
  Index its(2, 64);
  ASSERT_TRUE(its.put(keyAt(0, 2), "value"));
  // Slot 1 names the same chain, as when another thread is just moving an entry.
  its.set(48, u64{0x0000000000000001});
  ASSERT_EQ(its.index.load(1), its.index.load(0));
  EXPECT_TRUE(its.put(keyAt(1, 2), "nowhere to go"));
  EXPECT_EQ(its.get(keyAt(1, 2)), "-");
  EXPECT_EQ(its.image().freeBlocks(), (Blocks{1}));
  EXPECT_EQ(its.state(0), 1U);
}

TEST(CncrHshDeathTest, WrongArgumentsStopTheProcess) {
  Index its(4, 64);
  EXPECT_EXIT(its.put("", "value"), testing::KilledBySignal(SIGABRT), "^klen>0\n$");
  EXPECT_EXIT((void)its.index.load(4), testing::KilledBySignal(SIGABRT), "^i < m_sz\n$");
}

}  // namespace
