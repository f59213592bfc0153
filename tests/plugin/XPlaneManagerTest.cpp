#include "plugin/XPlaneManager.h"

#include "tests/plugin/LinkHarness.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// The library's error for a text that isn't JSON.
std::string complaintAbout(const std::string& text) {
  try {
    const json ignored = json::parse(text);
  } catch (const json::parse_error& e) {
    return std::string("Got some error, disconnecting. Msg: ") + e.what();
  }
  return "none";
}

// The flag can't be seen from outside, and a pause must not end before it is set.
std::atomic<bool>& stopFlag(XPlaneManager& manager);
template <std::atomic<bool> XPlaneManager::*flag>
struct StopFlag {
  friend std::atomic<bool>& stopFlag(XPlaneManager& manager) { return manager.*flag; }
};
template struct StopFlag<&XPlaneManager::stopRequested>;

}  // namespace

class XPlaneManagerTest : public LinkFixture {
 protected:
  // Calls stop on a thread of its own, which then waits for the link's.
  void beginStop() {
    stopper = std::thread([] { XPlaneManager::pInstance->stop(); });
    while (!stopFlag(*XPlaneManager::pInstance)) std::this_thread::yield();
  }
  void finishStop() {
    clock.endPause();
    stopper.join();
  }

  static Texts startLines() {
    return {linkLine("...."), linkLine("Starting Velomar Stream Deck Plugin 1.5.1"),
            linkLine("Starting XPlane Manager")};
  }

  std::size_t keysLeft() const { return simulator->fromXPlane.getKeyStrs().size(); }

  std::thread stopper;
};

TEST_F(XPlaneManagerTest, SaysHelloOnceAfterTheStartPauseAndThenWaits) {
  startLink();
  simulator->puts("1", titleFor("C1", "for no key").dump());
  EXPECT_THAT(shown(), IsEmpty());
  EXPECT_EQ(pass(), 10);
  EXPECT_EQ(simulator->toXPlane.get("0000000001"), "{Hello}");
  EXPECT_EQ(shown(), startLines() + Texts{linkLine("Sent Hello")});

  happens(event("keyDown", "C1"));
  for (int i = 0; i < 100; ++i) EXPECT_EQ(passAfter(60000), 10);
  EXPECT_THAT(heard(), ElementsAre("{Hello}"));
  EXPECT_THAT(shown(), IsEmpty());

  // Values that are queued as text go out in any state, and in the same count.
  EXPECT_EQ(XPlaneManager::pInstance->sendData("anything"), 0);
  pass();
  EXPECT_THAT(heard(), ElementsAre("anything"));
  EXPECT_FALSE(XPlaneManager::isConnected());
}

TEST_F(XPlaneManagerTest, WelcomeSendsWhatWaitedAndBehindItTheReplayInTheSamePass) {
  startLink();
  happens(appear("C1"));
  happens(event("keyDown", "C1"));
  pass();
  EXPECT_THAT(heard(), ElementsAre("{Hello}"));
  (void)shown();

  says("{Welcome}");
  EXPECT_FALSE(XPlaneManager::isConnected());
  EXPECT_EQ(passAfter(2501), 10);
  EXPECT_TRUE(XPlaneManager::isConnected());
  const std::string replay =
      groupOf({{0, kVersion}, {1, deviceOf("D1")}, {2, addOf("C1")}, {3, kRefresh}});
  // The last write was long ago, so a heartbeat is due as well.
  EXPECT_THAT(heard(),
              ElementsAre("{Heartbeat}", deviceOf("D1"), addOf("C1"), pressOf("C1"), replay));
  const Texts lines{panelLine("Connecting to X-Plane"), panelLine("Sent 1 contexts for 1 devices"),
                    linkLine("Got Welcome Message")};
  EXPECT_EQ(shown(), lines);

  welcome();
  EXPECT_THAT(heard(), ElementsAre(replay));
  EXPECT_EQ(shown(), lines);
}

TEST_F(XPlaneManagerTest, SendsAHeartbeat2501MillisecondsAfterTheLastWrite) {
  bringUp();
  passAfter(2500);
  EXPECT_THAT(heard(), IsEmpty());
  passAfter(1);
  EXPECT_THAT(heard(), ElementsAre("{Heartbeat}"));

  // Writing puts it off, hearing doesn't.
  clock.advance(2499);
  happens(event("keyDown", "C1"));
  pass();
  says("{Heartbeat}");
  passAfter(2500);
  EXPECT_THAT(heard(), ElementsAre(pressOf("C1")));
  passAfter(1);
  passAfter(2500);
  EXPECT_THAT(heard(), ElementsAre("{Heartbeat}"));
  EXPECT_THAT(shown(), IsEmpty());
}

TEST_F(XPlaneManagerTest, SilenceOf10001MillisecondsBlanksEveryContextAndDropsWhatWasQueued) {
  bringUp({appear("C1"), appearAsDial("E1")});
  for (const char* sign : {"{Heartbeat}", "{}", R"({"Message":"Nothing known"})", "null"}) {
    says(sign);
    passAfter(10001);  // what waits is taken first
    EXPECT_TRUE(XPlaneManager::isConnected()) << sign;
  }
  EXPECT_EQ(passAfter(10000), 10);
  EXPECT_TRUE(XPlaneManager::isConnected());
  (void)heard();
  (void)shown();

  happens(event("keyDown", "C1"));
  XPlaneManager::pInstance->sendData("too late as well");
  EXPECT_EQ(passAfter(1), 10);
  EXPECT_FALSE(XPlaneManager::isConnected());
  EXPECT_THAT(heard(), IsEmpty());
  EXPECT_EQ(shown(),
            Texts{linkLine("No Heartbeat, disconnected")} + blankKey("C1") + blankDial("E1"));

  happens(event("keyDown", "after"));
  pass();
  EXPECT_THAT(heard(), ElementsAre("{Hello}"));
  EXPECT_THAT(shown(), ElementsAre(linkLine("Sent Hello")));
  welcome();
  const Texts afterwards = heard();
  ASSERT_EQ(afterwards.size(), 2U);
  EXPECT_EQ(afterwards[0], pressOf("after"));
}

TEST_F(XPlaneManagerTest, AfterAHelloToAConnectedLinkALaterLossIsFollowedBySilence) {
  bringUp();
  const auto hello = [this] {
    says("{Hello}");
    pass();
    EXPECT_THAT(heard(), ElementsAre("{Hello}"));
    EXPECT_THAT(shown(), ElementsAre(linkLine("Got Hello Message, sending another Hello")));
  };
  hello();
  EXPECT_TRUE(XPlaneManager::isConnected());

  const auto staysSilent = [this] {
    EXPECT_FALSE(XPlaneManager::isConnected());
    for (int i = 0; i < 10; ++i) passAfter(60000);
    EXPECT_THAT(heard(), IsEmpty());
    EXPECT_THAT(shown(), IsEmpty());
  };
  passAfter(10001);
  EXPECT_THAT(shown(), ElementsAre(linkLine("No Heartbeat, disconnected")));
  staysSilent();
  hello();
  EXPECT_FALSE(XPlaneManager::isConnected());
  says("{bad");
  EXPECT_EQ(pass(), 5000);
  (void)shown();
  staysSilent();

  // A welcome makes up for it.
  welcome();
  EXPECT_THAT(heard(), ElementsAre("{Heartbeat}", groupOf({{0, kVersion}, {1, kRefresh}})));
  passAfter(10001);
  pass();
  EXPECT_THAT(heard(), ElementsAre("{Hello}"));
}

TEST_F(XPlaneManagerTest, ABadMessageCostsTheLinkFiveSecondsAndNothingElse) {
  bringUp({appear("C1")});

  says("{Welcome}\n");
  says(titleFor("C1", "after it"));
  happens(event("keyDown", "C1"));
  EXPECT_EQ(pass(), 5000);
  EXPECT_FALSE(XPlaneManager::isConnected());
  EXPECT_THAT(heard(), IsEmpty());
  EXPECT_THAT(shown(), ElementsAre(linkLine(complaintAbout("{Welcome}\n"))));

  EXPECT_EQ(pass(), 10);
  EXPECT_THAT(heard(), ElementsAre("{Hello}"));
  EXPECT_THAT(shown(), ElementsAre(titleOn("C1", "after it"), linkLine("Sent Hello")));
  welcome();
  EXPECT_EQ(heard().front(), pressOf("C1"));
  EXPECT_TRUE(XPlaneManager::isConnected());
}

TEST_F(XPlaneManagerTest, TakesOneMessageAPassInTheOrderOfTheKeys) {
  startLink();
  happens(appear("C1"));
  pass();
  (void)shown();
  for (const char* key : {"9", "a", "10", "B", "aa"}) {
    simulator->puts(key, titleFor("C1", key).dump());
  }
  const auto next = [this] {
    EXPECT_EQ(pass(), 10);
    return shown();
  };
  EXPECT_THAT(next(), ElementsAre(titleOn("C1", "10")));
  simulator->puts("1", titleFor("C1", "1").dump());
  EXPECT_THAT(next(), ElementsAre(titleOn("C1", "1")));
  EXPECT_THAT(next(), ElementsAre(titleOn("C1", "9")));
  EXPECT_THAT(next(), ElementsAre(titleOn("C1", "B")));

  // Listed by now, and gone when its turn comes.
  EXPECT_TRUE(simulator->fromXPlane.del("a", 1));
  EXPECT_EQ(pass(), 5000);
  EXPECT_THAT(shown(), ElementsAre(linkLine(complaintAbout(""))));
  EXPECT_THAT(next(), ElementsAre(titleOn("C1", "aa")));
  EXPECT_THAT(next(), IsEmpty());
  EXPECT_EQ(keysLeft(), 0U);
}

TEST_F(XPlaneManagerTest, TakesThousandsOfWaitingMessagesOnceEachAndInOrder) {
  bringUp({appear("C1")});
  Texts frames;
  for (std::uint32_t i = 4000; i > 0; --i) {
    simulator->puts(tenDigits(i), titleFor("C1", std::to_string(i)).dump());
    frames.insert(frames.begin(), titleOn("C1", std::to_string(i)));
  }
  EXPECT_EQ(pass(), 10) << "the next rest comes when all are done";
  EXPECT_EQ(shown(), frames);
  EXPECT_EQ(keysLeft(), 0U);
}

TEST_F(XPlaneManagerTest, AFullStoreLosesMessagesAndTheCountGoesOn) {
  bringUp();
  int junk = 0;
  while (simulator->toXPlane.put("junk" + std::to_string(junk), "")) ++junk;
  EXPECT_EQ(junk, 4096);
  happens(event("keyDown", "lost"));
  happens(event("keyDown", "lost too"));
  EXPECT_EQ(pass(), 10);
  EXPECT_TRUE(XPlaneManager::isConnected());
  EXPECT_TRUE(simulator->toXPlane.del("junk0", 5));
  happens(event("keyDown", "kept"));
  pass();
  // The first two are the hello and the replay.
  EXPECT_EQ(simulator->toXPlane.get("0000000003"), "");
  EXPECT_EQ(simulator->toXPlane.get("0000000004"), "");
  EXPECT_EQ(simulator->toXPlane.get("0000000005"), pressOf("kept"));
  EXPECT_THAT(shown(), IsEmpty());
}

TEST_F(XPlaneManagerTest, StopDuringTheStartPauseReadsAndWritesNothing) {
  startLink();
  says("{Welcome}");
  beginStop();
  finishStop();
  EXPECT_EQ(shown(), startLines());
  EXPECT_THAT(heard(), IsEmpty());
  EXPECT_EQ(keysLeft(), 1U);
}

TEST_F(XPlaneManagerTest, StopEndsThePassAndLeavesWhatIsQueuedUnwritten) {
  bringUp();
  happens(event("keyDown", "C1"));
  beginStop();
  EXPECT_EQ(pass(), 5000);
  EXPECT_FALSE(XPlaneManager::isConnected());
  finishStop();
  EXPECT_EQ(XPlaneManager::pInstance->jsonQueue.size(), 1U);
  EXPECT_THAT(heard(), IsEmpty());
  EXPECT_THAT(shown(), IsEmpty());

  // The other side is still there, so the stores stay.
  delete XPlaneManager::pInstance;
  EXPECT_EQ(XPlaneManager::pInstance, nullptr);
  EXPECT_TRUE(std::filesystem::exists(TemporaryPluginFolder::region("ToXPlane")));
  simulator.reset();
  EXPECT_FALSE(std::filesystem::exists(TemporaryPluginFolder::region("ToXPlane")));
  EXPECT_FALSE(std::filesystem::exists(TemporaryPluginFolder::region("FromXPlane")));
}

TEST_F(XPlaneManagerTest, WithoutAStoreTheLinkStaysDownAndTheHostIsServed) {
  std::filesystem::create_directory(TemporaryPluginFolder::region("FromXPlane"));
  XPlaneManager::getInstance(clock);
  EXPECT_EQ(clock.awaitPause(), 5000);
  EXPECT_EQ(pass(), 5000);
  EXPECT_EQ(shown(), startLines() + Texts{linkLine("Can't open the store FromXPlane, code 6: "
                                                   "/var/tmp//simdb_FromXPlane: Is a directory")});
  happens(appear("C1"));
  EXPECT_EQ(shown(),
            Texts{panelLine("Got context before device, adding the device...")} + blankKey("C1"));
  EXPECT_FALSE(XPlaneManager::isConnected());
  EXPECT_EQ(pass(), 5000);
  EXPECT_EQ(XPlaneManager::pInstance->jsonQueue.size(), 0U) << "there is no one to take it";
}
