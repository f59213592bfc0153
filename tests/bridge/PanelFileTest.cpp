#include "bridge/PanelFile.h"

#include <gmock/gmock.h>

#include <fstream>

#include "bridge/PanelLibrary.h"
#include "tools/common/TemporaryFolder.h"

namespace {

using bridge::Panel;
using bridge::PanelFile;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::vector<std::string> kSymbols{"beacon", "gear"};

PanelFile read(const std::string& text) {
  return PanelFile::fromText(text, "p.yaml", kSymbols);
}

std::vector<std::string> complaintsOf(const std::string& text) {
  std::vector<std::string> lines;
  const PanelFile file = read(text);
  for (const auto& problem : file.problems()) lines.push_back(problem.describe());
  return lines;
}

constexpr char kHead[] =
    "panel: P\n"
    "values: {beacon: {trainer: lights/beacon}, name: {xplane: acf}}\n"
    "commands: {go: {xplane: sim/go}}\n";

std::string keyed(const std::string& key) {
  return kHead + ("keys:\n  K: {" + key + "}\n");
}

std::string dialed(const std::string& dial) {
  return kHead + ("dials:\n  D: {" + dial + "}\n");
}

TEST(PanelFile, ReportsEverythingThatIsWrongWithItsPlace) {
  EXPECT_THAT(
      complaintsOf(std::string(kHead) +
                   "keys:\n"
                   "  A: {face: lmap, on: beacon}\n"
                   "  B: {face: lamp, on: becon, colour: grene}\n"
                   "  C: {face: switch, on: beacon, symbol: beacn, pres: {toggle: beacon}}\n"
                   "  A: {face: lamp, on: beacon}\n"),
      ElementsAre("p.yaml:5:13: unknown face \"lmap\", did you mean \"lamp\"?",
                  "p.yaml:6:23: unknown value \"becon\", did you mean \"beacon\"?",
                  "p.yaml:6:38: unknown colour \"grene\", did you mean \"green\"?",
                  "p.yaml:7:41: unknown symbol \"beacn\", did you mean \"beacon\"?",
                  "p.yaml:7:48: unknown field \"pres\" in a key, did you mean \"press\"?",
                  "p.yaml:8:3: \"A\" comes twice"));
}

TEST(PanelFile, NamesWhatAFaceOrAnActionLacks) {
  struct Case {
    std::string text;
    const char* complaint;
  };
  const std::vector<Case> cases{
      {keyed("face: lamp"), "needs \"on\""},
      {keyed("face: number"), "needs \"show\""},
      {keyed("face: gauge, show: beacon"), "needs \"range\""},
      {keyed("face: picture"), "needs \"picture\""},
      {keyed("on: beacon"), "a key needs \"face\""},
      {keyed("face: number, show: beacon, text: \"{:d}\""), "format"},
      {keyed("face: number, show: beacon, text: \"{:99999999f}\""), "two digits"},
      {keyed("face: number, show: beacon, text: \"{} {}\""), "format"},
      {keyed("face: lamp, on: beacon, press: {set: beacon}"), "\"set\" needs \"to\""},
      {keyed("face: lamp, on: beacon, press: {cycle: beacon}"), "\"cycle\" needs \"through\""},
      {keyed("face: lamp, on: beacon, press: {add: beacon}"), "\"add\" needs \"step\""},
      {keyed("face: lamp, on: beacon, press: {command: og}"), "did you mean \"go\"?"},
      {keyed("face: lamp, on: beacon, press: {toggle: beacon, command: go}"), "has one of"},
      {keyed("face: lamp, on: beacon, press: [{}]"), "has one of"},
      {keyed("face: lamp, on: beacon, after: soon"), "seconds"},
      {keyed("face: lamp, on: [beacon]"), "an expression is needed"},
      {keyed("face: lamp, on: beacon, symbol: none.svg"), "no file"},
      {dialed("turn: {up: {command: go}, step: 1, wrap: [0]}, range: [1]"), "[FROM, TO]"},
      {dialed("turn: {}"), "a turn has"},
      {dialed("turn: {add: beacon, step: 1, wrap: [0, 1], clamp: [0, 1]}"), "exclude"},
      {dialed("face: picture"), "a dial shows no picture"},
      {"keys: {}\n", "has no name"},
      {"panel: P\nvalues: {min: {xplane: a}}\n", "can't name a value"},
      {"panel: P\ntitles: maybe\n", "true or false"},
      {"panel: P\ncommands: {go: {xplane: {a: 1, b: 2}}}\n", "a command is a name"},
      {"panel: P\ncommands: {go: {xplane: {release: stop}}}\n", "a command is a name"},
      {"panel: P\nkeys: [1]\n", "must be a mapping"},
      {"- 1\n", "must be a mapping"},
      {"", "must be a mapping"},
      {kHead + std::string("keys:\n  K: {}\n\tL: {}\n"), "p.yaml:6:1: a tab"},
      {keyed("face: lamp, on: beacon, label: \xe4"), "p.yaml:5:38: not UTF-8"},
      {"panel: {\n", ":"},
  };
  for (const Case& each : cases) {
    const auto complaints = complaintsOf(each.text);
    ASSERT_THAT(complaints, testing::Not(IsEmpty())) << each.text;
    EXPECT_THAT(complaints, testing::Contains(HasSubstr(each.complaint))) << each.text;
  }
}

TEST(PanelFile, SurvivesAnyText) {
  const std::string whole =
      keyed("face: lamp, on: beacon, press: [{toggle: beacon}, {command: go}]");
  for (std::size_t size = 0; size < whole.size(); ++size) {
    (void)read(whole.substr(0, size));
    std::string changed = whole;
    for (const char c : {'\0', '[', '}', ':', '\xff', '&', '*', '\n'}) {
      changed[size] = c;
      (void)read(changed);
    }
  }
  EXPECT_THAT(complaintsOf(std::string(100000, '[')), testing::Not(IsEmpty()));
  EXPECT_THAT(complaintsOf("a: &x [*x]\nb: {<<: *x}\n"), testing::Not(IsEmpty()));
  EXPECT_FALSE(PanelFile("/nowhere.yaml", kSymbols).isRight());
  EXPECT_FALSE(PanelFile("/dev/zero", kSymbols).isRight());
}

TEST(PanelFile, GivesWhatTheFileSays) {
  const PanelFile file = read(
      "panel: P\naircraft: [c172p, any]\ntitles: true\n"
      "values: {heading: {xplane: 'a[2]', flightgear: /a}}\n"
      "commands: {go: {flightgear: {adjust: {property: /b, step: 0.5}, release: stop}}}\n"
      "keys: {K: {face: lamp, on: heading > 1, colour: \"#102030\", long press: {command: go, "
      "held: true},"
      " after: 1.5}}\n"
      "dials: {D: {face: compass, show: heading, turn: {add: heading, step: 1, wrap: [0, "
      "360]}}}\n");
  ASSERT_THAT(file.problems(), IsEmpty());
  const Panel& panel = file.panel();
  EXPECT_TRUE(panel.isForAny && panel.hasTitles);
  EXPECT_THAT(panel.aircraft, ElementsAre("c172p"));
  EXPECT_EQ(panel.values[0].names[0], "a[2]");
  EXPECT_EQ(panel.values[0].names[2], std::nullopt);
  const bridge::Command& command = *panel.commands[0].commands[1];
  EXPECT_EQ(command.name, "adjust");
  EXPECT_EQ(std::get<double>(command.arguments[1].second), 0.5);
  EXPECT_EQ(command.atRelease.at(0).name, "stop");
  const Panel::Control& key = *panel.find("K", false);
  EXPECT_EQ(key.display.colour, 0x102030U);
  EXPECT_EQ(key.longAfter.count(), 1500);
  EXPECT_TRUE(std::get<Panel::Run>(key.longPress[0].what).isHeld);
  EXPECT_TRUE(panel.find("D", true)->turn.add->wraps);
  EXPECT_EQ(panel.find("K", true), &key) << "a dial of a key's name shows the key";
}

TEST(PanelLibrary, AUsersPanelComesFirstByWhicheverNameItKnowsTheAircraft) {
  const TemporaryFolder own;
  const TemporaryFolder shipped;
  std::ofstream(own.path() / "mine.yaml") << "panel: Mine\naircraft: Cessna Skyhawk\n";
  std::ofstream(own.path() / ".#mine.yaml") << "an editor's own";
  std::ofstream(shipped.path() / "c172.yaml") << "panel: Shipped\naircraft: C172\n";
  std::ofstream(shipped.path() / "all.yaml") << "panel: All\n";
  std::ofstream(shipped.path() / "any.yaml") << "panel: Any\naircraft: Any\n";
  bridge::PanelLibrary library({own.path(), shipped.path()}, kSymbols);
  EXPECT_TRUE(library.refresh());
  EXPECT_THAT(library.problems(), IsEmpty());
  EXPECT_EQ(library.choose({"C172", "cessna skyhawk"})->name, "Mine");
  EXPECT_EQ(library.choose({"C172", "Cessna 172"})->name, "Shipped");
  EXPECT_EQ(library.choose({"B738"})->name, "All");
  std::filesystem::remove(shipped.path() / "all.yaml");
  EXPECT_TRUE(library.refresh());
  EXPECT_EQ(library.choose({"B738"})->name, "Any");
}

TEST(PanelLibrary, ReadsAPanelAgainWhenItsPictureHasChanged) {
  const TemporaryFolder folder;
  const auto save = [&folder](const char* name, const char* text) {
    std::ofstream(folder.path() / name) << text;
  };
  save("mine.svg", "no picture");
  save("p.yaml", "panel: P\naircraft: any\nkeys: {K: {face: lamp, on: 1, symbol: mine.svg}}\n");
  bridge::PanelLibrary library(std::vector<std::filesystem::path>{folder.path()}, kSymbols);
  EXPECT_TRUE(library.refresh());
  ASSERT_EQ(library.problems().size(), 1U);
  EXPECT_THAT(library.problems()[0].describe(), HasSubstr("can be drawn"));
  EXPECT_FALSE(library.refresh());
  save("mine.svg", R"(<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 9 9"/>)");
  EXPECT_TRUE(library.refresh());
  EXPECT_NE(library.choose({"c172"}), nullptr);
  EXPECT_FALSE(library.refresh());
}

}  // namespace
