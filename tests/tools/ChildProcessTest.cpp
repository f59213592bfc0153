#include "tools/common/ChildProcess.h"

#include <gmock/gmock.h>

#include <csignal>
#include <system_error>

#include "tests/support/Processes.h"
#include "tools/common/TemporaryFolder.h"

using std::chrono::seconds;
using Lines = std::vector<std::string>;

namespace {

constexpr seconds kPatience{60};

Lines shell(const std::string& script) {
  return {"/bin/sh", "-c", script};
}

TEST(ChildProcessTest, WhatCantBeStartedSaysSoAtOnce) {
  EXPECT_THROW(ChildProcess({"/nowhere/program"}, {}), std::system_error);
  ChildProcess::Options options;
  options.folder = "/nowhere";
  EXPECT_THROW(ChildProcess(shell("true"), options), std::system_error);
}

// The parent closes its streams, as a shell does for <&- and >&-: a pipe may then get their
// numbers.
TEST(ChildProcessTest, AParentWithoutStandardStreamsGivesItsChildAllOfThem) {
  const pid_t parent = startProcess([] {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) (void)close(fd);
    ChildProcess child(shell("read line; echo got $line"), {});
    child.writeLine("it");
    return child.waitForLine("got it", kPatience) && child.waitForEnd(kPatience) == 0 ? 0 : 1;
  });
  EXPECT_EQ(endOf(parent), 0);
}

TEST(ChildProcessTest, TheChildsInputEndsWithItsParent) {
  const TemporaryFolder folder;
  const std::string traces = (folder.path() / "ended").string();
  const pid_t parent = startProcess([&] {
    ChildProcess child(shell("echo there; read line || echo ended > " + traces), {});
    ChildProcess sibling(shell("read line"), {});  // holds no end of the other's input
    (void)child.waitForLine("there", kPatience);
    return kill(getpid(), SIGKILL);
  });
  EXPECT_EQ(endOf(parent), -SIGKILL);
  EXPECT_TRUE(eventually([&] { return std::filesystem::exists(traces); }));
}

}  // namespace
