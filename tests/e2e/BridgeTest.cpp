#include <gmock/gmock.h>

#include <fstream>

#include "tests/e2e/Stage.h"

namespace {

using testing::HasSubstr;

// The bridge with its trainer at the other end of the real link.
class BridgeTest : public Stage {
 protected:
  static constexpr char kPanel[] =
      "panel: T\n"
      "titles: true\n"
      "values: {beacon: {trainer: lights/beacon}, none: {trainer: no such value}}\n"
      "keys:\n"
      "  BEACON: {face: switch, on: beacon, press: {toggle: beacon}, title: {show: beacon}}\n"
      "  NONE: {face: switch, on: none, press: {toggle: none}}\n";

  std::unique_ptr<ChildProcess> startWithPanel() {
    ChildProcess::Options options;
    options.withErrorOutput = true;
    return std::make_unique<ChildProcess>(
        Lines{VELOMAR_BRIDGE, "--simulator", "trainer", "--panel", panel.string()},
        std::move(options));
  }

  // Editors do it like this: another file takes the place of the first.
  void save(const std::string& text) {
    const auto next = home.path / "next";
    std::ofstream(next) << text;
    std::filesystem::rename(next, panel);
  }

  static void awaitBridge(ChildProcess& started, const std::string& text) {
    EXPECT_TRUE(started.waitForLine(text, kPatience)) << "no line with " << text;
  }

  std::string titled(const std::string& title) {
    return R"("context":"K","event":"setTitle","payload":{"target":0,"title":")" + title;
  }

  const std::filesystem::path panel = home.path / "panel.yaml";
};

TEST_F(BridgeTest, APressMovesTheAeroplaneAndASavedPanelIsLive) {
  save(kPanel);
  startDeck();
  const auto started = startWithPanel();
  awaitBridge(*started, "stores open");
  EXPECT_EQ(startWithPanel()->waitForEnd(kPatience), 1) << "one a machine";
  for (const char* command : {"plug D", "appear K D 0 0 BEACON", "appear N D 1 0 NONE"}) {
    tellDeck(command);
  }
  awaitBridge(*started, "no value no such value (none)");
  auto seen = awaitDeck(titled("0"));
  tellDeck("press K");
  seen = awaitDeck(titled("1"), seen);
  tellDeck("press N");
  seen = awaitDeck(R"("context":"N","event":"showAlert")", seen);

  save(std::string(kPanel) + "  BEACON2: {face: lmap}\n");
  awaitBridge(*started, "panel.yaml:7:19: unknown face \"lmap\", did you mean \"lamp\"?");
  seen = awaitDeck(R"("context":"K","event":"showAlert")", seen);
  save("\n" + std::string(kPanel) + "  BEACON2: {face: lmap}\n");
  seen = awaitDeck(titled("LINE 8"), seen);
  std::string changed = kPanel;
  changed.replace(changed.find("show: beacon"), 12, "show: 7");
  save(changed);
  seen = awaitDeck(titled("7"), seen);

  started->signal(SIGTERM);
  EXPECT_EQ(started->waitForEnd(kPatience), 0);
  awaitDeck(titled(""), seen);
  endDeck();
}

TEST_F(BridgeTest, AMisspeltSettingIsReported) {
  const auto settings = home.path / "bridge.ini";
  std::ofstream(settings) << "simlator = trainer\n";
  save(kPanel);
  ChildProcess::Options options;
  options.withErrorOutput = true;
  ChildProcess started(
      Lines{VELOMAR_BRIDGE, "--config", settings.string(), "check", panel.string()},
      std::move(options));
  awaitBridge(started, "simlator");
  EXPECT_NE(started.waitForEnd(kPatience), 0);
}

}  // namespace
