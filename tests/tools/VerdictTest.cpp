#include "tools/state/Verdict.h"

#include <gmock/gmock.h>

#include "tools/state/Report.h"

using testing::HasSubstr;

namespace {

Process process(pid_t pid, const char* program, Hold hold = Hold::ThisFile) {
  Process made;
  made.pid = pid;
  made.program = program;
  made.user = "anna";
  made.since = 1000;
  made.holds = {{kToSimulator, hold}, {kToPanel, hold}};
  return made;
}

RegionAudit emptyStore() {
  RegionAudit audit;
  audit.attachments = 2;
  audit.blockCount = audit.freeBlocks = 4096;
  return audit;
}

// Begins with a panel and a simulator that are connected.
class VerdictTest : public testing::Test {
 protected:
  VerdictTest() {
    facts.now = 2000;
    facts.toSimulator.name = kToSimulator;
    facts.toPanel.name = kToPanel;
    for (StoreFacts* store : {&facts.toSimulator, &facts.toPanel}) {
      store->file = {StoreFile::Kind::Ready, "anna"};
      store->audit = emptyStore();
      store->isWritten = store->isTaken = true;
    }
    facts.processes.found = {process(7, "/bundle/velomar"), process(8, "/sim/X-Plane")};
  }

  Process& panel() { return facts.processes.found.front(); }
  Process& simulator() { return facts.processes.found.back(); }

  void letWait(u64 count) {
    facts.toSimulator.audit->usedSlots = count;
    facts.toSimulator.audit->freeBlocks = 4096 - count;
    facts.toSimulator.waits = std::chrono::seconds(4);
    facts.toSimulator.isTaken = false;
  }

  std::string code() const { return judge(facts).code; }

  Facts facts;
};

TEST_F(VerdictTest, AllIsWellOnlyIfWhatIsWrittenIsTaken) {
  EXPECT_TRUE(judge(facts).isWell());
  EXPECT_EQ(judge(facts).remedy, "");
  facts.toPanel.isWritten = facts.toPanel.isTaken = false;
  EXPECT_EQ(code(), "well") << "a simulator may say nothing for 10 s";
  facts.toSimulator.isTaken = false;
  EXPECT_EQ(code(), "not-connected");
  panel().since = facts.now - 2;
  EXPECT_EQ(code(), "starting");
}

TEST_F(VerdictTest, OneOfTheTwoIsMissingOrThereTwice) {
  facts.processes.found.push_back(process(9, "/other/FlightGear"));
  EXPECT_EQ(code(), "two-simulators");
  EXPECT_THAT(judge(facts).words, HasSubstr("X-Plane (pid 8, user anna) and FlightGear (pid 9"));
  facts.processes.found.resize(1);
  EXPECT_EQ(code(), "no-simulator");
  facts.processes.hidden = 3;
  EXPECT_THAT(judge(facts).words, HasSubstr("sudo")) << "another process is attached";
  facts.toSimulator.audit->attachments = 1;
  EXPECT_THAT(judge(facts).words, testing::Not(HasSubstr("sudo")));
  letWait(4096);
  EXPECT_THAT(judge(facts).words, HasSubstr("each further press is lost"));
  facts.processes.found.push_back(process(9, "/bundle/velomar"));
  EXPECT_EQ(code(), "two-panels");
  facts.processes.found.clear();
  EXPECT_EQ(code(), "no-panel");
}

TEST_F(VerdictTest, ASideThatHasAnotherFileHasNoPeer) {
  simulator() = process(8, "/sim/X-Plane", Hold::RemovedFile);
  EXPECT_EQ(code(), "apart");
  simulator() = process(8, "/sim/X-Plane", Hold::OtherFile);
  EXPECT_EQ(code(), "no-simulator");
  EXPECT_THAT(judge(facts).words,
              HasSubstr("X-Plane (pid 8, user anna) has a /var/tmp of its own"));
  facts.processes.found.push_back(process(9, "/sim/X-Plane"));
  facts.processes.found.insert(facts.processes.found.begin() + 1,
                               process(6, "/bundle/velomar", Hold::OtherFile));
  EXPECT_EQ(code(), "well") << "a panel elsewhere does no harm";
  simulator().holds["another store"] = Hold::OtherFile;
  EXPECT_EQ(code(), "well") << "nor does a store that isn't the panel's";
  Facts others;
  others.processes.found = {process(9, "/bin/other")};
  others.processes.found.front().holds = {{"another store", Hold::ThisFile}};
  EXPECT_THAT(textOf(others), HasSubstr("user of other stores: /bin/other"));
  panel() = process(7, "/bundle/velomar", Hold::OtherFile);
  EXPECT_EQ(code(), "no-panel");
  EXPECT_THAT(judge(facts).words, HasSubstr("velomar (pid 7"));
  panel().holds[kToSimulator] = Hold::ThisFile;
  panel().holds[kToPanel] = Hold::RemovedFile;
  EXPECT_EQ(code(), "panel-without-store");
  panel().holds.clear();
  EXPECT_EQ(code(), "panel-without-store");
  facts.processes.hidden = 1;
  EXPECT_EQ(code(), "hidden");
}

TEST_F(VerdictTest, ASideThatTakesNothingIsNamedWithTheWaitingMessages) {
  letWait(3);
  EXPECT_EQ(code(), "not-taken");
  EXPECT_THAT(judge(facts).words, HasSubstr("for at least 4 s"));
  EXPECT_THAT(judge(facts).words, HasSubstr("3 messages wait"));
  facts.toPanel.sinceWritten = std::chrono::seconds(5);
  EXPECT_EQ(code(), "simulator-hangs") << "written before it stopped taking";
  simulator().isStopped = true;
  EXPECT_EQ(code(), "simulator-stopped");
  EXPECT_EQ(judge(facts).remedy, "kill -CONT 8");
  simulator().isStopped = false;
  letWait(4096);
  EXPECT_EQ(code(), "full");
  letWait(0);
  facts.toSimulator.waits = facts.toSimulator.waits.zero();
  facts.toPanel.waits = std::chrono::seconds(2);
  EXPECT_EQ(code(), "panel-hangs");
  panel().isStopped = true;
  EXPECT_EQ(code(), "panel-stopped");
}

TEST_F(VerdictTest, AFileThatIsInTheWayHidesEverythingElse) {
  facts.toPanel.audit->lost = 2;
  EXPECT_EQ(code(), "lost-blocks");
  facts.processes.found.clear();
  facts.toPanel.audit->brokenSlots = 1;
  EXPECT_EQ(code(), "damaged");
  facts.toPanel.audit.reset();
  facts.toPanel.problem = "the header's numbers make no sense";
  EXPECT_THAT(judge(facts).words, HasSubstr("no sense"));
  using Kind = StoreFile::Kind;
  const std::pair<Kind, const char*> cases[] = {{Kind::NotAFile, "not-a-file"},
                                                {Kind::DanglingLink, "dangling-link"},
                                                {Kind::NotPermitted, "foreign-owner"},
                                                {Kind::NoRoom, "no-room"},
                                                {Kind::Missing, "no-panel"}};
  for (const auto& [kind, expected] : cases) {
    facts.toPanel.file = {kind, "bert"};
    EXPECT_EQ(code(), expected);
  }
}

TEST_F(VerdictTest, TheTextFitsATerminal) {
  simulator().program = "/" + std::string(60, 'x');
  std::istringstream lines(textOf(judge(facts)));
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) EXPECT_LT(line.size(), 80U) << line;
  EXPECT_GT(count, 1);
}

}  // namespace
