#include <gmock/gmock.h>

#include "tests/e2e/Stage.h"

namespace {

using testing::Contains;
using testing::HasSubstr;

struct Launch {
  std::vector<std::string> arguments;
  int exitCode;
  std::string says;  // the first line, without the program's name; empty: none but the last
};

class LaunchTest : public Stage {
 protected:
  std::unique_ptr<ChildProcess> start(const std::vector<std::string>& arguments) {
    Lines command{(folder / "velomar").string()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    ChildProcess::Options options;
    options.folder = folder.string();
    options.withErrorOutput = true;
    return std::make_unique<ChildProcess>(command, std::move(options));
  }

  void touch(const std::string& name) { std::ofstream(folder / name) << "left behind"; }
};

// Side by side, because the link's start pause makes each of them last 5 seconds.
TEST_F(LaunchTest, EveryRefusalSaysWhyCleansUpAndEndsWithOne) {
  const std::vector<Launch> launches = {
      {{}, 1, "ESDMain.cpp: Invalid number of parameters 1 instead of 9"},
      {{"-info", "", "-registerEvent", "r", "-pluginUUID", "u", "-port", "1"},
       1,
       "ESDMain.cpp: Invalid info"},
      // Nobody listens on port 1: the connection fails without a line.
      {{"-info", "not JSON", "-registerEvent", "r", "-pluginUUID", "u", "-port", "1"}, 0, ""},
  };
  touch("images/1.png");
  touch("layouts/a.json");
  std::filesystem::create_directory(folder / "images/kept");

  std::vector<std::unique_ptr<ChildProcess>> programs;
  for (const Launch& launch : launches) programs.push_back(start(launch.arguments));
  for (std::size_t i = 0; i < launches.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(programs[i]->waitForEnd(kPatience), launches[i].exitCode);
    ASSERT_TRUE(programs[i]->waitForLine("Shutting Down", kPatience));
    const Lines lines = programs[i]->lines();
    EXPECT_THAT(lines.back(), HasSubstr("Velomar.cpp: Shutting Down Velomar Stream Deck Plugin"));
    EXPECT_THAT(lines, Contains(HasSubstr("XPlaneManager.cpp: Starting XPlane Manager")));
    EXPECT_THAT(lines.front(), HasSubstr(launches[i].says));
    // Nothing else: a debug line, for one, would be a fourth or fifth.
    EXPECT_EQ(lines.size(), launches[i].says.empty() ? 4U : 5U);
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder / "layouts"));
  EXPECT_FALSE(std::filesystem::exists(folder / "images/1.png"));
  EXPECT_TRUE(std::filesystem::exists(folder / "images/kept"));
  EXPECT_FALSE(std::filesystem::exists(TemporaryPluginFolder::region("ToXPlane")))
      << "the last one removes the region";
}

}  // namespace
