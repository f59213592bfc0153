// Takes a panel's YAML apart, field by field, and notes each mistake. PanelFile is its only user.
#pragma once

#include <yaml-cpp/yaml.h>

#include <array>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bridge/PanelFile.h"

namespace bridge {

class PanelReader {
 public:
  // All of them outlive the object.
  PanelReader(const std::filesystem::path& from, const std::vector<std::string>& symbolNames,
              Panel& into, std::vector<PanelFile::Problem>& found);

  void read(const YAML::Node& root);

 private:
  using Node = YAML::Node;
  using Handler = std::function<void(const Node& value)>;
  using Field = std::pair<std::string, Handler>;
  using Fields = std::vector<Field>;
  using Each = std::function<void(const Node& name, const Node& value)>;
  using Texts = std::array<std::string, Panel::kStateCount>;

  void complain(const Node& at, const std::string& text);

  // Calls `take` for each member of a mapping. False: the node is no mapping. A name that comes
  // twice is a problem.
  bool readEach(const Node& node, const std::string& what, const Each& take);
  bool readFields(const Node& node, const std::string& what, const Fields& fields);

  std::string readText(const Node& node);
  bool readTruth(const Node& node);
  std::vector<std::string> readTexts(const Node& node);
  std::string readPath(const Node& node);
  std::string readSymbol(const Node& node);
  std::uint32_t readColour(const Node& node);
  std::chrono::milliseconds readSeconds(const Node& node);
  std::optional<Expression> readExpression(const Node& node);
  std::vector<Expression> readExpressions(const Node& node);
  std::optional<Panel::Range> readRange(const Node& node);
  std::size_t readChoice(const Node& node, const std::string& what,
                         const std::vector<std::string>& choices);
  std::optional<std::size_t> readIndex(const Node& node, const std::string& what,
                                       const std::vector<std::string>& names);
  void readStates(const Node& node, const std::string& what, Texts& texts,
                  const std::function<std::string(const Node&)>& readOne);
  Words readWords(const Node& node);
  void checkFormat(const Node& node, const Words& words);

  void readAircraft(const Node& node);
  void readValue(const Node& name, const Node& node);
  void readCommand(const Node& name, const Node& node);
  std::optional<Command> readCommandOf(const Node& node, bool mayHaveEnd);
  void readEnd(const Node& node, Command& command);
  void readArguments(const Node& name, const Node& node, Command& command);

  void readControls(const Node& node, bool isDial);
  Panel::Control readControl(const std::string& name, const Node& node, bool isDial);
  Fields displayFields(Panel::Display& display);
  Fields formulaFields(Panel::Display& display);
  Fields keyFields(Panel::Control& control);
  Fields dialFields(Panel::Control& control);
  void checkDisplay(const Node& node, const Panel::Display& display, bool isDial);

  Panel::Actions readActions(const Node& node);
  struct ActionFields;
  Fields actionFields(ActionFields& read);
  bool checkAction(const Node& node);
  std::optional<Panel::Action> readAction(const Node& node);
  std::optional<Panel::Add> readAdd(const Node& node);
  Panel::Turn readTurn(const Node& node);

  const std::filesystem::path& file;
  const std::vector<std::string>& symbols;
  Panel& panel;
  std::vector<PanelFile::Problem>& problems;
  std::vector<std::string> valueNames;
  std::vector<std::string> commandNames;
};

}  // namespace bridge
