// The demonstration, as it is started by scripts/demo.
#include "simulator/SimulatorLink.h"
#include "tests/e2e/Stage.h"

namespace {

class DemoTest : public testing::Test {
 protected:
  static constexpr std::chrono::seconds kPatience{60};

  static std::unique_ptr<ChildProcess> start(const std::string& redirections) {
    ChildProcess::Options options;
    options.withErrorOutput = true;
    return std::make_unique<ChildProcess>(
        std::vector<std::string>{"/bin/sh", "-c",
                                 "exec '" VELOMAR_DEMO "' '" VELOMAR_BUILD "' " + redirections},
        options);
  }

  // The folders that the demonstration makes have such names.
  static std::size_t traces() {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
      const auto made = entry.path() / std::filesystem::path(VELOMAR_BUNDLE).filename();
      std::error_code ignored;
      if (std::filesystem::exists(made, ignored)) ++count;
    }
    return count;
  }

  const TemporaryPluginFolder home;  // takes away the stores' files
};

TEST_F(DemoTest, ShowsTheWholeRoadInADozenLinesTheAddressFirst) {
  const auto demo = start("<&-");
  EXPECT_EQ(demo->waitForLine("http://127.0.0.1:", kPatience), 1U);
  EXPECT_EQ(demo->waitForEnd(kPatience), 0);
  EXPECT_TRUE(demo->waitForLine("All three have ended.", kPatience));
  EXPECT_LE(demo->lines().size(), 14U);
  EXPECT_FALSE(std::filesystem::exists(home.region("ToXPlane")));
}

TEST_F(DemoTest, RefusesWhereTheStoresAreInUseAndLeavesNothingThen) {
  const std::size_t before = traces();
  const velomar::SimulatorLink link;
  const auto demo = start("<&-");
  EXPECT_TRUE(demo->waitForLine("pid " + std::to_string(getpid()), kPatience));
  EXPECT_EQ(demo->waitForEnd(kPatience), 1);
  EXPECT_EQ(traces(), before);
}

TEST_F(DemoTest, EndsAtOnceWithTheReasonWhenOneOfTheThreeDoes) {
  std::filesystem::create_directory(home.region("FromXPlane"));
  const auto demo = start("");
  EXPECT_TRUE(demo->waitForLine("The simulator has ended, with code 1", kPatience));
  EXPECT_TRUE(demo->waitForLine("/simdb_FromXPlane: Is a directory", kPatience));
  EXPECT_EQ(demo->waitForEnd(kPatience), 1);
}

TEST_F(DemoTest, TheEndOfItsTerminalEndsAllThree) {
  const auto demo = start("");
  ASSERT_TRUE(demo->waitForLine("http://", kPatience));
  demo->signal(SIGHUP);
  EXPECT_TRUE(demo->waitForEnd(kPatience));
  EXPECT_TRUE(demo->waitForLine("All three have ended.", kPatience));
  EXPECT_FALSE(std::filesystem::exists(home.region("ToXPlane")));
  EXPECT_FALSE(std::filesystem::exists("/var/tmp/velomar-bridge.lock"));
}

}  // namespace
