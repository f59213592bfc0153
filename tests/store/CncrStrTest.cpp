#include "store/CncrStr.h"

#include "tests/store/TestRegion.h"

namespace {

using VerIdx = CncrStr::VerIdx;

constexpr u32 kHash = 0x12345678;
constexpr u32 kUnread = 4711;

class Values : public HeapRegion {
 public:
  using HeapRegion::HeapRegion;

  VerIdx store(const std::string& key, const std::string& value) {
    const VerIdx chain = values.alloc(size32(key) + size32(value), size32(key), kHash, nullptr);
    values.put(chain.idx, key.data(), size32(key), value.data(), size32(value));
    return chain;
  }
  u32 compare(VerIdx chain, const std::string& key) const {
    return values.compare(chain.idx, chain.version, key.data(), size32(key), kHash);
  }
  // Reads with a buffer of exactly that length.
  std::string value(VerIdx chain, u64 length, u32* readlen = nullptr) const {
    std::string bytes(length, '#');
    bytes.resize(values.get(chain.idx, chain.version, bytes.data(), size32(bytes), readlen));
    return bytes;
  }
  std::string key(VerIdx chain, u64 length) const {
    std::string bytes(length, '#');
    bytes.resize(values.getKey(chain.idx, chain.version, bytes.data(), size32(bytes)));
    return bytes;
  }
};

TEST(CncrStr, AChainIsLaidOutAsOneStreamOverItsBlocks) {
  Values its(8, 2048);
  Dice dice(1);
  const std::string key = "0123456789";
  const std::string value = dice.bytes(5000);
  CncrStr::BlkCnt report{};
  const u32 allocs = __simdb_allocs;
  const VerIdx chain = its.values.alloc(5010, 10, kHash, &report);
  EXPECT_EQ(chain, (VerIdx{0, 1}));
  EXPECT_EQ(__simdb_allocs, allocs + 1);
  EXPECT_EQ(report.cnt, 2U);
  EXPECT_EQ(report.end, 0U);
  its.values.put(0, key.data(), 10, value.data(), 5000);

  const RegionImage image = its.image();
  EXPECT_EQ(image.versionCounter(), 2U);
  EXPECT_EQ(image.entry(0), (Entry{1, 1, 1, 5010, 10, kHash}));
  EXPECT_EQ(image.entry(1), (Entry{0, 2, 1, 5010, 0, 0}));
  EXPECT_EQ(image.entry(2), (Entry{0, kEnd, 1, 5010, 0, 0}));
  EXPECT_EQ(image.entry(3), (Entry{0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(image.block(0), key + value.substr(0, 2038));
  EXPECT_EQ(image.block(1), value.substr(2038, 2048));
  EXPECT_EQ(image.block(2), value.substr(4086) + std::string(2048 - 914, '\0'));

  EXPECT_EQ(its.values.alloc(2048, 10, kHash, &report), (VerIdx{3, 2}));
  EXPECT_EQ(report.cnt, 0U) << "exactly one block";
  EXPECT_EQ(its.values.alloc(4 * 2048, 10, kHash, &report), (VerIdx{4, 3}));
  EXPECT_EQ(report.end, 1U) << "the free list ends after this chain";

  EXPECT_EQ(its.values.alloc(1, 1, kHash, &report), (VerIdx{kEnd, 0}));
  EXPECT_EQ(its.image().versionCounter(), 4U) << "a failure uses up no version";
}

TEST(CncrStr, KeysAndValuesOfEveryLengthComeBackAndLeaveNoPin) {
  constexpr u64 kB = 64;
  Dice dice(2);
  for (const u64 klen : {u64{1}, kB - 1, kB, kB + 1, 2 * kB, 3 * kB}) {
    for (const u64 vlen : {u64{0}, u64{1}, kB - 1, kB, 2 * kB + 5}) {
      SCOPED_TRACE("key " + std::to_string(klen) + ", value " + std::to_string(vlen));
      Values its(8, kB);
      // An odd order of blocks, so that neighbours in a chain aren't neighbours in memory.
      const VerIdx first = its.store("a", ""), second = its.store("b", "");
      its.values.decReadersOrDel(first.idx, true);
      its.values.decReadersOrDel(second.idx, true);

      const std::string key = dice.bytes(klen), value = dice.bytes(vlen);
      const VerIdx chain = its.store(key, value);
      const RegionImage image = its.image();
      u32 readlen = kUnread;
      EXPECT_EQ(its.value(chain, vlen, &readlen), value);
      EXPECT_EQ(readlen, vlen);
      EXPECT_EQ(its.key(chain, klen + 100), key);
      EXPECT_EQ(its.key(chain, klen - 1), "");

      std::string other = key;
      other.back() = static_cast<char>(~other.back());
      const VerIdx stale{chain.idx, chain.version + 1};
      EXPECT_EQ(its.compare(chain, key), CncrStr::Matched);
      EXPECT_EQ(its.compare(stale, key), CncrStr::MatchedStale);
      EXPECT_EQ(its.compare(chain, other), CncrStr::NoMatch);
      EXPECT_EQ(its.compare(chain, key + "x"), CncrStr::NoMatch);
      EXPECT_EQ(its.values.compare(chain.idx, chain.version, key.data(), size32(key), kHash + 1),
                CncrStr::NoMatch);
      EXPECT_EQ(its.image().bytes, image.bytes) << "reading leaves no trace";
    }
  }
}

TEST(CncrStr, ReadsGoByTheVersionThatTheyAreGiven) {
  Values its(8, 64);
  const std::string value(200, 'v');
  const VerIdx chain = its.store("key", value);
  const VerIdx stale{chain.idx, chain.version + 1};
  u32 readlen = kUnread;
  EXPECT_EQ(its.value(stale, 200, &readlen), std::string(61, 'v')) << "ends after its first block";
  EXPECT_EQ(readlen, kUnread) << "and says nothing of a length";
  EXPECT_EQ(its.value(chain, 300, &readlen).size(), 253U) << "a long buffer gets the last block";
  EXPECT_EQ(readlen, 253U);

  const VerIdx longKey = its.store(std::string(70, 'k'), "value");
  const VerIdx staleKey{longKey.idx, longKey.version + 1};
  readlen = kUnread;
  EXPECT_EQ(its.value(staleKey, 5, &readlen), "") << "the value isn't looked for";
  EXPECT_EQ(readlen, kUnread);
  EXPECT_EQ(its.key(staleKey, 70), std::string(64, 'k'));

  EXPECT_EQ(its.value({kEnd, 1}, 10), "");
  EXPECT_EQ(its.key({kEnd, 1}, 10), "");

  std::string block(64, '#');
  EXPECT_EQ(its.values.readBlock(longKey.idx, 0, block.data(), 10, 0), 54U) << "0: to the end";
  EXPECT_EQ(block, std::string(54, 'k') + std::string(10, '#'));
  EXPECT_EQ(its.values.readBlock(longKey.idx, 0, block.data(), 0, 3), 3U);
}

TEST(CncrStr, ADeletedChainLivesUntilItsLastReaderLeaves) {
  Values its(8, 64);
  const u32 deallocs = __simdb_deallocs;
  const VerIdx chain = its.store("key", std::string(150, 'v'));
  ASSERT_TRUE(its.values.pin(0));
  ASSERT_TRUE(its.values.pin(0));
  EXPECT_EQ(its.state(0), 1U + 2 * 4);
  EXPECT_TRUE(its.values.decReadersOrDel(0, true)) << "a reader is inside";
  EXPECT_TRUE(its.values.decReadersOrDel(0, true)) << "once is enough";
  EXPECT_EQ(its.state(0), 3U + 2 * 4);

  EXPECT_FALSE(its.values.pin(0));
  EXPECT_EQ(its.value(chain, 150), "");
  EXPECT_EQ(its.key(chain, 3), "");
  EXPECT_EQ(its.compare(chain, "key"), CncrStr::Matched) << "readable to those inside";
  EXPECT_EQ(its.image().entry(2).version, chain.version);

  EXPECT_TRUE(its.values.decReadersOrDel(0, false));
  EXPECT_EQ(__simdb_deallocs, deallocs);
  EXPECT_FALSE(its.values.decReadersOrDel(0, false)) << "the last one out frees the chain";
  EXPECT_EQ(__simdb_deallocs, deallocs + 1);
  const RegionImage freed = its.image();
  EXPECT_EQ(freed.freeBlocks(), (Blocks{0, 1, 2, 3, 4, 5, 6, 7}));
  for (u32 i = 0; i < 3; ++i) EXPECT_EQ(freed.entry(i).version, 0U);
  EXPECT_EQ(freed.entry(0).state, 3U) << "late pins are refused";
}

TEST(CncrStr, ReadersBelowZeroRefusePinsAndABlockThatIsTakenStartsClean) {
  Values its(1, 64);
  ASSERT_TRUE(its.values.pin(0)) << "another process's, which is overwritten";
  const VerIdx chain = its.store("key", "value");
  EXPECT_EQ(its.value(chain, 5), "value");
  its.state(0) = 1U - 4U;
  EXPECT_FALSE(its.values.pin(0));
  EXPECT_EQ(its.value(chain, 5), "");
  EXPECT_EQ(its.state(0), 1U - 4U);
  its.values.doFree(0);
  EXPECT_EQ(its.value(its.store("key", "other"), 5), "other");
  EXPECT_EQ(its.state(0), 1U);
  EXPECT_FALSE(its.values.decReadersOrDel(0, true)) << "without readers it goes at once";
  EXPECT_EQ(its.image().entry(0).version, 0U);
}

TEST(CncrStr, VersionsAreTheLowHalfOfTheCounter) {
  Values its(4, 64);
  its.set(48 + 8 * 4, u64{0x7FFFFFFFF});
  EXPECT_EQ(its.store("a", "1").version, 0xFFFFFFFFU);
  EXPECT_EQ(its.image().versionCounter(), 0x800000000U);
  EXPECT_EQ(its.store("c", "3").version, 1U) << "0 is a free block's";
  its.set(48 + 8 * 4, u64{0x900000005});
  const VerIdx chain = its.store("b", "2");
  EXPECT_EQ(chain.version, 5U);
  EXPECT_EQ(its.image().entry(chain.idx).version, 5U);
}

TEST(CncrStrDeathTest, BlocksOfFourBytesAreTooSmall) {
  HeapRegion smallest(4, 5);
  EXPECT_EQ(smallest.values.alloc(6, 1, kHash, nullptr).idx, 0U);
  EXPECT_EXIT(HeapRegion(4, 4), testing::KilledBySignal(SIGABRT),
              "^blockSize > sizeof\\(i32\\)\n$");
}

}  // namespace
