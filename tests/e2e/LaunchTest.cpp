#include <gmock/gmock.h>

#include <cstdlib>

#include "tests/e2e/HostStage.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using velomar::SimulatorLink;

// Things that the machine refuses a program, set up by a shell in mounts of its own.
struct Want {
  std::string setUp;
  bool isServed;
  std::vector<std::string> says;
};

class LaunchTest : public HostStage {
 protected:
  std::unique_ptr<ChildProcess> startWith(const Want& want, const Host& host) {
    return start(argumentsFor(host),
                 {kUnshare, "-m", "/bin/sh", "-c", want.setUp + " && exec \"$0\" \"$@\""});
  }

  static bool mayMount() {
    return std::system((std::string(kUnshare) + " -m mount -t tmpfs none /var/tmp").c_str()) == 0;
  }

  static constexpr char kUnshare[] = "/usr/bin/unshare";
};

TEST_F(LaunchTest, ARefusalSaysWhyAndCleansUp) {
  std::ofstream(folder / "images/1.png") << "left over";
  std::ofstream(folder / "layouts/a.json") << "left over";
  const auto program = start({});
  EXPECT_EQ(program->waitForEnd(kPatience), 1);
  EXPECT_TRUE(program->waitForLine("Shutting Down", kPatience));
  EXPECT_THAT(program->lines(),
              ElementsAre(HasSubstr("ESDMain.cpp: Invalid number of parameters 1 instead of 9"),
                          HasSubstr("XPlaneManager.cpp: ...."), HasSubstr("Starting Velomar"),
                          HasSubstr("XPlaneManager.cpp: Starting XPlane Manager"),
                          HasSubstr("Velomar.cpp: Shutting Down Velomar Stream Deck Plugin")));
  EXPECT_TRUE(std::filesystem::is_empty(folder / "layouts"));
  EXPECT_FALSE(std::filesystem::exists(folder / "images/1.png"));
  EXPECT_FALSE(std::filesystem::exists(TemporaryPluginFolder::region("ToXPlane")))
      << "the last one removes the region";
}

// The programs run side by side, because the link's start pause makes each last 5 seconds, each
// with a folder for the stores that no other process sees.
TEST_F(LaunchTest, WhateverTheMachineRefusesTheHostIsServedOrTheEndIsInOrder) {
  if (!mayMount()) GTEST_SKIP() << "may not mount anything";
  // Descriptors that the tests' own parent left open would count against the limits below.
  const std::string kAlone =
      "exec 3>&- 4>&- 5>&- 6>&- 7>&- 8>&- 9>&-; mount -t tmpfs none /var/tmp && ";
  const std::string kNoStore = "XPlaneManager.cpp: Can't open the store ";
  const std::vector<Want> wants = {
      {kAlone + "exec 2>&-", true, {}},
      {kAlone + "exec <&- >&- 2>&-", true, {}},
      {kAlone + "mkdir bare && cd bare", true, {}},
      {kAlone + "ulimit -n 10", true, {}},
#ifndef __SANITIZE_ADDRESS__  // whose checks need descriptors of their own
      {kAlone + "ulimit -n 4", false, {}},
#endif
      {kAlone + "mount -o remount,ro /var/tmp",
       true,
       {kNoStore + "ToXPlane, code 6: /var/tmp//simdb_ToXPlane: Read-only file system",
        kNoStore + "FromXPlane, code 6"}},
      {kAlone + "mount -o remount,size=64k /var/tmp",
       true,
       {kNoStore + "ToXPlane, code 8: /var/tmp//simdb_ToXPlane: No space left on device"}},
      {kAlone + "mkdir /var/tmp/simdb_ToXPlane", true, {kNoStore + "ToXPlane, code 6"}},
  };
  std::vector<std::unique_ptr<Host>> hosts;
  std::vector<std::unique_ptr<ChildProcess>> programs;
  for (const Want& want : wants) {
    hosts.push_back(std::make_unique<Host>());
    programs.push_back(startWith(want, *hosts.back()));
  }
  for (std::size_t i = 0; i < wants.size(); ++i) {
    SCOPED_TRACE(wants[i].setUp);
    if (wants[i].isServed) {
      expectToBeServed(*hosts[i]);
      const std::string proc = "/proc/" + std::to_string(programs[i]->pid()) + "/fd/2";
      const bool isClosed = wants[i].setUp.find("2>&-") != std::string::npos;
      EXPECT_EQ(std::filesystem::read_symlink(proc) == "/dev/null", isClosed);
      for (const std::string& line : wants[i].says) {
        EXPECT_TRUE(programs[i]->waitForLine(line, kPatience));
      }
    }
  }
  for (const auto& host : hosts) host->close("");
  for (std::size_t i = 0; i < wants.size(); ++i) {
    SCOPED_TRACE(wants[i].setUp);
    EXPECT_EQ(programs[i]->waitForEnd(kPatience), 0);
    for (const std::string& line : wants[i].says) {
      EXPECT_THAT(programs[i]->lines(), Contains(HasSubstr(line)).Times(1));
    }
  }
}

TEST_F(LaunchTest, FoldersThatTakeNothingCostFilesAndNothingElse) {
  if (!mayMount()) GTEST_SKIP() << "may not mount anything";
  Host host;
  const auto program = startWith({"mount -t tmpfs -o size=4k none images && "
                                  "mount -t tmpfs -o ro none layouts",
                                  true,
                                  {}},
                                 host);
  expectToBeServed(host);
  SimulatorLink link;
  bringUp(link);
  link.send(R"({"Message":"Update Full Image ID","Context":"E","Image ID":1,"Base64":")" +
            std::string(12000, 'A') + "\"}");
  awaitFrame(host, "images/1.png");
  link.send(R"({"Message":"Set Layout Cache","Context":"E","UUID":"u","BASE64":"e30="})");
  awaitFrame(host, "layouts/u.json");
  host.close("");
  EXPECT_EQ(program->waitForEnd(kPatience), 0);
}

}  // namespace
