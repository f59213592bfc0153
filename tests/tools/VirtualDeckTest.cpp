#include "tools/deck/VirtualDeck.h"

#include <gmock/gmock.h>

#include <fstream>

#include "tools/common/TemporaryFolder.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class VirtualDeckTest : public testing::Test {
 protected:
  void SetUp() override {
    bundle.folder = folder.path();
    bundle.layout = "good.json";
    write("good.json", R"({"items":[{"key":"icon","type":"pixmap","rect":[0,0,9,9]}]})");
    write("bad.json", R"({"items":[{"key":"icon",)");
    fs::create_symlink(fs::temp_directory_path(), bundle.folder / "out");
    deck.emplace(
        bundle, [this](const std::string& event) { sent.push_back(event); },
        [](const std::string&) {});
  }

  void write(const char* name, const char* text) const {
    std::ofstream(bundle.folder / name) << text;
  }

  std::string layout(const std::string& path) {
    return deck->frame(R"({"event":"setFeedbackLayout","context":"E","payload":{"layout":")" +
                       path + "\"}}");
  }
  std::string icon(const std::string& value) {
    return deck->frame(R"({"event":"setFeedback","context":"E","payload":{"icon":)" + value + "}}");
  }

  const TemporaryFolder folder;
  Bundle bundle;
  std::vector<std::string> sent;
  std::optional<VirtualDeck> deck;
};

TEST_F(VirtualDeckTest, WhatHappensBeforeTheRegistrationIsSentRightAfterIt) {
  for (const char* command : {"plug D", "appear K D 0 0 AP", "press K", R"({"event":"x"})"}) {
    EXPECT_EQ(deck->obey(command), "");
  }
  EXPECT_THAT(sent, IsEmpty());
  deck->pluginRegistered();
  EXPECT_EQ(deck->obey("release K"), "");
  EXPECT_THAT(sent, ElementsAre(HasSubstr("deviceDidConnect"), HasSubstr("willAppear"),
                                HasSubstr("keyDown"), HasSubstr("\"x\""), HasSubstr("keyUp")));
  deck->pluginGone();
  EXPECT_NE(deck->obey(R"({"event":"x"})"), "");
  EXPECT_EQ(sent.size(), 5U);
}

TEST_F(VirtualDeckTest, ADialTakesFeedbackOnlyWithALayoutAndFilesOnlyFromTheFolder) {
  deck->pluginRegistered();
  (void)deck->obey("plug D");
  (void)deck->obey("dial E D 0");
  for (const char* good : {R"("a.png")", R"("images/../a.png")", R"({"value":"a.png"})",
                           R"("data:../..")", R"("<svg/>")", R"({"opacity":1})"}) {
    EXPECT_EQ(icon(good), "") << good;
  }
  for (const char* bad :
       {R"("/etc/motd")", R"("../a.png")", R"("out/a.png")", R"({"value":"images/../../a.png"})"}) {
    EXPECT_NE(icon(bad), "") << bad;
  }
  EXPECT_NE(layout("../good.json"), "");
  EXPECT_EQ(icon(R"("a.png")"), "") << "what is refused changes nothing";
  for (const char* bad : {"bad.json", "missing.json"}) {
    EXPECT_NE(layout(bad), "");
    EXPECT_NE(icon(R"("a.png")"), "");
    EXPECT_EQ(layout("good.json"), "");
    EXPECT_EQ(icon(R"("a.png")"), "");
  }
}

TEST_F(VirtualDeckTest, TheLinkIsWhatThePluginsLogLinesSayOfIt) {
  const auto log = [&](const std::string& line) {
    (void)deck->frame(R"({"event":"logMessage","payload":{"message":")" + line + "\"}}");
    return deck->state()["link"]["state"].get<std::string>();
  };
  EXPECT_EQ(deck->state()["link"]["state"], "unknown");
  deck->pluginRegistered();
  EXPECT_EQ(log("Velomar.cpp: Got Welcome Message"), "awaited") << "another file's line";
  EXPECT_EQ(log("XPlaneManager.cpp: Sent Hello"), "awaited");
  EXPECT_EQ(log("XPlaneManager.cpp: Got Welcome Message"), "up");
  EXPECT_EQ(log("XPlaneManager.cpp: Got Hello Message, sending another Hello"), "up");
  EXPECT_EQ(log("XPlaneManager.cpp: No Heartbeat, disconnected"), "silent");
  const auto state = deck->state();
  EXPECT_GE(state["time"].get<double>() - state["link"]["since"].get<double>(), 10);
  EXPECT_EQ(log("XPlaneManager.cpp: Sent Hello"), "silent") << "it was there once";
  EXPECT_EQ(log("XPlaneManager.cpp: Got Welcome Message"), "up");
  EXPECT_EQ(log("XPlaneManager.cpp: Got some error, disconnecting. Msg: x"), "dropped");
  EXPECT_EQ(log("XPlaneManager.cpp: Can't open the store ToXPlane, code 6"), "impossible");
  deck->pluginGone();
  EXPECT_EQ(deck->state()["link"]["state"], "unknown");
}

TEST_F(VirtualDeckTest, AProfileIsToldToThePluginWhenItHasRegistered) {
  EXPECT_EQ(deck->load("plug D\nappear K D 0 0 AP\npage D 1"), "");
  deck->pluginRegistered();
  EXPECT_THAT(sent, ElementsAre(HasSubstr("deviceDidConnect")));
  EXPECT_EQ(deck->obey("page D 0"), "");
  EXPECT_THAT(sent.back(), HasSubstr("\"KeyName\":\"AP\""));
}

}  // namespace
