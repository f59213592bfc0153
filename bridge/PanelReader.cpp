#include "bridge/PanelReader.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "bridge/Symbols.h"
#include "bridge/Text.h"

namespace bridge {

namespace {

const std::vector<std::string> kStates{"off", "on", "transit", "fault", "unavailable"};

struct Colour {
  const char* name;
  std::uint32_t value;
};
constexpr char kRelease[] = "release";  // of a command that is held

constexpr Colour kColours[] = {{"green", 0x3ddc84},  {"cyan", 0x59d2ff}, {"amber", 0xffb938},
                               {"red", 0xff5348},    {"blue", 0x4f8bff}, {"white", 0xf2f6fa},
                               {"magenta", 0xe07bff}};

std::string inQuotes(const std::string& text) {
  return "\"" + text + "\"";
}

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
  return text;
}

std::optional<std::uint32_t> hexadecimal(const std::string& text) {
  constexpr char kDigits[] = "0123456789abcdefABCDEF";
  if (text.size() != 7 || text[0] != '#') return std::nullopt;
  if (text.find_first_not_of(kDigits, 1) != std::string::npos) return std::nullopt;
  return static_cast<std::uint32_t>(std::stoul(text.substr(1), nullptr, 16));
}

}  // namespace

PanelReader::PanelReader(const std::filesystem::path& from,
                         const std::vector<std::string>& symbolNames, Panel& into,
                         std::vector<PanelFile::Problem>& found)
    : file(from), symbols(symbolNames), panel(into), problems(found) {}

// Reads the names first, wherever they are in the file, because everything else refers to them.
void PanelReader::read(const YAML::Node& root) {
  const Node nothing;
  std::map<std::string, Node> parts;
  const auto keep = [&parts](const char* name) {
    return Field(name, [&parts, name](const Node& value) { parts.emplace(name, value); });
  };
  const Fields fields{{"panel", [this](const Node& value) { panel.name = readText(value); }},
                      {"aircraft", [this](const Node& value) { readAircraft(value); }},
                      {"titles", [this](const Node& value) { panel.hasTitles = readTruth(value); }},
                      keep("values"),
                      keep("commands"),
                      keep("keys"),
                      keep("dials")};
  if (!readFields(root, "the panel", fields)) return;
  if (panel.name.empty()) complain(root, "the panel has no name: panel: NAME");
  panel.isForAny = panel.isForAny || panel.aircraft.empty();
  const auto each = [&](const char* name, const Each& take) {
    if (parts.count(name) != 0) (void)readEach(parts.at(name), name, take);
  };
  each("values", [this](const Node& name, const Node& node) { readValue(name, node); });
  each("commands", [this](const Node& name, const Node& node) { readCommand(name, node); });
  if (parts.count("keys") != 0) readControls(parts.at("keys"), false);
  if (parts.count("dials") != 0) readControls(parts.at("dials"), true);
}

void PanelReader::complain(const Node& at, const std::string& text) {
  const YAML::Mark mark = at.Mark();
  problems.push_back({file.string(), mark.line + 1, mark.column + 1, text});
}

bool PanelReader::readEach(const Node& node, const std::string& what, const Each& take) {
  if (!node.IsMap()) {
    complain(node, what + " must be a mapping, as in {name: ...}");
    return false;
  }
  std::set<std::string> seen;
  for (const auto& entry : node) {
    if (!entry.first.IsScalar()) {
      complain(entry.first, "a name must be a text");
    } else if (!seen.insert(entry.first.Scalar()).second) {
      complain(entry.first, inQuotes(entry.first.Scalar()) + " comes twice");
    } else {
      take(entry.first, entry.second);
    }
  }
  return true;
}

bool PanelReader::readFields(const Node& node, const std::string& what, const Fields& fields) {
  return readEach(node, what, [&](const Node& name, const Node& value) {
    const auto found = std::find_if(fields.begin(), fields.end(), [&name](const Field& field) {
      return field.first == name.Scalar();
    });
    if (found != fields.end()) {
      found->second(value);
      return;
    }
    std::vector<std::string> known;
    for (const Field& field : fields) known.push_back(field.first);
    std::string advice = Text::didYouMean(name.Scalar(), known);
    if (advice.empty()) advice = ", there are " + joined(known);
    complain(name, "unknown field " + inQuotes(name.Scalar()) + " in " + what + advice);
  });
}

std::string PanelReader::readText(const Node& node) {
  if (node.IsScalar()) return node.Scalar();
  complain(node, "a text is needed here");
  return "";
}

bool PanelReader::readTruth(const Node& node) {
  bool isTrue = false;
  if (!node.IsScalar() || !YAML::convert<bool>::decode(node, isTrue)) {
    complain(node, "true or false is needed here");
  }
  return isTrue;
}

std::vector<std::string> PanelReader::readTexts(const Node& node) {
  std::vector<std::string> texts;
  if (!node.IsSequence()) return {readText(node)};
  for (const Node& each : node) texts.push_back(readText(each));
  return texts;
}

// A relative path starts at the folder of the panel's file.
std::string PanelReader::readPath(const Node& node) {
  const std::filesystem::path path = file.parent_path() / readText(node);
  panel.files.push_back(path.string());
  const std::string kind = path.extension().string();
  std::error_code error;
  if (kind != ".svg" && kind != ".png") {
    complain(node, "a picture is an .svg or .png file");
  } else if (!std::filesystem::is_regular_file(path, error)) {
    complain(node, "there is no file " + inQuotes(path.string()));
  } else if (!Symbols::canDraw(path)) {
    complain(node, inQuotes(path.string()) + " is no picture that can be drawn");
  }
  return path.string();
}

std::string PanelReader::readSymbol(const Node& node) {
  std::string name = readText(node);
  if (name.find('.') != std::string::npos) return readPath(node);
  if (std::find(symbols.begin(), symbols.end(), name) == symbols.end()) {
    complain(node, "unknown symbol " + inQuotes(name) + Text::didYouMean(name, symbols));
  }
  return name;
}

std::uint32_t PanelReader::readColour(const Node& node) {
  const std::string text = readText(node);
  std::vector<std::string> known;
  for (const Colour& colour : kColours) {
    if (text == colour.name) return colour.value;
    known.emplace_back(colour.name);
  }
  if (const auto value = hexadecimal(text)) return *value;
  const std::string advice = Text::didYouMean(text, known);
  complain(node,
           "unknown colour " + inQuotes(text) +
               (advice.empty() ? ", there are " + joined(known) + " and \"#rrggbb\"" : advice));
  return kColours[0].value;
}

std::chrono::milliseconds PanelReader::readSeconds(const Node& node) {
  double seconds = 0;
  constexpr double kLongest = 10;
  if (!node.IsScalar() || !YAML::convert<double>::decode(node, seconds) || !(seconds > 0) ||
      seconds > kLongest) {
    complain(node, "a number of seconds up to 10 is needed here");
    return std::chrono::milliseconds(1);
  }
  return std::chrono::milliseconds(std::lround(seconds * 1000));
}

std::optional<Expression> PanelReader::readExpression(const Node& node) {
  if (!node.IsScalar()) {
    complain(node, "an expression is needed here");
    return std::nullopt;
  }
  try {
    return Expression(node.Scalar(), valueNames);
  } catch (const ExpressionError& error) {
    complain(node, error.what());
    return std::nullopt;
  }
}

std::vector<Expression> PanelReader::readExpressions(const Node& node) {
  std::vector<Expression> expressions;
  const auto add = [&](const Node& each) {
    if (auto expression = readExpression(each)) expressions.push_back(std::move(*expression));
  };
  if (!node.IsSequence()) {
    add(node);
  } else {
    for (const Node& each : node) add(each);
  }
  return expressions;
}

std::optional<Panel::Range> PanelReader::readRange(const Node& node) {
  if (!node.IsSequence() || node.size() != 2) {
    complain(node, "a range is [FROM, TO]");
    return std::nullopt;
  }
  auto from = readExpression(node[0]);
  auto to = readExpression(node[1]);
  if (!from || !to) return std::nullopt;
  return Panel::Range{std::move(*from), std::move(*to)};
}

std::size_t PanelReader::readChoice(const Node& node, const std::string& what,
                                    const std::vector<std::string>& choices) {
  const std::string text = readText(node);
  const auto found = std::find(choices.begin(), choices.end(), text);
  if (found != choices.end()) return static_cast<std::size_t>(found - choices.begin());
  std::string advice = Text::didYouMean(text, choices);
  if (advice.empty()) advice = ", there are " + joined(choices);
  complain(node, "unknown " + what + " " + inQuotes(text) + advice);
  return 0;
}

std::optional<std::size_t> PanelReader::readIndex(const Node& node, const std::string& what,
                                                  const std::vector<std::string>& names) {
  const std::string name = readText(node);
  const auto found = std::find(names.begin(), names.end(), name);
  if (found != names.end()) return static_cast<std::size_t>(found - names.begin());
  complain(node, "unknown " + what + " " + inQuotes(name) + Text::didYouMean(name, names));
  return std::nullopt;
}

// Takes one text, for the lit state, or a mapping with a text for each state.
void PanelReader::readStates(const Node& node, const std::string& what, Texts& texts,
                             const std::function<std::string(const Node&)>& readOne) {
  if (node.IsScalar()) {
    texts.fill(readOne(node));
    return;
  }
  Fields fields;
  for (std::size_t i = 0; i < kStates.size(); ++i) {
    fields.emplace_back(kStates[i],
                        [&texts, &readOne, i](const Node& value) { texts[i] = readOne(value); });
  }
  (void)readFields(node, what, fields);
}

Words PanelReader::readWords(const Node& node) {
  Words words;
  const Fields fields{{"show", [&](const Node& value) { words.show = readExpressions(value); }},
                      {"text", [&](const Node& value) { words.format = readText(value); }}};
  if (!node.IsMap()) {
    words.show = readExpressions(node);
  } else if (readFields(node, "a text", fields) && !node["show"]) {
    complain(node, "a text needs \"show\"");
  } else {
    checkFormat(node, words);
  }
  return words;
}

// If a field that the format needs is wrong, that has been reported, and the format can't be
// checked.
void PanelReader::checkFormat(const Node& node, const Words& words) {
  if (words.show.empty()) return;
  const Node format = node["text"];
  const std::string problem = words.problem();
  if (!problem.empty()) complain(format ? format : node, "the text's format: " + problem);
}

void PanelReader::readAircraft(const Node& node) {
  for (const std::string& name : readTexts(node)) {
    Text::isSame(name, "any") ? void(panel.isForAny = true) : panel.aircraft.push_back(name);
  }
}

void PanelReader::readValue(const Node& name, const Node& node) {
  Panel::Row row;
  row.name = name.Scalar();
  if (!Expression::isValidName(row.name)) {
    complain(name, inQuotes(row.name) + " can't name a value: letters, digits and _ can");
    return;
  }
  Fields fields;
  for (std::size_t i = 0; i < kSimulatorCount; ++i) {
    fields.emplace_back(kSimulatorNames[i],
                        [this, &row, i](const Node& value) { row.names[i] = readText(value); });
  }
  (void)readFields(node, "a value", fields);
  valueNames.push_back(row.name);
  panel.values.push_back(std::move(row));
}

void PanelReader::readCommand(const Node& name, const Node& node) {
  Panel::CommandRow row;
  row.name = name.Scalar();
  Fields fields;
  for (std::size_t i = 0; i < kSimulatorCount; ++i) {
    fields.emplace_back(kSimulatorNames[i], [this, &row, i](const Node& value) {
      row.commands[i] = readCommandOf(value, true);
    });
  }
  (void)readFields(node, "a command", fields);
  commandNames.push_back(row.name);
  panel.commands.push_back(std::move(row));
}

// Takes a name, or {name: {argument: value, ...}}, which may have `release: command` too.
std::optional<Command> PanelReader::readCommandOf(const Node& node, bool mayHaveEnd) {
  if (node.IsScalar()) return Command{node.Scalar(), {}};
  const bool hasEnd = mayHaveEnd && node.IsMap() && node[kRelease];
  Command command;
  if (node.IsMap() && node.size() == (hasEnd ? 2U : 1U)) {
    for (const auto& entry : node) {
      const bool isEnd = hasEnd && entry.first.IsScalar() && entry.first.Scalar() == kRelease;
      isEnd ? readEnd(entry.second, command) : readArguments(entry.first, entry.second, command);
    }
  }
  if (!command.name.empty()) return command;
  complain(node, "a command is a name, or {NAME: {ARGUMENT: VALUE}}");
  return std::nullopt;
}

void PanelReader::readEnd(const Node& node, Command& command) {
  if (const auto end = readCommandOf(node, false)) command.atRelease = {*end};
}

void PanelReader::readArguments(const Node& name, const Node& node, Command& command) {
  if (!name.IsScalar()) return;
  command.name = name.Scalar();
  (void)readEach(node, "the arguments", [&](const Node& argument, const Node& value) {
    double number = 0;
    const bool isNumber = value.IsScalar() && YAML::convert<double>::decode(value, number);
    command.arguments.emplace_back(argument.Scalar(), isNumber ? Value(number) : readText(value));
  });
}

}  // namespace bridge
