// Compares docs/panels.md, the schema and the shipped panels with the fields that the program has.
#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "bridge/PanelFile.h"
#include "bridge/Symbols.h"
#include "tests/support/Texts.h"

namespace {

using bridge::PanelFile;
using Names = std::set<std::string>;
using nlohmann::json;
using testing::IsEmpty;
namespace fs = std::filesystem;

const fs::path kRoot = VELOMAR_ROOT;

std::vector<std::string> examples() {
  return found(contentOf(kRoot / "docs/panels.md"), "```yaml\n([^`]*)```");
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
  const auto names = found(text, "\"([^\"]*)\"");
  return Names(names.begin(), names.end());
}

// By their names in the schema, texts with a field that isn't one of theirs.
const std::map<std::string, std::string> kSections{
    {"", "zzzzzzzzzzzz: 1"},
    {"value", "panel: p\nvalues: {a: {zzzzzzzzzzzz: 1}}"},
    {"key", "panel: p\nkeys: {a: {zzzzzzzzzzzz: 1}}"},
    {"dial", "panel: p\ndials: {a: {zzzzzzzzzzzz: 1}}"},
    {"action", "panel: p\nkeys: {a: {face: clock, show: 1, press: {zzzzzzzzzzzz: 1}}}"},
    {"turn", "panel: p\ndials: {a: {turn: {zzzzzzzzzzzz: 1}}}"},
    {"words", "panel: p\nkeys: {a: {face: clock, show: 1, words: {zzzzzzzzzzzz: 1}}}"},
    {"text", "panel: p\nkeys: {a: {face: clock, show: 1, title: {zzzzzzzzzzzz: 1}}}"}};

TEST(PanelPage, EveryExampleAndEachPanelThatShipsIsRight) {
  auto files = shippedPanels();
  EXPECT_EQ(files.size(), 3U);
  for (const std::string& example : examples()) {
    files.push_back(PanelFile::fromText(example, kRoot / "docs/example.yaml", symbols()));
  }
  EXPECT_EQ(files.size(), 3U + 5U);
  for (const PanelFile& file : files) EXPECT_THAT(complaintsOf(file), IsEmpty());
}

TEST(PanelPage, EveryFieldHasAnExample) {
  std::string all;
  for (const std::string& example : examples()) all += example;
  for (const auto& [section, text] : kSections) {
    for (const std::string& field : fieldsOf(text)) {
      EXPECT_NE(all.find(field + ":"), std::string::npos) << section << ": " << field;
    }
  }
}

TEST(PanelPage, TheSchemaHasTheFieldsOfTheProgram) {
  const json schema = json::parse(contentOf(kRoot / "panels/panel.schema.json"));
  for (const auto& [section, text] : kSections) {
    const json& node = section.empty() ? schema : schema.at("$defs").at(section);
    EXPECT_EQ(propertiesOf(node), fieldsOf(text)) << section;
  }
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
