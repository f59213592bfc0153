#include "bridge/PanelView.h"

#include <gmock/gmock.h>

#include <set>

#include "bridge/PanelFile.h"
#include "simulator/MessageGroup.h"

namespace {

using namespace bridge;
using nlohmann::json;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

// Records the calls that it gets.
class NotingSimulator : public Simulator {
 public:
  void start(Observer&) override {}
  void follow(std::vector<std::string>, std::vector<Command>) override {}
  void write(const std::string& name, const Value& value) override {
    done.push_back(name + "=" + std::to_string(std::lround(std::get<double>(value))));
  }
  void run(const Command& command) override { done.push_back("run " + command.name); }
  void hold(const Command& command) override { done.push_back("hold " + command.name); }
  void release(const Command& command) override { done.push_back("release " + command.name); }
  void listNames(const std::string&, Names) override {}

  std::vector<std::string> take() { return std::exchange(done, {}); }

 private:
  std::vector<std::string> done;
};

constexpr char kPanel[] = R"(
panel: P
values: {a: {trainer: A}, b: {trainer: B}, heading: {trainer: H}}
commands: {go: {trainer: go}, start: {trainer: start}, gone: {xplane: gone}}
keys:
  LAMP:  {face: lamp, on: a, press: [{toggle: a}, {command: go, confirm: true}]}
  OTHER: {face: switch, on: b, alarm: b, press: {cycle: b, through: [0, 5, 9]}}
  HELD:  {face: lamp, on: a, press: {command: start, held: true}}
  LONG:  {face: lamp, on: a, press: {set: a, to: 7}, long press: {command: start, held: true}, after: 0.5}
  MORE:  {face: number, show: a, press: [{set: a, to: a + 2}, {set: b, to: a * 10 + pressed}]}
  NUMBER: {face: number, show: heading}
  GONE:  {face: lamp, on: a, press: {command: gone}}
dials:
  TURN:  {show: heading, turn: {add: heading, step: 1, fast: 10, wrap: [0, 360]}, pressed turn: {up: {command: go}}, push: {toggle: a}, hold: {set: heading, to: 3}}
  BAR: {face: gauge, show: heading, range: [0, 360]}
  STEPS: {show: heading, turn: {up: {set: heading, to: heading + 1 + 9 * pressed}}}
  CLAMP: {show: heading, turn: {add: heading, step: 1, clamp: [0, 360]}}
)";

class PanelViewTest : public testing::Test {
 protected:
  PanelViewTest() {
    EXPECT_THAT(file.problems(), IsEmpty());
    values.reset(file.panel().values.size());
    hand.setConnected(true);
    view.setPanel(&file.panel(), &values, &hand);
    tell({{"Message", "Add Device"}, {"Device ID", "D"}});
  }

  void tell(const json& message) { (void)view.handle(message.dump(), now); }
  void tell(const char* name, const char* context) {
    tell({{"Message", name}, {"Context", context}});
  }
  void appear(const char* name, bool isDial = false) {
    tell({{"Message", "Add Context"},
          {"Context", name},
          {"KeyName", name},
          {"Controller", isDial ? "Encoder" : "Keypad"}});
  }
  void rotate(const char* name, int ticks) {
    tell({{"Message", "Encoder Rotate"}, {"Context", name}, {"Ticks", ticks}});
  }
  void know(double a, double b, double heading) {
    values.set(0, a);
    values.set(1, b);
    values.set(2, heading);
    view.changed();
  }

  // The messages that are sent after enough time for another face, as "NAME CONTEXT", with
  // titles.
  std::vector<std::string> sent(milliseconds passed = milliseconds(200)) {
    now += passed;
    messages.clear();
    view.show(now);
    std::vector<std::string> lines;
    for (const json& message : messages) {
      lines.push_back(message["Message"].get<std::string>() + " " +
                      message["Context"].get<std::string>());
    }
    return lines;
  }
  std::string title() const {
    for (const json& message : messages) {
      if (message["Message"] == "Set Title") return message["Title"];
    }
    return "(none)";
  }

  Symbols symbols{VELOMAR_ROOT "/bridge/symbols"};
  const PanelFile file = PanelFile::fromText(kPanel, "p.yaml", symbols.names());
  FacePainter painter{symbols};
  Pictures pictures{painter};
  NotingSimulator simulator;
  Values values;
  Hand hand{file.panel(), SimulatorKind::Trainer, values, simulator};
  std::vector<json> messages;
  bool takes = true;
  PanelView view{pictures, [this](const std::string& text) {
                   if (takes) messages = velomar::MessageGroup::split(text);
                   return takes;
                 }};
  milliseconds now{1000};
};

TEST_F(PanelViewTest, SendsAFaceOnceAndThenWhatChanges) {
  know(0, 0, 0);
  appear("LAMP");
  EXPECT_THAT(sent(), ElementsAre("Update Full Image ID LAMP", "Set Title LAMP"));
  view.changed();
  EXPECT_THAT(sent(), IsEmpty());
  know(1, 0, 0);
  EXPECT_THAT(sent(), ElementsAre("Update Full Image ID LAMP"));
  know(0, 0, 0);
  EXPECT_THAT(sent(), ElementsAre("Update Image ID LAMP")) << "it is there already";
  tell({{"Message", "Force Refresh"}});
  EXPECT_THAT(sent(), ElementsAre("Update Full Image ID LAMP", "Set Title LAMP"));
  tell("Hide Context", "LAMP");
  know(1, 0, 0);
  EXPECT_THAT(sent(), IsEmpty());
}

TEST_F(PanelViewTest, GivesAKeyTenFacesASecondAndTheLastOfThem) {
  know(0, 0, 0);
  appear("LAMP");
  (void)sent();
  know(1, 0, 0);
  EXPECT_THAT(sent(), ElementsAre("Update Full Image ID LAMP"));
  know(0, 0, 0);
  EXPECT_THAT(sent(milliseconds(10)), IsEmpty());
  EXPECT_THAT(sent(milliseconds(90)), ElementsAre("Update Image ID LAMP"));
}

TEST_F(PanelViewTest, AFullStoreLosesNothing) {
  know(0, 0, 0);
  appear("LAMP");
  takes = false;
  EXPECT_THAT(sent(), IsEmpty());
  takes = true;
  EXPECT_THAT(sent(), ElementsAre("Update Full Image ID LAMP", "Set Title LAMP"));
}

TEST_F(PanelViewTest, ANumberThatNeverRestsUsesFewImages) {
  appear("NUMBER");
  std::set<std::uint32_t> ids;
  for (int i = 0; i < 1000; ++i) {
    know(0, 0, i);
    ASSERT_THAT(sent(), testing::Contains("Update Full Image ID NUMBER"));
    ids.insert(messages.front()["Image ID"].get<std::uint32_t>());
  }
  EXPECT_LE(ids.size(), 4U);
}

TEST_F(PanelViewTest, NeverShowsAValueThatIsNotKnown) {
  appear("LAMP");
  appear("OTHER");
  appear("TURN", true);
  (void)sent();
  EXPECT_EQ(title(), "");
  know(1, 0, 90);
  (void)sent();
  values.setUnknown(1);
  view.changed();
  EXPECT_THAT(sent(), ElementsAre("Update Full Image ID OTHER")) << "that key alone";
  view.setAbsence("LOST");
  EXPECT_THAT(sent(), testing::IsSupersetOf({"Update Full Image ID LAMP", "Set Title TURN"}));
  EXPECT_EQ(title(), "TURN\nLOST\n");
  view.setAbsence("");
  EXPECT_THAT(sent(), testing::Contains("Update Image ID LAMP"));
  EXPECT_EQ(title(), "TURN\n90\n");
  appear("BAR", true);
  (void)sent();
  EXPECT_EQ(title(), "BAR\n90\n\n25");
  view.setAbsence("LOST");
  (void)sent();
  EXPECT_THAT(messages, testing::Contains(testing::ResultOf(
                            [](const json& message) { return message.value("Title", ""); },
                            "BAR\nLOST\n\n0")))
      << "a bar that isn't set stays as it was";
}

TEST_F(PanelViewTest, APressDoesItsActionsInOrderAndSaysIfItCannot) {
  appear("LAMP");
  appear("GONE");
  appear("OTHER");
  appear("NOTHING");
  tell("Key Down", "LAMP");
  EXPECT_THAT(simulator.take(), IsEmpty()) << "its value isn't known yet";
  EXPECT_THAT(sent(), testing::Contains("Alert Context LAMP"));
  know(0, 4, 0);
  tell("Key Down", "LAMP");
  EXPECT_THAT(simulator.take(), ElementsAre("A=1", "run go"));
  EXPECT_THAT(sent(), testing::Contains("Ident Context LAMP"));
  tell("Key Down", "LAMP");
  EXPECT_THAT(simulator.take(), ElementsAre("A=0", "run go")) << "before the simulator has told";
  values.set(0, 0.0);
  hand.told(0);
  values.set(0, 1.0);
  tell("Key Down", "LAMP");
  EXPECT_THAT(simulator.take(), ElementsAre("A=0", "run go")) << "it told, and then changed it";
  for (const char* written : {"B=9", "B=0", "B=5"}) {
    tell("Key Down", "OTHER");
    EXPECT_THAT(simulator.take(), ElementsAre(written));
  }
  (void)sent();
  for (const char* refused : {"GONE", "NOTHING"}) tell("Key Down", refused);
  EXPECT_THAT(simulator.take(), IsEmpty());
  EXPECT_THAT(sent(), testing::IsSupersetOf({"Alert Context GONE", "Alert Context NOTHING"}));
  hand.setConnected(false);
  tell("Key Down", "LAMP");
  EXPECT_THAT(simulator.take(), IsEmpty()) << "it must not be carried out later";
  EXPECT_THAT(sent(), testing::Contains("Alert Context LAMP"));
}

TEST_F(PanelViewTest, AnActionGoesOnFromWhatWasWrittenBefore) {
  know(1, 0, 0);
  appear("MORE");
  appear("STEPS", true);
  tell("Key Down", "MORE");
  EXPECT_THAT(simulator.take(), ElementsAre("A=3", "B=31"));
  tell("Key Down", "MORE");
  EXPECT_THAT(simulator.take(), ElementsAre("A=5", "B=51")) << "before the simulator has told";
  rotate("STEPS", 3);
  EXPECT_THAT(simulator.take(), ElementsAre("H=1", "H=2", "H=3"));
  tell("Dial Down", "STEPS");
  rotate("STEPS", 1);
  EXPECT_THAT(simulator.take(), ElementsAre("H=13"));
}

TEST_F(PanelViewTest, ALongPressIsAnotherAndEndsWhatItHolds) {
  know(0, 0, 0);
  appear("LONG");
  tell("Key Down", "LONG");
  (void)sent();
  EXPECT_THAT(simulator.take(), IsEmpty());
  tell("Key Up", "LONG");
  EXPECT_THAT(simulator.take(), ElementsAre("A=7"));
  for (const char* end : {"Key Up", "Hide Context"}) {
    tell("Key Down", "LONG");
    (void)sent(milliseconds(600));
    EXPECT_THAT(simulator.take(), ElementsAre("hold start"));
    tell(end, "LONG");
    EXPECT_THAT(simulator.take(), ElementsAre("release start")) << end;
  }
  for (const char* name : {"LONG", "HELD"}) appear(name);
  tell("Key Down", "LONG");
  (void)sent(milliseconds(600));
  for (const char* message : {"Key Down", "Key Up"}) tell(message, "HELD");
  EXPECT_THAT(simulator.take(), ElementsAre("hold start")) << "the other key still holds it";
  view.setPanel(nullptr, nullptr, nullptr);
  EXPECT_THAT(simulator.take(), ElementsAre("release start")) << "another panel";
}

TEST_F(PanelViewTest, NothingIsHeldOrComesLaterWhenTheLinkIsDown) {
  know(0, 0, 0);
  for (const char* name : {"LONG", "HELD"}) appear(name);
  tell("Key Down", "HELD");
  tell("Key Down", "LONG");
  view.letGo();
  (void)sent(milliseconds(600));
  EXPECT_THAT(simulator.take(), ElementsAre("hold start", "release start"));
}

TEST_F(PanelViewTest, ADialTurnsAroundAndFasterAndOtherwiseWhilePressed) {
  know(0, 0, 358);
  appear("TURN", true);
  appear("CLAMP", true);
  rotate("TURN", 3);
  EXPECT_THAT(simulator.take(), ElementsAre("H=1"));
  now += milliseconds(50);
  rotate("TURN", -2);
  EXPECT_THAT(simulator.take(), ElementsAre("H=341")) << "40 detents a second";
  now += milliseconds(2000);
  rotate("CLAMP", 3);
  EXPECT_THAT(simulator.take(), ElementsAre("H=360"));
  tell("Dial Down", "TURN");
  rotate("TURN", 2);
  tell("Dial Up", "TURN");
  EXPECT_THAT(simulator.take(), ElementsAre("run go", "run go")) << "and no push";
  tell("Dial Down", "TURN");
  tell("Dial Up", "TURN");
  tell({{"Message", "Touch Tap"}, {"Context", "TURN"}, {"Hold", true}});
  EXPECT_THAT(simulator.take(), ElementsAre("A=1", "H=3"));
  rotate("TURN", 2147483647);
  rotate("TURN", -2147483647);
  EXPECT_EQ(simulator.take().size(), 2U);
}

TEST_F(PanelViewTest, WhatIsUnknownRemainsSoWhenTheConnectionHasEnded) {
  know(1, 1, 90);
  values.forget();
  appear("TURN", true);
  (void)sent();
  EXPECT_EQ(title(), "TURN\nWAITING\n");
  values.setUnknown(2);
  values.forget();
  view.changed();
  (void)sent();
  EXPECT_EQ(title(), "TURN\nUNKNOWN\n");
}

TEST_F(PanelViewTest, WhatIsNoMessageDoesNothing) {
  for (const char* text : {"", "{", "[]", R"({"Message":"Add Context"})", R"({"Message":7})",
                           R"({"Message":"Key Down","Context":"none"})",
                           R"({"Message":"Encoder Rotate","Context":"none","Ticks":"a"})"}) {
    EXPECT_FALSE(view.handle(text, now)) << text;
  }
  EXPECT_EQ(view.summary(), "1 devices, 0 contexts");
}

TEST_F(PanelViewTest, WhereTitlesAreWantedAKeysOwnIsTheSecondLine) {
  const PanelFile radio = PanelFile::fromText(
      "panel: R\ntitles: true\n"
      "values: {a: {trainer: a}, b: {trainer: b}, heading: {trainer: heading}}\n"
      "keys: {COM: {face: number, show: a, title: {show: b}}}\n",
      "r.yaml", symbols.names());
  view.setPanel(&radio.panel(), &values, &hand);
  know(118, 121, 0);
  appear("COM");
  EXPECT_THAT(sent(), testing::Contains("Set Title COM"));
  EXPECT_EQ(title(), "118\n121");
}

}  // namespace
