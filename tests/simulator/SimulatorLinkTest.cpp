#include "simulator/SimulatorLink.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <optional>
#include <stdexcept>

#include "simulator/Base64.h"
#include "simulator/MessageGroup.h"
#include "tests/simulator/PanelEnd.h"
#include "tools/common/TemporaryPluginFolder.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::ThrowsMessage;
using velomar::MessageGroup;
using velomar::SimulatorLink;
using Late = SimulatorLink::LateInput;

constexpr char kGroup[] =
    R"({"Message":"Group Message","Messages":{"0":{"Message":"API Version","Version":1},)"
    R"("1":{"Message":"Force Refresh"}}})";
constexpr char kDown[] = R"({"Context":"C","Message":"Key Down"})";
constexpr char kAdd[] = R"({"Context":"C","KeyName":"GEAR","Message":"Add Context"})";

class SimulatorLinkTest : public testing::Test {
 protected:
  void open(Late late = Late::Drop) { link.emplace(late); }

  // Opens, and brings the link up as the panel does.
  void bringUp() {
    open();
    EXPECT_THAT(link->poll(), IsEmpty());
    EXPECT_THAT(panel.heard(), ElementsAre("{Hello}"));
    panel.says("{Hello}");
    EXPECT_THAT(link->poll(), IsEmpty());
    EXPECT_THAT(panel.heard(), ElementsAre("{Welcome}"));
    panel.says(kGroup);
    EXPECT_THAT(link->poll(), ElementsAre(kGroup));
  }

  const TemporaryPluginFolder stores;  // new ones
  PanelEnd panel;
  std::optional<SimulatorLink> link;
};

TEST_F(SimulatorLinkTest, PressesThatWaitedAreDroppedUnlessAskedFor) {
  for (const auto late : {Late::Drop, Late::Deliver}) {
    SCOPED_TRACE(late == Late::Drop);
    open(late);
    link->poll();
    // Values that an earlier run has left, then those that waited for the Welcome.
    for (const char* left : {kGroup, kDown, "{Hello}", kDown, kGroup, kDown}) panel.says(left);
    const auto before = link->poll();
    for (const char* value : {kAdd, kDown, kGroup, kDown}) panel.says(value);
    const auto after = link->poll();
    if (late == Late::Drop) {
      EXPECT_THAT(before, ElementsAre(kGroup, kGroup)) << "written before the Welcome was";
      EXPECT_THAT(after, ElementsAre(kAdd, kGroup, kDown));
    } else {
      EXPECT_THAT(before, ElementsAre(kGroup, kDown, kDown, kGroup, kDown));
      EXPECT_THAT(after, ElementsAre(kAdd, kDown, kGroup, kDown));
    }
    link.reset();
    (void)panel.heard();
  }
}

TEST_F(SimulatorLinkTest, EachKindOfInputIsLateAndNewsInTheSameGroupIsKept) {
  open();
  panel.says("{Hello}");
  link->poll();
  std::vector<json> group{json::parse(kAdd)};
  for (const char* name :
       {"Key Down", "Key Up", "Dial Down", "Dial Up", "Encoder Rotate", "Touch Tap"}) {
    const json message{{"Message", name}, {"Context", "C"}};
    panel.says(message.dump());
    group.push_back(message);
  }
  panel.says(MessageGroup::join(group));
  EXPECT_THAT(link->poll(), ElementsAre(kAdd));
}

// Each Welcome has the panel list everything, so that two Hellos for one start cost a second
// replay.
TEST_F(SimulatorLinkTest, HellosOfOneStartGetOneWelcome) {
  open();
  link->poll();
  panel.says("{Hello}");
  panel.says("{Hello}");
  link->poll();
  panel.says("{Hello}");
  link->poll();
  EXPECT_THAT(panel.heard(), ElementsAre("{Hello}", "{Welcome}"));
  panel.says(kGroup);
  link->poll();
  panel.says("{Hello}");  // of a panel that was started again
  link->poll();
  EXPECT_THAT(panel.heard(), ElementsAre("{Welcome}"));
}

TEST_F(SimulatorLinkTest, AWelcomeThatFindsNoRoomIsSentWhenThereIsSome) {
  open();
  while (link->send(kDown)) {
  }
  panel.says("{Hello}");
  link->poll();
  EXPECT_FALSE(link->isUp());
  EXPECT_THAT(panel.heard(), Not(Contains("{Welcome}")));
  link->poll();
  EXPECT_TRUE(link->isUp());
  EXPECT_THAT(panel.heard(), ElementsAre("{Welcome}"));
}

TEST_F(SimulatorLinkTest, SendTakesAMessageOrATextAndSaysWhatDidNotGo) {
  bringUp();
  const json title{{"Message", "Set Title"}, {"Context", "C"}, {"Title", "é"}};
  EXPECT_TRUE(link->send(title));
  EXPECT_TRUE(link->send(title.dump()));
  EXPECT_THAT(panel.heard(), ElementsAre(title.dump(), title.dump()));

  EXPECT_THROW(link->send(json{{"Title", "\xC3"}}), json::exception);
  EXPECT_FALSE(link->send(std::string(2048 * 4096, 'x'))) << "longer than the store";
  EXPECT_THAT(panel.heard(), IsEmpty());
  EXPECT_TRUE(link->send(title));

  EXPECT_TRUE(link->isUp() && link->isAnybodyThere());
  link->close();
  EXPECT_FALSE(link->isUp() || link->isAnybodyThere());
  EXPECT_FALSE(link->send(title));
  panel.says(kDown);
  EXPECT_THAT(link->poll(), IsEmpty());
  link->close();
}

TEST_F(SimulatorLinkTest, ASecondThreadIsRefusedAndNothingIsLost) {
  bringUp();
  panel.expectAllPolledByTwoThreads([&] {
    try {
      return static_cast<unsigned>(link->poll().size());
    } catch (const std::logic_error& e) {
      EXPECT_STREQ(e.what(), "the link is in use by another thread");
      return 0U;
    }
  });
}

TEST(SimulatorLink, SaysWhyAStoreCannotBeOpened) {
  const TemporaryPluginFolder stores;
  std::filesystem::create_directory(stores.region("FromXPlane"));
  EXPECT_THAT([] { const SimulatorLink link; },
              ThrowsMessage<std::runtime_error>(
                  AllOf(HasSubstr("store FromXPlane"), HasSubstr("Is a directory"))));
}

TEST(Base64, EncodesAnyBytes) {
  EXPECT_EQ(velomar::encodeBase64(""), "");
  EXPECT_EQ(velomar::encodeBase64("f"), "Zg==");
  EXPECT_EQ(velomar::encodeBase64("fo"), "Zm8=");
  EXPECT_EQ(velomar::encodeBase64("foo"), "Zm9v");
  EXPECT_EQ(velomar::encodeBase64(std::string("\xFF\xFE\x00\xFB", 4)), "//4A+w==");
}

}  // namespace
