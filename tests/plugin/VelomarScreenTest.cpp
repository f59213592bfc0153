#include <sys/stat.h>

#include <fstream>

#include "plugin/ScratchFolders.h"
#include "tests/plugin/LinkHarness.h"

using testing::ElementsAre;
using testing::IsEmpty;

// A connected link, the keys C1 and C2 on two devices and the dial E1.
class VelomarScreenTest : public LinkFixture {
 protected:
  void SetUp() override {
    LinkFixture::SetUp();
    bringUp();
    happens(appear("C1"));
    happens(appear("C2", "D2"));
    happens(appearAsDial("E1"));
    passUnseen();
  }

  Texts image(const std::string& context, int id, const std::string& base64) {
    return after(json{{"Message", "Update Full Image ID"},
                      {"Context", context},
                      {"Image ID", id},
                      {"Base64", base64}});
  }
  Texts image(const std::string& context, int id) {
    return after(json{{"Message", "Update Image ID"}, {"Context", context}, {"Image ID", id}});
  }
  Texts title(const std::string& context, const std::string& text) {
    return after(titleFor(context, text));
  }
  Texts layout(const std::string& context, const std::string& uuid) {
    return after(json{{"Message", "Set Layout"}, {"Context", context}, {"UUID", uuid}});
  }
  Texts layout(const std::string& context, const std::string& uuid, const std::string& base64) {
    return after(json{
        {"Message", "Set Layout Cache"}, {"Context", context}, {"UUID", uuid}, {"BASE64", base64}});
  }

  // The lines of E1 from `first` on, emptied.
  static Texts emptied(int first) {
    const Texts blank = blankDial("E1");
    return {blank.begin() + 1 + first, blank.end() - 1};
  }
  static std::string line(int i, const std::string& text) {
    return itemOn("E1", "line" + std::to_string(i), text);
  }
  static std::string value(int i, int number) {
    return frame("setFeedback", "E1",
                 "{\"val" + std::to_string(i) + "\":" + std::to_string(number) + "}");
  }
};

TEST_F(VelomarScreenTest, AnImageIsSentOnceAndNamedFromThenOn) {
  EXPECT_THAT(image("C1", 7, "iVBORwA="), ElementsAre(imageOn("C1", "iVBORwA=")));
  EXPECT_EQ(contentOf("images/7.png"), std::string("\x89PNG\0", 5));
  EXPECT_THAT(image("C2", 7), ElementsAre(imageOn("C2", "iVBORwA=")));
  EXPECT_THAT(image("E1", 7), ElementsAre(itemOn("E1", "icon", "images/7.png")));

  std::filesystem::remove("images/7.png");
  EXPECT_THAT(image("C1", 7, "iVBORwA="), ElementsAre(imageOn("C1", "iVBORwA=")));
  EXPECT_EQ(contentOf("images/7.png").size(), 5U)
      << "written each time, whether it is known or not";
  EXPECT_THAT(image("C1", 7, "QQ=="),
              ElementsAre(panelLine("Updated Image Data"), imageOn("C1", "QQ==")));
  EXPECT_EQ(contentOf("images/7.png"), "A");
  EXPECT_THAT(image("C2", 7), ElementsAre(imageOn("C2", "QQ==")));

  const std::string unknown = panelLine("Image is mising base64");
  EXPECT_THAT(image("C1", 8), ElementsAre(unknown));
  EXPECT_THAT(image("gone", 8, "QUJD"), IsEmpty());
  EXPECT_THAT(image("C1", 8), ElementsAre(unknown)) << "kept for a context that isn't there";
  EXPECT_FALSE(std::filesystem::exists("images/8.png"));
  EXPECT_THAT(image("C1", 0, "QUJD"), ElementsAre(imageOn("C1", "QUJD"))) << "an id like any other";

  // An image that can't be decoded is shown as it is, with an empty file.
  EXPECT_THAT(image("C1", 7, "QUJDR"),
              ElementsAre(panelLine("Updated Image Data"), imageOn("C1", "QUJDR")));
  EXPECT_TRUE(std::filesystem::is_empty("images/7.png"));

  // Each welcome forgets the images and leaves their files.
  welcome();
  (void)shown();
  EXPECT_THAT(image("C1", 0), ElementsAre(unknown));
  EXPECT_EQ(contentOf("images/0.png"), "ABC");

  std::filesystem::remove_all("images");
  EXPECT_THAT(image("C1", 7, "QUJD"), ElementsAre(imageOn("C1", "QUJD")));
  EXPECT_THAT(image("E1", 7), ElementsAre(itemOn("E1", "icon", "images/7.png")));
  EXPECT_FALSE(std::filesystem::exists("images"));
}

TEST_F(VelomarScreenTest, AKeyGetsItsTitleWholeAndADialLineByLine) {
  EXPECT_THAT(title("C1", "ALT\n250"), ElementsAre(titleOn("C1", R"(ALT\n250)")));
  EXPECT_THAT(title("C1", std::string("a\0b", 3)), ElementsAre(titleOn("C1", R"(a\u0000b)")));
  EXPECT_THAT(title("gone", "x"), IsEmpty());
  const std::string most(8000000, 'x');  // nearly all that the store holds
  EXPECT_TRUE(title("C1", most) == Texts{titleOn("C1", most)});

  EXPECT_EQ(title("E1", "0\n100\n101\n007"),
            (Texts{line(0, "0"), value(0, 0), line(1, "100"), value(1, 100), line(2, "101"),
                   line(3, "007"), value(3, 7)} +
             emptied(4)));
  EXPECT_EQ(
      title("E1", "-5\n7.5\n5\r\n99999999999999999999"),
      (Texts{line(0, "-5"), line(1, "7.5"), line(2, R"(5\r)"), line(3, "99999999999999999999")} +
       emptied(4)));
  EXPECT_EQ(title("E1", ""), emptied(0));
  EXPECT_EQ(title("E1", "\na\n"), (Texts{line(0, ""), line(1, "a")} + emptied(2)));
  EXPECT_EQ(title("E1", std::string("a\0b\nc", 5)), (Texts{line(0, "a")} + emptied(1)));

  Texts lines;
  std::string text = "x";
  for (int i = 0; i < 9; ++i) {
    lines.push_back(line(i, "x"));
    if (i > 0) text += "\nx";
  }
  EXPECT_EQ(title("E1", text), lines + emptied(9));
  lines.push_back(line(9, "x"));
  EXPECT_EQ(title("E1", text + "\nx"), lines);
  EXPECT_EQ(title("E1", text + "\nx\n12\n13"), lines);
}

TEST_F(VelomarScreenTest, ADialTakes999BytesOfATitleButNoHalfCharacter) {
  EXPECT_EQ(title("E1", std::string(1500, 'x')),
            (Texts{line(0, std::string(999, 'x'))} + emptied(1)));
  const std::string prefix(996, 'x');
  EXPECT_EQ(title("E1", prefix + "\xE2\x82\xAC"),
            (Texts{line(0, prefix + "\xE2\x82\xAC")} + emptied(1)));
  for (const char* more : {"", "y", "yz"}) {
    const std::string whole = prefix + "y" + more;
    EXPECT_EQ(title("E1", whole + "\xE2\x82\xAC"), (Texts{line(0, whole)} + emptied(1)));
  }
}

TEST_F(VelomarScreenTest, ALayoutIsStoredOnceAndSelectedByName) {
  const std::string path = "layouts/u-1.json";
  EXPECT_THAT(layout("C1", "u-1", "e30="), ElementsAre(layoutOn("C1", path)));
  EXPECT_EQ(contentOf(path), "{}");
  EXPECT_THAT(layout("E1", "u-1"), ElementsAre(layoutOn("E1", path)));
  EXPECT_THAT(layout("E1", "u-1", "QUJDAEQ="), ElementsAre(layoutOn("E1", path)));
  EXPECT_EQ(contentOf(path), "ABC") << "a zero byte ends the file";
  EXPECT_THAT(layout("E1", "u-1", "QUJDR"), ElementsAre(layoutOn("E1", path)));
  EXPECT_EQ(contentOf(path), "");
  EXPECT_THAT(layout("E1", "never stored"),
              ElementsAre(layoutOn("E1", "layouts/never stored.json")));
  EXPECT_THAT(layout("E1", "", "e30="), ElementsAre(layoutOn("E1", "Velomar-Layout.json")));
  EXPECT_THAT(layout("gone", "v", "e30="), IsEmpty());
  EXPECT_EQ(filesIn("layouts"), 1U);

  std::filesystem::remove_all("layouts");
  EXPECT_THAT(layout("E1", "v", "e30="), ElementsAre(layoutOn("E1", "layouts/v.json")));
  EXPECT_FALSE(std::filesystem::exists("layouts"));
}

TEST_F(VelomarScreenTest, ALayoutNameWithoutAFileOfItsOwnWritesNone) {
  for (const std::string& name :
       {std::string("../out"), std::string("sub/in"), std::string(486, 'n')}) {
    std::filesystem::create_directory("layouts/sub");
    EXPECT_THAT(layout("E1", name, "e30="),
                ElementsAre(layoutOn("E1", "layouts/" + name + ".json")));
    EXPECT_EQ(filesIn("layouts"), 1U) << name;
    EXPECT_EQ(filesIn("layouts/sub"), 0U) << name;
    EXPECT_EQ(filesIn("."), 2U) << name;
  }
  EXPECT_THAT(layout("E1", std::string(487, 'n'), "e30="), IsEmpty());
}

TEST_F(VelomarScreenTest, WhatSomebodyPutUnderAFilesNameIsNotFollowed) {
  std::ofstream("outside") << "kept";
  std::filesystem::create_symlink("../outside", "images/7.png");
  std::filesystem::create_symlink("../new", "layouts/u.json");
  ASSERT_EQ(mkfifo("images/8.png", 0600), 0);
  EXPECT_THAT(image("E1", 7, "QUJD"), ElementsAre(itemOn("E1", "icon", "images/7.png")));
  EXPECT_THAT(image("E1", 8, "QUJD"), ElementsAre(itemOn("E1", "icon", "images/8.png")));
  EXPECT_THAT(layout("E1", "u", "e30="), ElementsAre(layoutOn("E1", "layouts/u.json")));
  EXPECT_EQ(contentOf("outside"), "kept");
  EXPECT_FALSE(std::filesystem::exists("new"));
}

TEST_F(VelomarScreenTest, BlankIsImageThenTitleThenLayout) {
  const auto reset = [this](const char* context) {
    return after(json{{"Message", "Reset Context"}, {"Context", context}});
  };
  EXPECT_EQ(reset("C1"), blankKey("C1"));
  EXPECT_EQ(reset("E1"), blankDial("E1"));
  EXPECT_THAT(reset("gone"), IsEmpty());
  (void)image("C1", 7, "QUJD");
  (void)layout("E1", "u", "e30=");

  passAfter(10001);
  EXPECT_TRUE(std::filesystem::exists("images/7.png"));
  pass();
  (void)shown();
  // Only a welcome empties the cache.
  EXPECT_THAT(image("C1", 7), ElementsAre(imageOn("C1", "QUJD")));
  EXPECT_THAT(layout("E1", "u"), ElementsAre(layoutOn("E1", "layouts/u.json")));
}

// In the text "10" comes before "2".
TEST_F(VelomarScreenTest, TheReplayTellsOfEverythingInOrder) {
  for (const char* context : {"B", "a", "\xC3\xA9", "z"}) happens(appear(context));
  happens(event("deviceDidConnect", "", {}, "D0"));
  happens(event("deviceDidDisconnect", "", {}, "D2"));
  passUnseen();
  welcome();
  std::string dial = addOf("E1");
  dial.replace(dial.find("Keypad"), 6, "Encoder");
  dial.replace(dial.find("\"AP\""), 4, "\"HDG\"");
  EXPECT_THAT(heard(), ElementsAre(groupOf({{0, kVersion},
                                            {1, deviceOf("D0")},
                                            {10, addOf("C2", "D2")},
                                            {11, kRefresh},
                                            {2, deviceOf("D1")},
                                            {3, addOf("B")},
                                            {4, addOf("C1")},
                                            {5, dial},
                                            {6, addOf("a")},
                                            {7, addOf("z")},
                                            {8, addOf("\xC3\xA9")},
                                            {9, deviceOf("D2")}})));
  EXPECT_THAT(shown(), ElementsAre(panelLine("Connecting to X-Plane"),
                                   panelLine("Sent 7 contexts for 3 devices"),
                                   linkLine("Got Welcome Message")));
}

TEST_F(VelomarScreenTest, CleaningAFolderTakesFilesAndLinksAndNothingElse) {
  namespace fs = std::filesystem;
  for (const fs::path scratch : {"images", "layouts"}) {
    fs::create_directories(scratch / "sub");
    std::ofstream(scratch / "sub" / "file") << "x";
    std::ofstream(scratch / ".hidden") << "x";
    std::ofstream(scratch / "1.png") << "x";
    std::ofstream("target") << "x";
    fs::create_symlink("../target", scratch / "link");
    fs::create_directory_symlink("sub", scratch / "folderlink");
  }
  cleanImageFolder();
  EXPECT_EQ(filesIn("images"), 1U);
  EXPECT_TRUE(fs::exists("images/sub/file"));
  EXPECT_EQ(filesIn("layouts"), 5U);
  cleanLayoutsFolder();
  EXPECT_EQ(filesIn("layouts"), 1U);
  EXPECT_TRUE(fs::exists("layouts/sub/file"));
  EXPECT_TRUE(fs::exists("target"));
  fs::remove_all("images");
  cleanImageFolder();
  EXPECT_FALSE(fs::exists("images"));
}
