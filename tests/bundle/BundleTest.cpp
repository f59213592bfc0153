// Tests that the installed files are as the hosts want them: they refuse a plug-in, or leave a dial
// dark, without saying much.
#include <gmock/gmock.h>

#include <regex>
#include <set>

#include "plugin/Action.h"
#include "tests/support/HostFixture.h"
#include "tests/support/Texts.h"
#include "tools/deck/Bundle.h"

namespace fs = std::filesystem;
using nlohmann::json;
using Names = std::set<std::string>;
using testing::IsSubsetOf;

namespace {

const fs::path kBundle = VELOMAR_BUNDLE;

std::string read(const std::string& name) {
  return contentOf(kBundle / name);
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
  const auto [listing, code] = outputOf("'" VELOMAR_CMAKE "' -E tar tf '" VELOMAR_INSTALLER "'");
  EXPECT_EQ(code, 0);
  const auto lines = linesOf(listing);
  EXPECT_EQ(Names(lines.begin(), lines.end()), files);
}

// Items of one level that overlap, or that leave the canvas, make a host refuse the layout.
void expectItemsOnTheStripAndApart(const json& layout) {
  const auto& items = layout.at("items");
  for (std::size_t i = 0; i < items.size(); ++i) {
    const auto a = items[i].at("rect").get<std::vector<double>>();
    const int level = items[i].value("zOrder", 0);
    EXPECT_TRUE(a[0] >= 0 && a[0] + a[2] <= 200 && a[1] >= 0 && a[1] + a[3] <= 100) << items[i];
    EXPECT_TRUE(level >= 0 && level <= 700) << items[i];
    for (std::size_t other = 0; other < i; ++other) {
      const auto b = items[other].at("rect").get<std::vector<double>>();
      const bool isApart =
          a[0] + a[2] <= b[0] || b[0] + b[2] <= a[0] || a[1] + a[3] <= b[1] || b[1] + b[3] <= a[1];
      EXPECT_NE(items[i].at("key"), items[other].at("key"));
      EXPECT_TRUE(isApart || level != items[other].value("zOrder", 0)) << items[i] << items[other];
    }
  }
}

TEST(BundleTest, TheItemsOfTheLayoutLieOnTheStripAndStartEmpty) {
  const json layout = readJson("Velomar-Layout.json");
  expectMembers(layout, {"id", "items"}, {});
  expectItemsOnTheStripAndApart(layout);
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
  }
}

class BundleOnADialTest : public HostFixture {
 protected:
  // The type that each item needs that the program writes for a title.
  std::map<std::string, std::string> itemsFor(const std::string& title) {
    Action dial(&connect(nullptr), "A", "C");
    dial.isEncoder = true;
    dial.SetImage("", 0);
    dial.SetTitle(title);
    dial.ShowOK();
    std::map<std::string, std::string> items;
    for (json frame = json::parse(host.frames.next()); frame["event"] == "setFeedback";
         frame = json::parse(host.frames.next())) {
      const auto member = frame["payload"].cbegin();
      const bool isIcon = member.key() == "icon";
      items[member.key()] = isIcon ? "pixmap" : member.value().is_number() ? "bar" : "text";
      EXPECT_TRUE(!isIcon || !read(member.value()).empty()) << "the blank picture";
    }
    return items;
  }

  static std::map<std::string, std::string> itemsOf(const json& layout) {
    std::map<std::string, std::string> items;
    for (const json& item : layout.at("items")) items[item["key"]] = item["type"];
    return items;
  }
};

TEST_F(BundleOnADialTest, EveryItemThatIsWrittenIsInTheLayoutWithItsType) {
  EXPECT_EQ(itemsOf(readJson(openBundle(kBundle).layout)), itemsFor(repeated("7\n", 20)));
}

TEST_F(BundleOnADialTest, TheLayoutThatAuthorsAreShownIsSoundAndTakesATitle) {
  const json layout = json::parse(contentOf(VELOMAR_SOURCE "/examples/panel/heading.json"));
  expectItemsOnTheStripAndApart(layout);
  EXPECT_THAT(itemsFor("HDG\n270\n75"), IsSubsetOf(itemsOf(layout)));
}

}  // namespace
