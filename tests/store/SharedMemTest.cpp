#include "store/SharedMem.h"

#include "tests/store/TestRegion.h"

namespace {

constexpr u64 kSize = 700;

bool isBlank(const SharedMem& mem) {
  return mem.fileHandle == 0 && mem.mapping == nullptr && mem.region == nullptr && mem.size == 0 &&
         !mem.owner;
}

std::atomic<u32>& countOf(const SharedMem& mem) {
  return *store::wordAt<store::Word32>(mem.region, 4);
}

TEST(SharedMem, TheFirstCallerCreatesAndOthersSeeTheSameBytes) {
  TestRegion region;
  simdb_error error = SIMDB_NO_MAPPING;
  SharedMem first = SharedMem::AllocAnon(region.name(), kSize, false, &error);
  EXPECT_EQ(error, SIMDB_OK);
  EXPECT_TRUE(first.owner);
  EXPECT_EQ(first.fileHandle, 0);
  EXPECT_EQ(first.region, first.mapping);
  EXPECT_EQ(first.size, kSize);
  EXPECT_EQ(first.path, "/var/tmp//simdb_" + std::string(region.name()));
  EXPECT_EQ(region.bytes(), std::string(kSize, '\0'));

  const mode_t mask = umask(0);
  umask(mask);
  struct stat status {};
  ASSERT_EQ(stat(first.path, &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0666U & ~mask);

  const SharedMem second = SharedMem::AllocAnon(region.name(), 2 * kSize, true, nullptr);
  EXPECT_FALSE(second.owner);
  EXPECT_EQ(second.size, 2 * kSize);
  EXPECT_EQ(region.bytes().size(), kSize) << "only a creator gives the file its length";
  EXPECT_NE(second.mapping, first.mapping);
  static_cast<char*>(first.region)[kSize - 1] = '!';
  EXPECT_EQ(static_cast<char*>(second.region)[kSize - 1], '!');
}

TEST(SharedMem, AttachmentsAreGivenBackOnceAndTheLastRemovesTheFile) {
  TestRegion region;
  { const SharedMem none; }
  { const SharedMem uncounted = SharedMem::AllocAnon(region.name(), kSize, false, nullptr); }
  EXPECT_TRUE(region.exists()) << "nothing was counted, so nothing is given back";

  {
    SharedMem mem = SharedMem::AllocAnon(region.name(), kSize, false, nullptr);
    countOf(mem) = 3;
    SharedMem moved = std::move(mem);
    EXPECT_TRUE(isBlank(mem));  // NOLINT(bugprone-use-after-move): blank is what it has to be
    moved.detach();
    EXPECT_NE(moved.mapping, nullptr) << "not the last: the mapping stays until the process ends";
  }
  EXPECT_EQ(region.at<u32>(4), 2U);

  {
    SharedMem mem = SharedMem::AllocAnon(region.name(), kSize, false, nullptr);
    mem = SharedMem::AllocAnon(region.name(), kSize, false, nullptr);
    EXPECT_EQ(countOf(mem), 1U) << "what is assigned over gives its attachment back";
  }
  EXPECT_FALSE(region.exists());
}

TEST(SharedMem, FreeingRemovesTheFileWithAndWithoutAMapping) {
  TestRegion region;
  SharedMem mem = SharedMem::AllocAnon(region.name(), kSize, false, nullptr);
  const std::string path = mem.path;
  SharedMem::FreeAnon(mem);
  EXPECT_FALSE(region.exists());
  EXPECT_TRUE(isBlank(mem));
  EXPECT_EQ(mem.path, path);

  region.create("a file of the same name");
  SharedMem::FreeAnon(mem);
  EXPECT_FALSE(region.exists());
}

TEST(SharedMem, AFileThatIsShorterThanItsMappingIsNotTouched) {
  TestRegion region;
  region.create("");
  {
    simdb_error error = SIMDB_NO_MAPPING;
    const SharedMem mem = SharedMem::AllocAnon(region.name(), 3 * 4096, false, &error);
    EXPECT_EQ(error, SIMDB_OK);
    EXPECT_FALSE(mem.owner);
    EXPECT_FALSE(mem.holds(1));
  }
  EXPECT_TRUE(region.exists()) << "and the destructor can't know of any attachment";
}

}  // namespace
