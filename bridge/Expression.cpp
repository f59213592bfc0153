#include "bridge/Expression.h"

#include <muParser.h>

#include <algorithm>
#include <cmath>

#include "bridge/Text.h"

namespace bridge {

namespace {

constexpr char kPressed[] = "pressed";
constexpr std::size_t kLongest = 1000;
constexpr std::size_t kDeepest = 50;

double modulo(double value, double size) {
  return value - std::floor(value / size) * size;
}

double negation(double value) {
  return value == 0 ? 1 : 0;
}

double lower(double value) {
  return std::floor(value);
}

double upper(double value) {
  return std::ceil(value);
}

double nearest(double value) {
  return std::round(value);
}

void addFunctions(mu::Parser& parser) {
  parser.DefineFun("mod", modulo);
  parser.DefineFun("floor", lower);
  parser.DefineFun("ceil", upper);
  parser.DefineFun("round", nearest);
  parser.DefineFun("not", negation);
}

// The library takes "=" for an assignment, which no one means here.
void refuseAssignment(const std::string& text) {
  constexpr char kComparisons[] = "=<>!";
  for (auto at = text.find('='); at != std::string::npos; at = text.find('=', at + 1)) {
    const bool hasFriend =
        (at > 0 && std::string(kComparisons).find(text[at - 1]) != std::string::npos) ||
        (at + 1 < text.size() && text[at + 1] == '=');
    if (!hasFriend) throw ExpressionError("\"=\" compares nothing, write \"==\"");
  }
}

void refuseExcess(const std::string& text) {
  const auto depth = static_cast<std::size_t>(std::count(text.begin(), text.end(), '('));
  if (text.size() > kLongest || depth > kDeepest) throw ExpressionError("too long an expression");
}

std::string describe(const mu::Parser::exception_type& error,
                     const std::vector<std::string>& names) {
  if (error.GetCode() == mu::ecUNASSIGNABLE_TOKEN) {
    return "unknown value \"" + error.GetToken() + "\"" + Text::didYouMean(error.GetToken(), names);
  }
  return error.GetMsg();
}

}  // namespace

struct Expression::Formula {
  mu::Parser parser;
  std::vector<double> numbers;  // by place in the panel's list; the last is `pressed`
};

Expression::Expression(const std::string& text, const std::vector<std::string>& names)
    : formula(std::make_shared<Formula>()) {
  refuseExcess(text);
  refuseAssignment(text);
  formula->numbers.assign(names.size() + 1, 0);
  try {
    addFunctions(formula->parser);
    for (std::size_t i = 0; i < names.size(); ++i) {
      formula->parser.DefineVar(names[i], &formula->numbers[i]);
    }
    formula->parser.DefineVar(kPressed, &formula->numbers.back());
    formula->parser.SetExpr(text);
    for (const auto& [name, variable] : formula->parser.GetUsedVar()) {
      const auto found = std::find(names.begin(), names.end(), name);
      if (found != names.end()) places.push_back(static_cast<std::size_t>(found - names.begin()));
      if (found == names.end() && name != kPressed) {
        throw ExpressionError("unknown value \"" + name + "\"" + Text::didYouMean(name, names));
      }
    }
    (void)formula->parser.Eval();
  } catch (const mu::Parser::exception_type& error) {
    throw ExpressionError(describe(error, names));
  }
  isPlain = places.size() == 1 && text == names[places.front()];
}

std::optional<double> Expression::evaluate(const Values& values, bool isPressed) const {
  return evaluate([&values](std::size_t place) { return values.number(place); }, isPressed);
}

std::optional<double> Expression::evaluate(const Numbers& numberOf, bool isPressed) const {
  for (const std::size_t place : places) {
    const auto number = numberOf(place);
    if (!number) return std::nullopt;
    formula->numbers[place] = *number;
  }
  formula->numbers.back() = isPressed ? 1 : 0;
  try {
    const double result = formula->parser.Eval();
    return std::isfinite(result) ? std::optional<double>(result) : std::nullopt;
  } catch (const mu::Parser::exception_type&) {  // such as a division that the library refuses
    return std::nullopt;
  }
}

bool Expression::isValidName(const std::string& name) {
  if (name == kPressed) return false;
  try {
    mu::Parser parser;
    addFunctions(parser);
    if (parser.GetFunDef().count(name) != 0) return false;
    double variable = 0;
    parser.DefineVar(name, &variable);
    parser.SetExpr(name);
    return parser.GetUsedVar().size() == 1;
  } catch (const mu::Parser::exception_type&) {
    return false;
  }
}

}  // namespace bridge
