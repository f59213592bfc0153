#include <gmock/gmock.h>

#include "tests/e2e/Stage.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

class RoadTest : public Stage {
 protected:
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
  startCockpit();
  awaitCockpit(kReplay);

  auto seen = awaitCockpit("Force Refresh");
  for (const char* command :
       {"press K", "release K", "push E", "pull E", "rotate E -3", "hold E"}) {
    tellDeck(command);
  }
  for (const char* message :
       {R"({"Context":"K","Message":"Key Down"})", R"({"Context":"K","Message":"Key Up"})",
        R"({"Context":"E","Message":"Dial Down"})", R"({"Context":"E","Message":"Dial Up"})",
        R"({"Context":"E","Message":"Encoder Rotate","Ticks":-3})",
        R"({"Context":"E","Hold":true,"Message":"Touch Tap"})"}) {
    seen = awaitCockpit(message, seen);
  }

  tellCockpit(R"({"Message":"Update Full Image ID","Context":"K","Image ID":-1,"Base64":"QUJD"})");
  awaitDeck(R"({"context":"K","event":"setImage","payload":{"image":"data:image/png;base64,QUJD")");
  tellCockpit(R"({"Message":"Update Image ID","Context":"E","Image ID":4294967295})");
  awaitDeck(R"({"context":"E","event":"setFeedback","payload":{"icon":"images/4294967295.png"}})");
  EXPECT_TRUE(std::filesystem::exists(folder / "images/4294967295.png"));

  const std::size_t before = deck->lines().size();
  killCockpit();
  const auto lost = awaitDeck("No Heartbeat, disconnected", before);
  awaitDeck(R"({"context":"E","event":"setFeedback","payload":{"icon":"SDPlusIcon.png"}})", lost);
  awaitDeck(R"({"context":"K","event":"setImage","payload":{"image":"","target":0}})", lost);

  startCockpit();
  awaitCockpit(kReplay);
  tellCockpit(R"({"Message":"Update Image ID","Context":"K","Image ID":-1})");
  awaitDeck("Velomar.cpp: Image is mising base64", lost);
  EXPECT_THAT(deck->lines(), Not(Contains(HasSubstr("Got some error"))));
  endDeck();
  EXPECT_TRUE(std::filesystem::is_empty(folder / "images"));
}

}  // namespace
