#include "tools/deck/DeckModel.h"

#include <gmock/gmock.h>

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;

namespace {

class DeckModelTest : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* command : {"plug DECK plus", "appear GEAR DECK 0 0", "dial HEADING DECK 0"}) {
      EXPECT_EQ(fault(command), "");
    }
  }

  std::string fault(const std::string& command) {
    std::string error;
    const auto events = model.obey(command, error);
    EXPECT_TRUE(error.empty() || events.empty()) << command;
    return error;
  }

  DeckModel model;
};

TEST_F(DeckModelTest, ACommandThatCantBeDoneIsToldItsOwnReason) {
  EXPECT_THAT(fault("fly GEAR"), AllOf(HasSubstr("fly"), HasSubstr("help")));
  EXPECT_THAT(fault("press"), AllOf(HasSubstr("CONTEXT is missing"), EndsWith("(press CONTEXT)")));
  EXPECT_THAT(fault("rotate HEADING"), HasSubstr("TICKS is missing"));
  EXPECT_THAT(fault("rotate HEADING 3x"), HasSubstr("3x"));
  EXPECT_THAT(fault("press gear"), HasSubstr("Do you mean GEAR?"));
  EXPECT_THAT(fault("press FLAPS"), HasSubstr("GEAR, HEADING"));
  EXPECT_THAT(fault("appear NEW deck 1 0"), HasSubstr("Do you mean DECK?"));
  EXPECT_THAT(fault("move GEAR 0 4 0"), HasSubstr("place"));
  EXPECT_THAT(fault("page DECK 3"), HasSubstr("0 to 2"));
  EXPECT_EQ(fault("page DECK 1"), "");
  EXPECT_THAT(fault("press GEAR"), HasSubstr("isn't on show"));
  EXPECT_EQ(fault("Page DECK 0"), "") << "a command is known in any case";
}

TEST_F(DeckModelTest, TheHelpFitsATerminalAndNamesEveryCommand) {
  std::istringstream lines(DeckModel::help());
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    EXPECT_LT(line.size(), 80U) << line;
    EXPECT_THAT(fault(line.substr(0, line.find(' '))), testing::Not(HasSubstr("no command")));
  }
  EXPECT_GT(count, 10);
}

TEST_F(DeckModelTest, AKeyThatGoesToATakenPlaceChangesPlacesWithTheOther) {
  EXPECT_EQ(fault("page DECK 1"), "");
  EXPECT_EQ(fault("appear FLAPS DECK 3 1 FLAPS_UP"), "");
  std::string error;
  const auto events = model.obey("move GEAR 1 3 1", error);
  EXPECT_EQ(error, "");
  ASSERT_EQ(events.size(), 2U) << "one goes out of sight, and one comes";
  EXPECT_THAT(events[0].dump(), AllOf(HasSubstr("willDisappear"), HasSubstr("FLAPS")));
  EXPECT_THAT(events[1].dump(), AllOf(HasSubstr("willAppear"), HasSubstr("GEAR")));
  const auto& flaps = model.contexts().at("FLAPS");
  EXPECT_EQ(flaps.page, 0);
  EXPECT_EQ(flaps.column, 0);
  EXPECT_EQ(flaps.settings["KeyName"], "FLAPS_UP");
  EXPECT_THAT(fault("move HEADING 0 4 0"), HasSubstr("place"));
  EXPECT_EQ(fault("move HEADING 0 0 0"), "") << "it is there already";
}

TEST_F(DeckModelTest, AProfileMakesTheSameDeckAgain) {
  for (const char* command :
       {"plug A 15", "unplug A", "page DECK 2", "appear LAST DECK 3 1 a name of words",
        "dialpress both", "name HEADING HDG", "page DECK 1"}) {
    EXPECT_EQ(fault(command), "") << command;
  }
  const std::string profile = model.save();
  DeckModel again;
  std::string error;
  const auto events = again.load("# by hand\n\n" + profile, error);
  EXPECT_EQ(error, "");
  EXPECT_EQ(again.save(), profile);
  EXPECT_EQ(again.contexts().at("LAST").settings["KeyName"], "a name of words");
  EXPECT_EQ(again.devices().at("DECK").turn, 1U) << "the order of plugging is kept";
  EXPECT_FALSE(again.devices().at("A").isPlugged);
  ASSERT_EQ(events.size(), 1U) << "only the device: its page 1 is empty";
  EXPECT_THAT(events[0].dump(), HasSubstr("DECK"));

  for (const char* bad : {"plug A\nplug A", "plug A\npress A", "plug A\nnonsense"}) {
    DeckModel other;
    EXPECT_TRUE(other.load(bad, error).empty());
    EXPECT_EQ(other.devices().size(), 0U) << bad;
    EXPECT_THAT(error, HasSubstr("line 2"));
    error.clear();
  }
}

}  // namespace
