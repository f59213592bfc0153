// Compares docs/panels.md, the schema and the shipped panels with the fields that the program has.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>

#include "bridge/PanelFile.h"
#include "bridge/Symbols.h"

namespace {

using bridge::PanelFile;
using Names = std::set<std::string>;
using nlohmann::json;
using testing::IsEmpty;
namespace fs = std::filesystem;

const fs::path kRoot = VELOMAR_ROOT;

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

std::vector<std::string> examples() {
  std::vector<std::string> blocks;
  const std::string page = contentOf(kRoot / "docs/panels.md");
  const std::string open = "```yaml\n";
  for (auto at = page.find(open); at != std::string::npos; at = page.find(open, at + 1)) {
    const auto begin = at + open.size();
    blocks.push_back(page.substr(begin, page.find("```", begin) - begin));
  }
  return blocks;
}

const std::vector<std::string>& symbols() {
  static const bridge::Symbols all(kRoot / "bridge/symbols");
  return all.names();
}

std::vector<std::string> complaintsOf(const PanelFile& file) {
  std::vector<std::string> lines;
  for (const auto& problem : file.problems()) lines.push_back(problem.describe());
  return lines;
}

// The fields that the program lists when it is given one that it doesn't know.
std::set<std::string> fieldsOf(const std::string& text) {
  const PanelFile file = PanelFile::fromText(text, "p.yaml", symbols());
  const std::string begin = ", there are ";
  for (const auto& problem : file.problems()) {
    const auto at = problem.text.find(begin);
    if (at == std::string::npos) continue;
    std::istringstream words(problem.text.substr(at + begin.size()));
    std::set<std::string> fields;
    for (std::string word; std::getline(words, word, ',');) {
      fields.insert(word.substr(word.find_first_not_of(' ')));
    }
    return fields;
  }
  return {};
}

std::set<std::string> propertiesOf(const json& node) {
  std::set<std::string> names;
  for (const auto& [name, value] : node.at("properties").items()) names.insert(name);
  return names;
}

std::vector<PanelFile> shippedPanels() {
  std::vector<PanelFile> panels;
  for (const auto& entry : fs::directory_iterator(kRoot / "panels")) {
    if (entry.path().extension() == ".yaml") panels.emplace_back(entry.path(), symbols());
  }
  return panels;
}

// The names of a panel that the inspector's page offers in one of its two lists.
Names offeredNames(const std::string& panel, const std::string& list) {
  const std::string script = contentOf(kRoot / "bundle/inspector/names.js");
  const auto begin = script.find(list + ": [", script.find("panel: \"" + panel + "\""));
  const std::string text = script.substr(begin, script.find(']', begin) - begin);
  const std::regex name("\"([^\"]*)\"");
  Names names;
  for (std::sregex_iterator found(text.begin(), text.end(), name), end; found != end; ++found) {
    names.insert((*found)[1]);
  }
  return names;
}

constexpr char kUnknown[] = "zzzzzzzzzzzz: 1";

struct Section {
  const char* name;  // in the schema
  std::string text;
};

const std::vector<Section>& sections() {
  static const std::vector<Section> all{
      {"", std::string(kUnknown)},
      {"value", std::string("panel: p\nvalues: {a: {") + kUnknown + "}}"},
      {"key", std::string("panel: p\nkeys: {a: {") + kUnknown + "}}"},
      {"dial", std::string("panel: p\ndials: {a: {") + kUnknown + "}}"},
      {"action",
       std::string("panel: p\nkeys: {a: {face: clock, show: 1, press: {") + kUnknown + "}}}"},
      {"turn", std::string("panel: p\ndials: {a: {turn: {") + kUnknown + "}}}"},
      {"words",
       std::string("panel: p\nkeys: {a: {face: clock, show: 1, words: {") + kUnknown + "}}}"},
      {"text",
       std::string("panel: p\nkeys: {a: {face: clock, show: 1, title: {") + kUnknown + "}}}"}};
  return all;
}

TEST(PanelPage, EveryExampleIsRight) {
  int count = 0;
  for (const std::string& example : examples()) {
    const PanelFile file = PanelFile::fromText(example, kRoot / "docs/example.yaml", symbols());
    EXPECT_THAT(complaintsOf(file), IsEmpty()) << example;
    ++count;
  }
  EXPECT_EQ(count, 5);
}

TEST(PanelPage, EveryFieldHasAnExample) {
  std::string all;
  for (const std::string& example : examples()) all += example;
  for (const Section& section : sections()) {
    for (const std::string& field : fieldsOf(section.text)) {
      EXPECT_NE(all.find(field + ":"), std::string::npos) << section.name << ": " << field;
    }
  }
}

TEST(PanelPage, TheSchemaHasTheFieldsOfTheProgram) {
  const json schema = json::parse(contentOf(kRoot / "panels/panel.schema.json"));
  for (const Section& section : sections()) {
    const json& node = *section.name == 0 ? schema : schema.at("$defs").at(section.name);
    EXPECT_EQ(propertiesOf(node), fieldsOf(section.text)) << section.name;
  }
}

TEST(PanelPage, ThePanelsThatShipAreRight) {
  const auto panels = shippedPanels();
  EXPECT_EQ(panels.size(), 3U);
  for (const PanelFile& file : panels) EXPECT_THAT(complaintsOf(file), IsEmpty());
}

TEST(PanelPage, TheInspectorOffersTheNamesOfThePanelsThatShip) {
  const auto namesOf = [](const auto& controls) {
    Names names;
    for (const auto& [name, control] : controls) names.insert(name);
    return names;
  };
  for (const PanelFile& file : shippedPanels()) {
    const bridge::Panel& panel = file.panel();
    EXPECT_EQ(offeredNames(panel.name, "key"), namesOf(panel.keys)) << panel.name;
    EXPECT_EQ(offeredNames(panel.name, "dial"), namesOf(panel.dials)) << panel.name;
  }
}

}  // namespace
