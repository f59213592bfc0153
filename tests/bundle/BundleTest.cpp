// Tests that the installed files are as the hosts want them: they refuse a plug-in, or leave a dial
// dark, without saying much.
#include <gmock/gmock.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "plugin/Action.h"
#include "tests/support/HostFixture.h"
#include "tools/deck/Bundle.h"

namespace fs = std::filesystem;
using nlohmann::json;
using Names = std::set<std::string>;
using testing::IsSubsetOf;

namespace {

const fs::path kBundle = VELOMAR_BUNDLE;

std::string read(const std::string& name) {
  std::ifstream in(kBundle / name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

json readJson(const std::string& name) {
  return json::parse(read(name));
}

void expectMembers(const json& object, const Names& required, Names allowed) {
  Names names;
  for (const auto& [name, value] : object.items()) names.insert(name);
  EXPECT_THAT(required, IsSubsetOf(names)) << object;
  allowed.insert(required.begin(), required.end());
  EXPECT_THAT(names, IsSubsetOf(allowed)) << object;
}

bool matches(const json& text, const char* pattern) {
  return text.is_string() && std::regex_match(text.get<std::string>(), std::regex(pattern));
}

// A picture in both of its sizes. The manifest names it without an ending.
void expectPictures(const json& name, unsigned width, unsigned height) {
  const auto number = [](const std::string& png, std::size_t at) {
    unsigned value = 0;
    for (const char byte : png.substr(at, 4))
      value = value * 256 + static_cast<unsigned char>(byte);
    return value;
  };
  for (const unsigned scale : {1U, 2U}) {
    const std::string png = read(name.get<std::string>() + (scale == 1 ? ".png" : "@2x.png"));
    ASSERT_EQ(png.substr(1, 3), "PNG") << name;
    EXPECT_EQ(number(png, 16), width * scale) << name;
    EXPECT_EQ(number(png, 20), height * scale) << name;
  }
}

TEST(BundleTest, TheManifestSaysWhatTheHostsAskFor) {
  const json manifest = readJson("manifest.json");
  expectMembers(manifest,
                {"Actions", "Author", "CodePath", "Description", "Icon", "Name", "OS", "SDKVersion",
                 "Software", "UUID", "Version"},
                {"Category", "CategoryIcon", "CodePathMac", "PropertyInspectorPath", "URL"});
  EXPECT_EQ(manifest["Version"], VELOMAR_VERSION ".0");
  EXPECT_EQ(manifest["SDKVersion"], 2);
  EXPECT_TRUE(matches(manifest["UUID"], "[a-z0-9.-]+"));
  EXPECT_EQ(manifest["UUID"].get<std::string>() + ".sdPlugin", kBundle.filename());
  EXPECT_TRUE(matches(manifest["Software"]["MinimumVersion"], R"(6\.[4-9]|7\.[0-6])"));
  EXPECT_THAT(manifest["OS"].size(), testing::AnyOf(1U, 2U));
  for (const json& system : manifest["OS"]) {
    expectMembers(system, {"Platform", "MinimumVersion"}, {});
    EXPECT_TRUE(matches(system["Platform"], "mac|windows"));
  }
  expectPictures(manifest["Icon"], 256, 256);
  expectPictures(manifest["CategoryIcon"], 28, 28);

  ASSERT_EQ(manifest["Actions"].size(), 1U);
  const json& action = manifest["Actions"][0];
  expectMembers(action,
                {"Name", "UUID", "Icon", "States", "UserTitleEnabled", "SupportedInMultiActions",
                 "DisableCaching", "PropertyInspectorPath", "Encoder"},
                {"Controllers", "Tooltip"});
  EXPECT_EQ(action["Controllers"], json({"Keypad", "Encoder"}));
  EXPECT_FALSE(action["UserTitleEnabled"]) << "titles are the program's";
  EXPECT_FALSE(action["SupportedInMultiActions"]) << "there are no coordinates in one";
  EXPECT_TRUE(action["DisableCaching"]);
  EXPECT_NE(read(action["PropertyInspectorPath"]), "");
  expectPictures(action["Icon"], 20, 20);
  for (const json& state : action["States"]) expectPictures(state.at("Image"), 72, 72);
  expectMembers(action["Encoder"], {"layout", "Icon"},
                {"background", "StackColor", "TriggerDescription"});
  expectPictures(action["Encoder"]["Icon"], 72, 72);
}

TEST(BundleTest, TheInstallerHoldsTheWholeFolderAndAProgramThatRuns) {
  EXPECT_EQ(openBundle(kBundle).program.filename(), "velomar");
  Names files{kBundle.filename().string() + "/"};
  for (const auto& entry : fs::recursive_directory_iterator(kBundle)) {
    files.insert(fs::relative(entry.path(), kBundle.parent_path()).string() +
                 (entry.is_directory() ? "/" : ""));
  }
  for (const char* scratch : {"images", "layouts"}) EXPECT_TRUE(fs::is_empty(kBundle / scratch));
  FILE* listing = popen("'" VELOMAR_CMAKE "' -E tar tf '" VELOMAR_INSTALLER "'", "r");
  std::string text;
  for (int byte = fgetc(listing); byte != EOF; byte = fgetc(listing))
    text += static_cast<char>(byte);
  EXPECT_EQ(pclose(listing), 0);
  const auto lines = linesOf(text);
  EXPECT_EQ(Names(lines.begin(), lines.end()), files);
}

struct Box {
  double left, top, right, bottom;
  bool meets(const Box& b) const {
    return left < b.right && b.left < right && top < b.bottom && b.top < bottom;
  }
};

TEST(BundleTest, TheItemsOfTheLayoutLieOnTheStripAndStartEmpty) {
  const json layout = readJson("Velomar-Layout.json");
  expectMembers(layout, {"id", "items"}, {});
  std::multimap<int, Box> boxes;
  for (const json& item : layout["items"]) {
    SCOPED_TRACE(item);
    const Names common = {"enabled", "opacity", "zOrder", "background"};
    Names own = {"alignment", "color", "font", "text-overflow"};
    if (item["type"] != "text") {
      own = {"range", "subtype", "bar_bg_c", "bar_fill_c", "bar_border_c", "border_w", "bar_h"};
    }
    own.insert(common.begin(), common.end());
    expectMembers(item, {"key", "type", "rect", "value"}, own);
    EXPECT_TRUE(matches(item["key"], "[A-Za-z0-9_-]+"));
    EXPECT_TRUE(matches(item["type"], "text|pixmap|bar|gbar"));
    if (item["type"] == "text") {
      EXPECT_EQ(item["value"], "");
    }
    const auto rect = item["rect"].get<std::vector<double>>();
    ASSERT_EQ(rect.size(), 4U);
    const Box box{rect[0], rect[1], rect[0] + rect[2], rect[1] + rect[3]};
    EXPECT_TRUE(box.left >= 0 && box.top >= 0 && box.right <= 200 && box.bottom <= 100);
    const int level = item.value("zOrder", 0);
    EXPECT_TRUE(level >= 0 && level <= 700);
    const auto [first, last] = boxes.equal_range(level);
    for (auto other = first; other != last; ++other) EXPECT_FALSE(box.meets(other->second));
    boxes.emplace(level, box);
  }
}

class BundleOnADialTest : public HostFixture {};

TEST_F(BundleOnADialTest, EveryItemThatIsWrittenIsInTheLayoutWithItsType) {
  std::map<std::string, std::string> types;
  const json layout = readJson(openBundle(kBundle).layout);
  for (const json& item : layout["items"]) {
    EXPECT_TRUE(types.emplace(item["key"], item["type"]).second)
        << item["key"] << " is there twice";
  }
  Action dial(&connect(nullptr), "A", "C");
  dial.isEncoder = true;
  dial.SetImage("", 0);
  std::string title;
  for (int line = 0; line < 20; ++line) title += "7\n";
  dial.SetTitle(title);
  dial.ShowOK();
  Names written;
  for (json frame = json::parse(host.frames.next()); frame["event"] == "setFeedback";
       frame = json::parse(host.frames.next())) {
    const auto member = frame["payload"].cbegin();
    const std::string& key = member.key();
    const json& value = member.value();
    written.insert(key);
    if (key == "icon") {
      EXPECT_NE(read(value), "") << "the blank picture";
    }
    EXPECT_EQ(types[key], key == "icon" ? "pixmap" : value.is_number() ? "bar" : "text") << key;
  }
  EXPECT_EQ(written.size(), types.size()) << "an item that nothing writes";
}

}  // namespace
