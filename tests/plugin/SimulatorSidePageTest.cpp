// Compares the page for authors of simulator plug-ins with the program.
#include <set>

#include "tests/plugin/LinkHarness.h"
#include "tests/support/Texts.h"

namespace {

using Names = std::map<std::string, std::set<std::string>>;  // of messages, with their members

class SimulatorSidePageTest : public LinkFixture {
 protected:
  static std::string source(const std::string& file) {
    return contentOf(Path(VELOMAR_SOURCE) / file);
  }

  // The part of the page between a heading and the next.
  static std::string section(const std::string& heading) {
    const std::string page = source("docs/simulator-side.md");
    const auto begin = page.find("\n### " + heading + "\n");
    EXPECT_NE(begin, std::string::npos) << heading;
    return page.substr(begin, page.find("\n### ", begin + 1) - begin);
  }

  static Texts examples(const std::string& heading) {
    return found(section(heading), "\n(\\{.*\\})(?=\n)");
  }

  // The first table of a section.
  static Names inTable(const std::string& heading) {
    const std::string text = section(heading);
    Names names;
    for (const auto& row : found(text.substr(0, text.find("\n| Member |")),
                                 "\n\\| (`[^`]+` \\|[^|]*) \\| [^|]+ \\|(?=\n)")) {
      const Texts words = found(row, "`([^`]+)`");
      names.emplace(words.front(), std::set<std::string>(words.begin() + 1, words.end()));
    }
    return names;
  }

  // Collects the members of a message, and those of the members of a group.
  static void collect(const json& message, Names& names) {
    auto& members = names[message.at("Message")];
    for (const auto& [member, value] : message.items()) {
      if (member != "Message") members.insert(member);
    }
    if (message.contains("Messages")) {
      for (const json& part : message["Messages"]) collect(part, names);
    }
  }

  static Names inExamples(const std::string& heading) {
    Names names;
    for (const auto& text : examples(heading)) collect(json::parse(text), names);
    return names;
  }

  // The messages of a direction that both ends are built with.
  static std::set<std::string> inHeader(const std::string& direction) {
    const std::string text = source("common/LinkProtocol.h");
    const auto begin = text.find("namespace " + direction + " {");
    const Texts names =
        found(text.substr(begin, text.find("}  // namespace", begin) - begin), "= \"([^\"]+)\";");
    std::set<std::string> all(names.begin(), names.end());
    all.insert("Group Message");
    return all;
  }

  static std::set<std::string> namesOf(const Names& messages) {
    std::set<std::string> names;
    for (const auto& entry : messages) names.insert(entry.first);
    return names;
  }
};

TEST_F(SimulatorSidePageTest, ThePanelSaysWhatThePageSaysAndNothingElse) {
  bringUp();
  for (const std::string& text :
       {event("deviceDidConnect", ""), appear("C1"), appearAsDial("E1"), event("keyDown", "C1"),
        event("keyUp", "C1"), event("dialPress", "E1", {{"pressed", true}}),
        event("dialPress", "E1", {{"pressed", false}}), event("dialRotate", "E1", {{"ticks", -3}}),
        event("touchTap", "E1", {{"hold", false}}),
        event("sendToPlugin", "C1", {{"KeyName", "GEAR"}}), event("willDisappear", "E1")}) {
    happens(text);
  }
  pass();
  welcome();
  EXPECT_EQ(heard(), examples("From the panel"));
  EXPECT_EQ(inTable("From the panel"), inExamples("From the panel"));

  EXPECT_EQ(namesOf(inTable("From the panel")), inHeader("from_panel"));
}

TEST_F(SimulatorSidePageTest, ThePanelTakesWhatThePageSaysAndNothingElse) {
  bringUp({appear("C1"), appearAsDial("E1")});
  for (const auto& text : examples("To the panel")) EXPECT_FALSE(after(text).empty()) << text;
  EXPECT_EQ(inTable("To the panel"), inExamples("To the panel"));

  EXPECT_EQ(namesOf(inTable("To the panel")), inHeader("to_panel"));
}

TEST_F(SimulatorSidePageTest, TheCodeOnThePageIsThatOfTheExamples) {
  const std::string page = source("docs/simulator-side.md");
  for (const auto& [language, file] :
       {std::pair("cpp", "first-key/FirstKey.cpp"), std::pair("python", "first-key/first_key.py"),
        std::pair("json", "panel/heading.json")}) {
    const std::string block =
        "```" + std::string(language) + "\n" + source(std::string("examples/") + file) + "```";
    EXPECT_NE(page.find(block), std::string::npos) << file;
  }
}

}  // namespace
