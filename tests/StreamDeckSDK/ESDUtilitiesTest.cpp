// The path helpers, and the localizer, which builds on them.
#include "StreamDeckSDK/ESDUtilities.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <iostream>

#include "StreamDeckSDK/ESDLocalizer.h"
#include "StreamDeckSDK/ESDLogger.h"
#include "tests/support/LanguageFile.h"
#include "tests/support/SystemLog.h"

namespace fs = ghc::filesystem;
using testing::ElementsAre;
using testing::Eq;
using testing::ExitedWithCode;

namespace {

TEST(ESDUtilities, PathsAreJoinedByOneSlash) {
  const char* const rows[][3] = {{"/a/", "/b", "/a/b"}, {"/a", "b", "/a/b"}, {"/a/", "b", "/a/b"},
                                 {"/a", "/b", "/a/b"},  {"", "b", "b"},      {"/a", "", "/a/"}};
  for (const auto& [path, component, joined] : rows) {
    EXPECT_EQ(ESDUtilities::AddPathComponent(path, component), joined) << path << " " << component;
  }
}

TEST(ESDUtilities, ParentAndNameTakeAPathApart) {
  ESDLogger::disableDebugLogging = true;
  const char* const rows[][3] = {{"", "/", "/"},      {"/", "/", "/"},      {"/a", "/", "a"},
                                 {"/a/b", "/a", "b"}, {"/a/b/", "/a", "b"}, {"/a//b", "/a/", "b"},
                                 {"a/b", "", "b"}};
  for (const auto& [path, parent, name] : rows) {
    EXPECT_EQ(ESDUtilities::GetParentDirectoryPath(path), parent) << path;
    EXPECT_EQ(ESDUtilities::GetFileName(path), name) << path;
  }
  EXPECT_EQ(ESDUtilities::GetParentDirectoryPath("///"), "/");
  ESDLogger::disableDebugLogging = false;
}

TEST(ESDUtilities, ARelativePathIsOnlyADebugLine) {
  SKIP_WITHOUT_SYSTEM_LOG();
  const SystemLog log;
  EXPECT_EQ(ESDUtilities::GetParentDirectoryPath("a/b"), "");
  ESDLogger::disableDebugLogging = true;
  EXPECT_EQ(ESDUtilities::GetParentDirectoryPath("a/b"), "");
  ESDLogger::disableDebugLogging = false;
  EXPECT_THAT(log.lines(), ElementsAre("ESDUtilitiesPOSIX.cpp: Relative paths are not supported"));
}

TEST(ESDUtilities, SleepLastsAtLeastItsTime) {
  const auto start = std::chrono::steady_clock::now();
  ESDUtilities::DoSleep(30);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
}

TEST(ESDUtilities, TheProgramsPathIsWholeWhereverItIsAskedFrom) {
  const fs::path path = ESDUtilities::GetPluginExecutablePath();
  EXPECT_TRUE(path.is_absolute()) << path;
  EXPECT_TRUE(fs::is_regular_file(path)) << path;
  EXPECT_EQ(path.filename(), "sdk_test");
  const fs::path folder = fs::current_path();
  fs::current_path("/");
  EXPECT_EQ(ESDUtilities::GetPluginExecutablePath(), path);
  fs::current_path(folder);
}

// The table is loaded once in a process, so each of these questions is asked in one of its own.
[[noreturn]] void askFor(const std::string& key) {
  std::cerr << ESDLocalizer::GetLocalizedString(key);
  std::exit(0);
}

class ESDLocalizerTest : public testing::Test {
 protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(ESDLocalizerTest, TranslatesFromTheFileOfTheFirstLanguage) {
  const LanguageFile first("xx-sdk-1",
                           R"({"Localization":{"Yes":"Oui","List":["No"]},"No":"Non"})");
  const LanguageFile second("xx-sdk-2", R"({"Localization":{"Yes":"Ja"}})");
  const auto load = [] {
    ESDLocalizer::Initialize("xx-sdk-1");
    ESDLocalizer::Initialize("xx-sdk-2");
  };
  EXPECT_EXIT((load(), askFor("Yes")), ExitedWithCode(0), Eq("Oui"));
  EXPECT_EXIT((load(), askFor("No")), ExitedWithCode(0), Eq("No"));
  EXPECT_EXIT((load(), askFor("List")), ExitedWithCode(0), Eq("List"));
  EXPECT_EXIT(askFor("Yes"), ExitedWithCode(0), Eq("Yes"));
}

}  // namespace
