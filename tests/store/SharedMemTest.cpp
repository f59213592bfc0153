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

TEST(SharedMem, TheCreatorMakesABlankFileForAllWhomTheMaskAdmits) {
  TestRegion region;
  simdb_error error = SIMDB_NO_MAPPING;
  const SharedMem mem = SharedMem::AllocAnon(region.name(), kSize, false, &error);
  EXPECT_EQ(error, SIMDB_OK);
  EXPECT_TRUE(mem.owner);
  EXPECT_EQ(mem.fileHandle, 0);
  EXPECT_EQ(mem.region, mem.mapping);
  EXPECT_EQ(mem.size, kSize);
  EXPECT_EQ(mem.path, "/var/tmp//simdb_" + std::string(region.name()));
  EXPECT_EQ(region.bytes(), std::string(kSize, '\0'));
  EXPECT_FALSE(SharedMem::AllocAnon(region.name(), kSize, true, nullptr).owner);

  const mode_t mask = umask(0);
  umask(mask);
  struct stat status {};
  ASSERT_EQ(stat(mem.path, &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0666U & ~mask);
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
