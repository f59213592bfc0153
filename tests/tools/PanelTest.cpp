#include "tools/cockpit/Panel.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/Base64.h"

namespace {

using nlohmann::json;

std::string decoded(const json& base64) {
  std::string bytes;
  EXPECT_EQ(macaron::Base64::Decode(base64.get<std::string>(), bytes), "");
  return bytes;
}

struct PanelTest : testing::Test {
  void tell(const json& message) { panel.handle(message.dump(), now); }

  void tell(const char* name, const std::string& context, json more = json::object()) {
    more["Message"] = name;
    more["Context"] = context;
    tell(more);
  }

  static json appearance(const std::string& context, const std::string& name,
                         const char* controller = "Keypad") {
    return {{"Message", "Add Context"},
            {"Context", context},
            {"KeyName", name},
            {"Controller", controller},
            {"Device ID", "D"},
            {"Column", 0},
            {"Row", 0}};
  }

  void replay(const std::vector<json>& contexts) {
    std::vector<json> messages{{{"Message", "API Version"}, {"Version", 1}},
                               {{"Message", "Add Device"}, {"Device ID", "D"}}};
    messages.insert(messages.end(), contexts.begin(), contexts.end());
    messages.push_back({{"Message", "Force Refresh"}});
    json group{{"Message", "Group Message"}, {"Messages", json::object()}};
    for (std::size_t i = 0; i < messages.size(); ++i) {
      group["Messages"][std::to_string(i)] = messages[i];
    }
    tell(group);
  }

  // What the panel sends a frame later, at most one text, its messages one by one.
  std::vector<json> frame() {
    now += Panel::kFrame;
    aircraft.advance(Panel::kFrame);
    sent.clear();
    panel.show(now);
    EXPECT_LE(sent.size(), 1U);
    std::vector<json> messages;
    if (sent.empty()) return messages;
    const json message = json::parse(sent.front());
    if (message.at("Message") != "Group Message") return {message};
    const json& members = message.at("Messages");
    for (std::size_t i = 0; i < members.size(); ++i) {
      messages.push_back(members.at(std::to_string(i)));
    }
    return messages;
  }

  // The same as words: context, message, and title if there is one.
  static std::vector<std::string> words(const std::vector<json>& messages) {
    std::vector<std::string> all;
    for (const json& message : messages) {
      all.push_back(message.at("Context").get<std::string>() + " " +
                    message.at("Message").get<std::string>());
      if (message.contains("Title")) all.back() += " " + message["Title"].get<std::string>();
    }
    return all;
  }

  using Words = std::vector<std::string>;

  Aircraft aircraft{std::chrono::hours(9)};
  std::vector<std::string> sent;
  Panel panel{aircraft, [this](const std::string& message) {
                sent.push_back(message);
                return true;
              }};
  Panel::Time now{0};
};

TEST_F(PanelTest, AReplayIsReadByNumberAndAnsweredAtOnce) {
  std::vector<json> contexts;
  for (const char* id : {"A", "B", "C", "D", "E", "F", "G", "H"}) {
    contexts.push_back(appearance(id, "GEAR"));
  }
  // Number 10, whose text stands before that of number 2.
  contexts.push_back({{"Message", "Update Key Name"}, {"Context", "A"}, {"KeyName", "AP"}});
  replay(contexts);
  EXPECT_EQ(panel.summary(), "1 devices, 8 contexts");
  const auto messages = frame();
  ASSERT_EQ(messages.size(), 16U);
  EXPECT_EQ(words({messages.begin() + 2, messages.begin() + 6}),
            (Words{"B Update Full Image ID", "B Set Title ", "C Update Image ID", "C Set Title "}));
  EXPECT_EQ(words(frame()), Words{});

  replay({appearance("B", "GEAR")});
  EXPECT_EQ(panel.summary(), "1 devices, 1 contexts") << "the others went while the link was down";
  EXPECT_EQ(words(frame()), (Words{"B Update Full Image ID", "B Set Title "}));
}

TEST_F(PanelTest, APressMovesTheGearAndPicturesThatAreKnownAreOnlyNamed) {
  replay({appearance("GEAR", "GEAR")});
  const auto down = frame().at(0).at("Image ID");
  const auto move = [this] {
    tell("Key Down", "GEAR");
    tell("Key Up", "GEAR");
    std::vector<json> all;
    for (int i = 0; i < 45; ++i) {
      for (const json& message : frame()) all.push_back(message);
    }
    return all;
  };
  const auto goingUp = move();
  EXPECT_EQ(words(goingUp), Words(5, "GEAR Update Full Image ID"));
  const auto goingDown = move();
  EXPECT_EQ(words(goingDown), Words(5, "GEAR Update Image ID"));
  EXPECT_EQ(goingDown.back().at("Image ID"), down);
}

TEST_F(PanelTest, ADialHasALayoutThatIsGivenOnceAndLinesThatFillIt) {
  replay({appearance("H1", "HEADING", "Encoder"), appearance("H2", "HEADING", "Encoder"),
          appearance("N", "NAV1", "Encoder")});
  const auto messages = frame();
  EXPECT_EQ(words(messages),
            (Words{"H1 Set Layout Cache", "H1 Update Full Image ID",
                   "H1 Set Title HDG\n270°\nnow 270°\n75", "H2 Set Layout", "H2 Update Image ID",
                   "H2 Set Title HDG\n270°\nnow 270°\n75", "N Set Layout", "N Update Full Image ID",
                   "N Set Title NAV1\n110.50\n113.90"}));
  EXPECT_EQ(json::parse(decoded(messages[0].at("BASE64"))).at("id"), messages[0].at("UUID"));
  EXPECT_EQ(messages[3].at("UUID"), messages[0].at("UUID"));
  EXPECT_EQ(messages[6].at("UUID"), "") << "the default one";

  tell("Dial Down", "N");
  tell("Encoder Rotate", "N", {{"Ticks", 1}});
  tell("Dial Up", "N");
  EXPECT_EQ(words(frame()), Words{"N Set Title NAV1\n110.50\n114.90"}) << "turned, not pressed";
  tell("Dial Down", "N");
  tell("Dial Up", "N");
  EXPECT_EQ(words(frame()), (Words{"N Set Title NAV1\n114.90\n110.50", "N Ident Context"}));
}

}  // namespace
