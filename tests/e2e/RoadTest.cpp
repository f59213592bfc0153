#include <gmock/gmock.h>

#include "simulator/SimulatorLink.h"
#include "tests/e2e/Stage.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using velomar::SimulatorLink;

class RoadTest : public Stage {
 protected:
  void startSimulatorSide() {
    link = std::make_unique<SimulatorLink>();
    heard.clear();
  }
  void endSimulatorSide() { link.reset(); }
  void tellPanel(const std::string& message) { EXPECT_TRUE(link->send(message)); }

  // Waits for a message to the simulator's side that holds all of `text`. The index after it.
  std::size_t awaitMessage(const std::string& text, std::size_t from = 0) {
    for (const auto deadline = SimulatorLink::Clock::now() + kPatience;;) {
      for (const std::string& message : link->poll()) heard.push_back(message);
      for (; from < heard.size(); ++from) {
        if (heard[from].find(text) != std::string::npos) return from + 1;
      }
      if (SimulatorLink::Clock::now() > deadline) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ADD_FAILURE() << "no message with " << text;
    return from;
  }

  std::unique_ptr<SimulatorLink> link;
  Lines heard;

  static constexpr char kReplay[] =
      R"({"Message":"Group Message","Messages":{"0":{"Message":"API Version","Version":1},)"
      R"("1":{"Device ID":"D","Message":"Add Device"},)"
      R"("2":{"Column":2,"Context":"E","Controller":"Encoder","Device ID":"D",)"
      R"("KeyName":"HEADING","Message":"Add Context","Row":0},)"
      R"("3":{"Column":0,"Context":"K","Controller":"Keypad","Device ID":"D",)"
      R"("KeyName":"GEAR","Message":"Add Context","Row":0},"4":{"Message":"Force Refresh"}}})";
};

// The link's own pauses and limits, as the program has them.
TEST_F(RoadTest, BothDirectionsWorkAndALostSimulatorBlanksThePanelAndComesBack) {
  startDeck();
  const double registered = stampOf(*deck, awaitDeck("registerPlugin"));
  for (const char* command : {"plug D", "appear K D 0 0 GEAR", "dial E D 2 HEADING"}) {
    tellDeck(command);
  }
  const auto said = awaitDeck("XPlaneManager.cpp: Sent Hello");
  EXPECT_GE(stampOf(*deck, said) - registered, 4.9) << "the start pause";
  startSimulatorSide();
  awaitMessage(kReplay);

  auto seen = awaitMessage("Force Refresh");
  for (const char* command :
       {"press K", "release K", "push E", "pull E", "rotate E -3", "hold E"}) {
    tellDeck(command);
  }
  for (const char* message :
       {R"({"Context":"K","Message":"Key Down"})", R"({"Context":"K","Message":"Key Up"})",
        R"({"Context":"E","Message":"Dial Down"})", R"({"Context":"E","Message":"Dial Up"})",
        R"({"Context":"E","Message":"Encoder Rotate","Ticks":-3})",
        R"({"Context":"E","Hold":true,"Message":"Touch Tap"})"}) {
    seen = awaitMessage(message, seen);
  }

  tellPanel(R"({"Message":"Update Full Image ID","Context":"K","Image ID":-1,"Base64":"QUJD"})");
  awaitDeck(R"({"context":"K","event":"setImage","payload":{"image":"data:image/png;base64,QUJD")");
  tellPanel(R"({"Message":"Update Image ID","Context":"E","Image ID":4294967295})");
  awaitDeck(R"({"context":"E","event":"setFeedback","payload":{"icon":"images/4294967295.png"}})");
  EXPECT_TRUE(std::filesystem::exists(folder / "images/4294967295.png"));

  const std::size_t before = deck->lines().size();
  endSimulatorSide();
  const auto lost = awaitDeck("No Heartbeat, disconnected", before);
  awaitDeck(R"({"context":"E","event":"setFeedback","payload":{"icon":"SDPlusIcon.png"}})", lost);
  awaitDeck(R"({"context":"K","event":"setImage","payload":{"image":"","target":0}})", lost);

  startSimulatorSide();
  awaitMessage(kReplay);
  tellPanel(R"({"Message":"Update Image ID","Context":"K","Image ID":-1})");
  awaitDeck("Velomar.cpp: Image is mising base64", lost);
  EXPECT_THAT(deck->lines(), Not(Contains(HasSubstr("Got some error"))));
  endDeck();
  EXPECT_TRUE(std::filesystem::is_empty(folder / "images"));
}

}  // namespace
