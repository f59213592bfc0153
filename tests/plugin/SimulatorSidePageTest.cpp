// Holds the page for authors of simulator plug-ins to what the program does.
#include <regex>
#include <set>

#include "tests/plugin/LinkHarness.h"

namespace {

using Names = std::map<std::string, std::set<std::string>>;  // of messages, with their members

class SimulatorSidePageTest : public LinkFixture {
 protected:
  static std::string source(const std::string& file) { return read(Path(VELOMAR_SOURCE) / file); }

  // What stands on the page between a heading and the next.
  static std::string section(const std::string& heading) {
    const std::string page = source("docs/simulator-side.md");
    const auto begin = page.find("\n### " + heading + "\n");
    EXPECT_NE(begin, std::string::npos) << heading;
    return page.substr(begin, page.find("\n### ", begin + 1) - begin);
  }

  static Texts found(const std::string& text, const char* pattern) {
    const std::regex regex(pattern);
    Texts all;
    for (auto it = std::sregex_iterator(text.begin(), text.end(), regex);
         it != std::sregex_iterator(); ++it) {
      all.push_back((*it)[1]);
    }
    return all;
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

  // Those of the group members too.
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

  std::set<std::string> posted;
  for (const char* file : {"LinkMessages.cpp", "Velomar.cpp", "Velomar_Input.cpp"}) {
    for (const auto& made : found(source(std::string("plugin/") + file),
                                  "(?:contextMessage\\(|\\{\"Message\", )([^,;}]*)")) {
      for (auto& name : found(made, "\"([^\"]+)\"")) posted.insert(std::move(name));
    }
  }
  EXPECT_EQ(namesOf(inTable("From the panel")), posted);
}

TEST_F(SimulatorSidePageTest, ThePanelTakesWhatThePageSaysAndNothingElse) {
  bringUp({appear("C1"), appearAsDial("E1")});
  for (const auto& text : examples("To the panel")) EXPECT_FALSE(after(text).empty()) << text;
  EXPECT_EQ(inTable("To the panel"), inExamples("To the panel"));

  const Texts handled =
      found(source("plugin/XPlaneManager_Messages.cpp"), "\"([A-Z][^\"]+)\"(?:,\\s+\\[\\]|;)");
  EXPECT_EQ(namesOf(inTable("To the panel")),
            std::set<std::string>(handled.begin(), handled.end()));
}

}  // namespace
