#include "plugin/Velomar.h"

#include <deque>
#include <map>
#include <set>

#include "tests/plugin/LinkHarness.h"

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kMissed[] = "Got context before device, adding the device...";

class VelomarTest : public LinkFixture {
 protected:
  // The messages that the simulator gets of an event, with the link up.
  Texts told(const std::string& eventText) {
    happens(eventText);
    pass();
    return heard();
  }

  static std::string hideOf(const std::string& context, const std::string& device = "D1") {
    return R"({"Context":")" + context + R"(","Device ID":")" + device +
           R"(","Message":"Hide Context"})";
  }
  static std::string deviceEvent(const char* name, const char* device) {
    return event(name, "", json::object(), device);
  }

  Texts replay() {
    welcome();
    return heard();
  }
};

TEST_F(VelomarTest, TellsOfEachDeviceAndContextOnce) {
  bringUp();
  EXPECT_THAT(told(deviceEvent("deviceDidConnect", "D0")), ElementsAre(deviceOf("D0")));
  EXPECT_THAT(told(deviceEvent("deviceDidConnect", "D0")), IsEmpty());
  EXPECT_THAT(shown(), IsEmpty());

  EXPECT_THAT(told(appear("C1")), ElementsAre(deviceOf("D1"), addOf("C1")));
  EXPECT_THAT(shown(), ElementsAre(panelLine(kMissed)));
  EXPECT_THAT(told(deviceEvent("deviceDidConnect", "D1")), IsEmpty());
  EXPECT_THAT(told(event("willAppear", "C1", visible("another", "Encoder"))), IsEmpty());
  EXPECT_THAT(told(deviceEvent("deviceDidDisconnect", "D1")), IsEmpty());
  EXPECT_THAT(shown(), IsEmpty());

  EXPECT_THAT(told(event("willDisappear", "C1", {}, "unknown")), IsEmpty());
  EXPECT_THAT(told(event("willDisappear", "C1", {}, "D0")), ElementsAre(hideOf("C1", "D0")));
  EXPECT_THAT(after(titleFor("C1", "still here")), ElementsAre(titleOn("C1", "still here")));
  EXPECT_THAT(replay(), ElementsAre(groupOf({{0, kVersion},
                                             {1, deviceOf("D0")},
                                             {2, deviceOf("D1")},
                                             {3, addOf("C1")},
                                             {4, kRefresh}})));
  (void)shown();

  EXPECT_THAT(told(event("willDisappear", "C1")), ElementsAre(hideOf("C1")));
  EXPECT_THAT(after(titleFor("C1", "gone")), IsEmpty());
  EXPECT_THAT(told(event("willDisappear", "C1")), ElementsAre(hideOf("C1")));
  EXPECT_THAT(told(appear("C1")), ElementsAre(addOf("C1")));
}

TEST_F(VelomarTest, TakesFromThePayloadWhatHasTheRightForm) {
  bringUp();
  (void)told(deviceEvent("deviceDidConnect", "D1"));
  const Texts cases[] = {
      {R"({"coordinates":{"column":-1,"row":4},"controller":"Keypad","settings":{"KeyName":"K"}})",
       "-1", "4", "Keypad", "K"},
      {R"({"coordinates":{"column":2.0,"row":"1"},"controller":"Encoder ","settings":null})",  //
       "0", "0", "Encoder ", ""},
      {R"({"coordinates":{"column":4294967295,"row":true},"controller":"é\"\\","settings":[]})",
       "-1", "0", R"(é\"\\)", ""},
      {R"({"coordinates":{},"settings":{"KeyName":5}})", "0", "0", "", ""},
      {R"({"controller":"ENCODER","settings":{"KeyName":"ключ"}})", "0", "0", "ENCODER", "ключ"}};
  int number = 0;
  for (const Texts& c : cases) {
    const std::string context = "C" + std::to_string(++number);
    EXPECT_THAT(told(event("willAppear", context, json::parse(c[0]))),
                ElementsAre(R"({"Column":)" + c[1] + R"(,"Context":")" + context +
                            R"(","Controller":")" + c[3] + R"(","Device ID":"D1","KeyName":")" +
                            c[4] + R"(","Message":"Add Context","Row":)" + c[2] + "}"));
    (void)shown();
    EXPECT_THAT(after(titleFor(context, "x")), ElementsAre(titleOn(context, "x"))) << "no dial";
  }
}

// The steps before the bad member stay done, and no other is.
TEST_F(VelomarTest, ABadPayloadEndsTheAppearanceWhereItIs) {
  bringUp();
  int number = 0;
  for (const char* bad : {R"({"coordinates":null,"controller":"Keypad","settings":{}})",
                          R"({"coordinates":{},"controller":null,"settings":{}})",
                          R"({"coordinates":[2,1],"controller":"Keypad","settings":{}})",
                          R"({"coordinates":{},"controller":5,"settings":{}})",
                          R"({"coordinates":{},"controller":"Keypad","settings":"KeyName"})"}) {
    const std::string context = "C" + std::to_string(++number);
    const std::string device = "D" + std::to_string(number);
    EXPECT_THAT(told(event("willAppear", context, json::parse(bad), device)),
                ElementsAre(deviceOf(device)));
    EXPECT_THAT(shown(), ElementsAre(panelLine(kMissed)));
    EXPECT_THAT(after(titleFor(context, "x")), ElementsAre(titleOn(context, "x")));
    EXPECT_THAT(told(appear(context, device)), ElementsAre(addOf(context, device))) << bad;
    EXPECT_THAT(shown(), IsEmpty());
  }
}

TEST_F(VelomarTest, AContextWithoutNameOrLinkStartsBlank) {
  startLink();
  pass();
  happens(deviceEvent("deviceDidConnect", "D1"));
  (void)shown();
  happens(appear("C1"));
  happens(appearAsDial("E1"));
  EXPECT_EQ(shown(), blankKey("C1") + blankDial("E1"));
  welcome();
  (void)shown();
  happens(event("willAppear", "C2", visible("")));
  EXPECT_EQ(shown(), blankKey("C2"));

  // The link still counts as up while everything is being blanked.
  Velomar::getInstance()->resetAllContexts();
  (void)shown();
  EXPECT_TRUE(XPlaneManager::isConnected());
  happens(appear("C3"));
  EXPECT_EQ(shown(), blankKey("C3"));
  welcome();
  (void)shown();
  happens(appear("C4"));
  EXPECT_THAT(shown(), IsEmpty());

  passAfter(10001);
  (void)shown();
  happens(appear("C5"));
  EXPECT_EQ(shown(), blankKey("C5"));
}

TEST_F(VelomarTest, ADialStaysADialAndForeignActionsStayOut) {
  bringUp();
  constexpr char kReset[] = R"({"Message":"Reset Context","Context":"E1"})";
  const auto foreign = [](const std::string& name) {
    json frame = json::parse(event(name, "F1", visible("AP", "Encoder")));
    frame["action"] = "com.brackenmoor.velomar.launch2";
    return frame.dump();
  };
  EXPECT_THAT(told(foreign("willAppear")), IsEmpty());
  EXPECT_THAT(shown(), IsEmpty());
  EXPECT_THAT(told(appearAsDial("E1")).size(), 2U);
  EXPECT_THAT(told(appear("E1")), IsEmpty());
  (void)shown();
  EXPECT_EQ(after(kReset), blankDial("E1"));
  EXPECT_THAT(told(event("willDisappear", "E1")), ElementsAre(hideOf("E1")));
  EXPECT_THAT(told(appear("E1")), ElementsAre(addOf("E1")));
  EXPECT_EQ(after(kReset), blankKey("E1")) << "a new context of the same name";
}

TEST_F(VelomarTest, AContextThatTwoDevicesShowStaysADialUntilTheLastHidesIt) {
  const auto dialOn = [](const char* device) {
    return event("willAppear", "E1", visible("HDG", "Encoder"), device);
  };
  bringUp({dialOn("D1"), dialOn("D2")});
  constexpr char kReset[] = R"({"Message":"Reset Context","Context":"E1"})";
  EXPECT_THAT(told(event("willDisappear", "E1", {}, "D1")), ElementsAre(hideOf("E1", "D1")));
  EXPECT_EQ(after(kReset), blankDial("E1"));
  EXPECT_THAT(told(dialOn("D2")), IsEmpty());
  EXPECT_EQ(after(kReset), blankDial("E1"));
  EXPECT_THAT(told(event("willDisappear", "E1", {}, "D2")), ElementsAre(hideOf("E1", "D2")));
  EXPECT_THAT(after(kReset), IsEmpty());
}

TEST_F(VelomarTest, ForwardsInputAsItIs) {
  bringUp();
  const auto told1 = [this](const char* name, const char* payload) {
    const Texts all = told(event(name, "C1", json::parse(payload), "whichever"));
    EXPECT_LE(all.size(), 1U);
    return all.empty() ? std::string() : all[0];
  };
  EXPECT_EQ(told1("keyUp", "null"), R"({"Context":"C1","Message":"Key Up"})");
  const std::pair<const char*, const char*> turns[] = {
      {"-3", "-3"}, {"2.9", "2"}, {"0", "0"}, {"1000", "1000"}, {"2147483648", "-2147483648"}};
  for (const auto& [ticks, expected] : turns) {
    EXPECT_EQ(
        told1("dialRotate", (R"({"pressed":true,"ticks":)" + std::string(ticks) + "}").c_str()),
        R"({"Context":"C1","Message":"Encoder Rotate","Ticks":)" + std::string(expected) + "}");
  }
  EXPECT_EQ(told1("touchTap", R"({"hold":true,"tapPos":[1,2]})"),
            R"({"Context":"C1","Hold":true,"Message":"Touch Tap"})");

  for (const char* bad : {R"({"pressed":1,"ticks":"3","hold":1})", "{}", "null"}) {
    for (const char* name : {"dialPress", "dialRotate", "touchTap"}) {
      EXPECT_EQ(told1(name, bad), "") << name << bad;
    }
  }
  EXPECT_THAT(shown(), IsEmpty());
}

TEST_F(VelomarTest, AKeyNameComesFromThePropertyInspectorAlone) {
  bringUp({appear("C1", "D1"), appear("C2", "D2")});
  const auto named = [this](const char* context, const char* payload) {
    return told(event("sendToPlugin", context, json::parse(payload), ""));
  };
  const auto updateOf = [](const char* name) {
    return R"({"Context":"C2","Device ID":"D2","KeyName":")" + std::string(name) +
           R"(","Message":"Update Key Name"})";
  };
  EXPECT_THAT(named("C2", R"({"KeyName":"LNAV","KeyRow":1})"), ElementsAre(updateOf("LNAV")));
  for (const char* bad : {"{}", "null", R"({"KeyName":5})", R"({"Name":"x"})"}) {
    EXPECT_THAT(named("C2", bad), IsEmpty()) << bad;
  }
  EXPECT_THAT(named("gone", R"({"KeyName":"x"})"), IsEmpty());
  for (const char* name : {"didReceiveSettings", "didReceiveGlobalSettings"}) {
    EXPECT_THAT(told(event(name, "C2", visible("x"), "D2")), IsEmpty());
  }
  EXPECT_THAT(shown(), IsEmpty());
  EXPECT_THAT(replay()[0], testing::HasSubstr(R"("KeyName":"LNAV")"));

  EXPECT_THAT(named("C2", R"({"KeyName":""})"), ElementsAre(updateOf("")));
  (void)told(event("willDisappear", "C2", {}, "D2"));
  EXPECT_THAT(named("C2", R"({"KeyName":"x"})"), IsEmpty());
}

TEST_F(VelomarTest, WithoutALinkTheModelIsKeptAndMessagesAreDropped) {
  happens(event("willAppear", "C1", visible("old")));
  happens(event("sendToPlugin", "C1", {{"KeyName", "AP"}}));
  happens(event("keyDown", "C1"));
  EXPECT_EQ(shown(), Texts{panelLine(kMissed)} + blankKey("C1"));
  startLink();
  pass();
  EXPECT_THAT(heard(), ElementsAre("{Hello}"));
  EXPECT_THAT(
      replay(),
      ElementsAre(groupOf({{0, kVersion}, {1, deviceOf("D1")}, {2, addOf("C1")}, {3, kRefresh}})));
}

// The simulator's knowledge after it has heard all messages in order: device and context to key
// name.
class Picture {
 public:
  void apply(const json& message) {
    const std::string name = message["Message"];
    if (name == "Group Message") {
      contexts.clear();
      const json& members = message["Messages"];
      for (std::size_t i = 0; i < members.size(); ++i) apply(members[std::to_string(i)]);
    } else if (name == "Add Context") {
      const std::string place = placeOf(message);
      EXPECT_EQ(hidden.count(place), 0U) << "a ghost: " << message;
      contexts[place] = message["KeyName"];
      EXPECT_GE(contexts[place], newest[place]) << "a name of the past";
    } else if (name == "Hide Context") {
      contexts.erase(placeOf(message));
      hidden.insert(placeOf(message));
    } else if (name == "Update Key Name" && contexts.count(placeOf(message)) != 0) {
      newest[placeOf(message)] = contexts[placeOf(message)] = message["KeyName"];
    }
  }

  std::map<std::string, std::string> contexts;

 private:
  static std::string placeOf(const json& message) {
    return message["Device ID"].get<std::string>() + message["Context"].get<std::string>();
  }

  std::set<std::string> hidden;
  std::map<std::string, std::string> newest;
};

// The host's events come on one thread, and the simulator's messages act on another. No context id
// comes up twice, so one that is told of after its "Hide Context" is a ghost, and the key names
// only grow.
class VelomarThreadsTest : public LinkFixture {
 protected:
  static constexpr int kEvents = 8000;

  // Acts as the host's thread: no event comes over the connection at the same time.
  void playHost() {
    const std::string action = "com.brackenmoor.velomar.launch";
    std::deque<std::string> onShow;
    for (int i = 0; i < kEvents; ++i) {
      // Neither side ends long before the other, and the store doesn't overflow.
      while (replays < i / 10 || i > heardOf + 1000) std::this_thread::yield();
      const std::string context = "C" + std::to_string(i);
      const std::string name = tenDigits(static_cast<std::uint64_t>(i));
      if (i % 3 == 0) {
        panel.WillAppearForAction(action, context, visible(name, i % 2 ? "Encoder" : ""), "D");
        onShow.push_back(context);
        model['D' + context] = name;
        newest = i;
      } else if (i % 3 == 1) {
        panel.SendToPlugin(action, onShow.back(), {{"KeyName", name}}, "");
        model['D' + onShow.back()] = name;
      } else if (onShow.size() > 8) {
        panel.WillDisappearForAction(action, onShow.front(), {}, "D");
        model.erase('D' + onShow.front());
        onShow.pop_front();
      }
    }
    hostIsDone = true;
  }

  // Asks for replays in between messages that act on contexts, until few of them are left to come.
  void askForReplays(int left) {
    const char* acts[] = {"Update Full Image ID", "Set Title", "Reset Context"};
    for (int i = 0; i < 20; ++i, ++asked) {
      says(json{{"Message", acts[i % 3]},
                {"Context", "C" + std::to_string(newest - 3 * (i % 8))},
                {"Image ID", i % 4},
                {"Base64", i % 2 == 0 ? "QUJD" : "QUJE"},
                {"Title", "12\n34"}});
      says("{Welcome}");
    }
    listenUntil([&] { return replays >= asked - left; });
  }

  template <typename Condition>
  void listenUntil(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    do {
      for (auto& [key, value] : simulator->takeAll()) {
        if (value.rfind(R"({"Message":"Group)", 0) == 0) ++replays;
        received.emplace(key, std::move(value));
        ++heardOf;
      }
      ASSERT_LT(std::chrono::steady_clock::now(), deadline);
    } while (!condition());
  }

  void expectAgreement() {
    std::uint64_t number = 0;
    Picture picture;
    for (const auto& [key, value] : received) {
      ASSERT_EQ(key, tenDigits(++number)) << "a gap";
      if (value.rfind("{\"", 0) == 0) picture.apply(json::parse(value));
    }
    EXPECT_EQ(picture.contexts, model);
  }

  Velomar& panel = *Velomar::getInstance();
  std::map<std::string, std::string> model;     // as Picture::contexts
  std::map<std::string, std::string> received;  // key to value
  int asked = 0;
  std::atomic<int> replays{0};
  std::atomic<int> heardOf{0};
  std::atomic<int> newest{0};
  std::atomic<bool> hostIsDone{false};
};

// With and without losses of the link, which drop messages that a later replay has to make up for.
TEST_F(VelomarThreadsTest, EveryReplayAgreesWithTheMessagesAroundIt) {
  startLink();
  clock.setFree(true);
  std::thread hostThread([&] { playHost(); });
  while (!hostIsDone && !HasFatalFailure()) {
    const bool losesTheLink = newest > kEvents / 2;
    askForReplays(losesTheLink ? 0 : 20);
    if (!losesTheLink) continue;
    clock.advance(10001);
    listenUntil([] { return !XPlaneManager::isConnected(); });
  }
  replays += HasFatalFailure() ? kEvents : 0;  // lets the other thread end
  hostThread.join();
  askForReplays(0);
  clock.setFree(false);
  clock.awaitPause();
  pass();  // and with that everything is out
  for (auto& entry : simulator->takeAll()) received.insert(entry);
  expectAgreement();
}
