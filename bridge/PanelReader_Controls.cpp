// The part of PanelReader that reads keys and dials with their actions.
#include <algorithm>

#include "bridge/PanelReader.h"

namespace bridge {

namespace {

using Face = Panel::Face;

// In the order of Panel::Face, to which a name's index is cast.
const std::vector<std::string> kFaces{"lamp",  "switch",  "number", "text",
                                      "gauge", "compass", "clock",  "picture"};

constexpr std::uint32_t kGreen = 0x3ddc84;
constexpr std::uint32_t kCyan = 0x59d2ff;

void collect(const Expression& expression, std::vector<std::size_t>& places) {
  places.insert(places.end(), expression.needs().begin(), expression.needs().end());
}

void collect(const std::optional<Expression>& expression, std::vector<std::size_t>& places) {
  if (expression) collect(*expression, places);
}

// The places of all values that a key or dial needs to be shown.
std::vector<std::size_t> needsOf(const Panel::Display& display) {
  std::vector<std::size_t> places;
  for (const auto* each :
       {&display.on, &display.transit, &display.fault, &display.available, &display.alarm,
        &display.needle, &display.mark, &display.frame, &display.bar}) {
    collect(*each, places);
  }
  for (const Words* words : {&display.show, &display.second}) {
    for (const Expression& expression : words->show) collect(expression, places);
  }
  if (display.range) {
    collect(display.range->from, places);
    collect(display.range->to, places);
  }
  std::sort(places.begin(), places.end());
  places.erase(std::unique(places.begin(), places.end()), places.end());
  return places;
}

bool isLit(Face face) {
  return face == Face::Lamp || face == Face::Switch || face == Face::Picture;
}

}  // namespace

void PanelReader::readControls(const Node& node, bool isDial) {
  auto& controls = isDial ? panel.dials : panel.keys;
  (void)readEach(node, isDial ? "dials" : "keys", [&](const Node& name, const Node& value) {
    controls.emplace(name.Scalar(), readControl(name.Scalar(), value, isDial));
  });
}

Panel::Control PanelReader::readControl(const std::string& name, const Node& node, bool isDial) {
  Panel::Control control;
  control.display.label = name;
  Fields fields = displayFields(control.display);
  for (auto& more :
       {formulaFields(control.display), isDial ? dialFields(control) : keyFields(control)}) {
    fields.insert(fields.end(), more.begin(), more.end());
  }
  if (!readFields(node, isDial ? "a dial" : "a key", fields)) return control;
  const Face face = control.display.face;
  if (!node["colour"]) control.display.colour = isLit(face) ? kGreen : kCyan;
  if (face == Face::Switch && !node["words"]) {
    control.display.words = {"OFF", "ON", "TRANSIT", "FAULT", ""};
  }
  if (!isDial && !node["symbol"] && (face == Face::Lamp || face == Face::Switch)) {
    control.display.symbol = face == Face::Lamp ? "lamp" : "toggle";
  }
  checkDisplay(node, control.display, isDial);
  control.display.needs = needsOf(control.display);
  return control;
}

PanelReader::Fields PanelReader::displayFields(Panel::Display& display) {
  return {
      {"face",
       [&](const Node& value) {
         display.face = static_cast<Face>(readChoice(value, "face", kFaces));
       }},
      {"label", [&](const Node& value) { display.label = readText(value); }},
      {"symbol", [&](const Node& value) { display.symbol = readSymbol(value); }},
      {"colour", [&](const Node& value) { display.colour = readColour(value); }},
      {"show", [&](const Node& value) { display.show.show = readExpressions(value); }},
      {"text", [&](const Node& value) { display.show.format = readText(value); }},
      {"words",
       [&](const Node& value) {
         readStates(value, "words", display.words,
                    [this](const Node& one) { return readText(one); });
       }},
      {"positions", [&](const Node& value) { display.positions = readTexts(value); }},
      {"range", [&](const Node& value) { display.range = readRange(value); }},
  };
}

PanelReader::Fields PanelReader::formulaFields(Panel::Display& display) {
  const auto field = [this](const char* name, std::optional<Expression>& into) {
    return Field(name, [this, &into](const Node& value) { into = readExpression(value); });
  };
  return {field("on", display.on),       field("transit", display.transit),
          field("fault", display.fault), field("available", display.available),
          field("alarm", display.alarm), field("needle", display.needle),
          field("mark", display.mark),   field("frame", display.frame)};
}

PanelReader::Fields PanelReader::keyFields(Panel::Control& control) {
  const auto path = [this](const Node& one) { return readPath(one); };
  return {
      {"picture",
       [this, &control, path](const Node& value) {
         readStates(value, "pictures", control.display.pictures, path);
       }},
      {"title", [&](const Node& value) { control.display.second = readWords(value); }},
      {"press", [&](const Node& value) { control.press = readActions(value); }},
      {"long press", [&](const Node& value) { control.longPress = readActions(value); }},
      {"after", [&](const Node& value) { control.longAfter = readSeconds(value); }},
  };
}

PanelReader::Fields PanelReader::dialFields(Panel::Control& control) {
  return {
      {"below", [&](const Node& value) { control.display.second = readWords(value); }},
      {"bar", [&](const Node& value) { control.display.bar = readExpression(value); }},
      {"turn", [&](const Node& value) { control.turn = readTurn(value); }},
      {"pressed turn", [&](const Node& value) { control.pressedTurn = readTurn(value); }},
      {"push", [&](const Node& value) { control.press = readActions(value); }},
      {"tap", [&](const Node& value) { control.tap = readActions(value); }},
      {"hold", [&](const Node& value) { control.hold = readActions(value); }},
  };
}

// Reports the fields that a face can't do without and that aren't there.
void PanelReader::checkDisplay(const Node& node, const Panel::Display& display, bool isDial) {
  const auto require = [&](bool isThere, const char* field) {
    if (!isThere) {
      complain(node, "the face \"" + kFaces[static_cast<std::size_t>(display.face)] +
                         "\" needs \"" + field + "\"");
    }
  };
  const bool hasPositions = static_cast<bool>(node["positions"]);
  if (!isDial && !node["face"]) complain(node, "a key needs \"face\"");
  if (isDial && display.face == Face::Picture) complain(node["face"], "a dial shows no picture");
  if (!isDial && node["face"] && (display.face == Face::Lamp || display.face == Face::Switch)) {
    require(node["on"] || hasPositions, "on");
  }
  if (display.face == Face::Picture) require(static_cast<bool>(node["picture"]), "picture");
  if (!isLit(display.face) || hasPositions) require(static_cast<bool>(node["show"]), "show");
  if (display.face == Face::Gauge) require(static_cast<bool>(node["range"]), "range");
  checkFormat(node, display.show);
}

// Takes one action, or a list of several in order.
Panel::Actions PanelReader::readActions(const Node& node) {
  Panel::Actions actions;
  const auto add = [&](const Node& each) {
    if (auto action = readAction(each)) actions.push_back(std::move(*action));
  };
  if (!node.IsSequence()) {
    add(node);
  } else {
    for (const Node& each : node) add(each);
  }
  return actions;
}

// The fields of an action but those of readAdd, which reads its own.
struct PanelReader::ActionFields {
  std::optional<std::size_t> toggled, set, cycled, command;
  std::optional<Expression> to;
  std::vector<Expression> through;
  bool isHeld = false;
  bool isConfirmed = false;
};

PanelReader::Fields PanelReader::actionFields(ActionFields& read) {
  const auto place = [this](std::optional<std::size_t>& into) {
    return [this, &into](const Node& value) { into = readIndex(value, "value", valueNames); };
  };
  const auto leaveToReadAdd = [](const Node&) {};
  return {
      {"toggle", place(read.toggled)},
      {"set", place(read.set)},
      {"to", [&](const Node& value) { read.to = readExpression(value); }},
      {"add", leaveToReadAdd},
      {"step", leaveToReadAdd},
      {"wrap", leaveToReadAdd},
      {"clamp", leaveToReadAdd},
      {"cycle", place(read.cycled)},
      {"through", [&](const Node& value) { read.through = readExpressions(value); }},
      {"command",
       [&](const Node& value) { read.command = readIndex(value, "command", commandNames); }},
      {"held", [&](const Node& value) { read.isHeld = readTruth(value); }},
      {"confirm", [&](const Node& value) { read.isConfirmed = readTruth(value); }},
  };
}

// Reports fields that are missing or exclude each other. False: it is none of the kinds of action.
bool PanelReader::checkAction(const Node& node) {
  int kinds = 0;
  for (const char* kind : {"toggle", "set", "add", "cycle", "command"}) kinds += node[kind] ? 1 : 0;
  if (kinds != 1) complain(node, "an action has one of toggle, set, add, cycle and command");
  if (kinds != 1) return false;
  if (node["set"] && !node["to"]) complain(node, "\"set\" needs \"to\"");
  if (node["cycle"] && !node["through"]) complain(node, "\"cycle\" needs \"through\"");
  return true;
}

std::optional<Panel::Action> PanelReader::readAction(const Node& node) {
  ActionFields read;
  if (!readFields(node, "an action", actionFields(read)) || !checkAction(node)) return std::nullopt;
  const bool isConfirmed = read.isConfirmed;
  if (node["add"]) {
    auto add = readAdd(node);
    return add ? std::optional(Panel::Action{std::move(*add), isConfirmed}) : std::nullopt;
  }
  if (read.toggled) return Panel::Action{Panel::Toggle{*read.toggled}, isConfirmed};
  if (read.set && read.to) {
    return Panel::Action{Panel::Set{*read.set, std::move(*read.to)}, isConfirmed};
  }
  if (read.cycled && !read.through.empty()) {
    return Panel::Action{Panel::Cycle{*read.cycled, std::move(read.through)}, isConfirmed};
  }
  if (read.command) return Panel::Action{Panel::Run{*read.command, read.isHeld}, isConfirmed};
  return std::nullopt;
}

// Reads the fields of an action that adds, from a mapping that may have other fields as well.
std::optional<Panel::Add> PanelReader::readAdd(const Node& node) {
  const auto place = readIndex(node["add"], "value", valueNames);
  auto step = node["step"] ? readExpression(node["step"]) : std::optional<Expression>();
  if (!node["step"]) complain(node, "\"add\" needs \"step\"");
  if (node["wrap"] && node["clamp"])
    complain(node["clamp"], "\"wrap\" and \"clamp\" exclude each other");
  const Node limits = node["wrap"] ? node["wrap"] : node["clamp"];
  auto range = limits ? readRange(limits) : std::optional<Panel::Range>();
  auto fast = node["fast"] ? readExpression(node["fast"]) : std::optional<Expression>();
  if (!place || !step) return std::nullopt;
  return Panel::Add{*place, std::move(*step), std::move(fast), std::move(range),
                    static_cast<bool>(node["wrap"])};
}

Panel::Turn PanelReader::readTurn(const Node& node) {
  Panel::Turn turn;
  const auto nothing = [](const Node&) {};
  const Fields fields{{"add", nothing},
                      {"step", nothing},
                      {"fast", nothing},
                      {"wrap", nothing},
                      {"clamp", nothing},
                      {"up", [&](const Node& value) { turn.up = readActions(value); }},
                      {"down", [&](const Node& value) { turn.down = readActions(value); }}};
  if (!readFields(node, "a turn", fields)) return turn;
  if (!node["add"] && !node["up"] && !node["down"]) {
    complain(node, "a turn has \"add\", or \"up\" and \"down\"");
  }
  if (node["add"]) turn.add = readAdd(node);
  return turn;
}

}  // namespace bridge
