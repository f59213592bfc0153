#include "bridge/Words.h"

#include <fmt/args.h>
#include <fmt/format.h>

#include <cctype>

#include "common/Helpers.h"

namespace bridge {

namespace {

constexpr std::size_t kLongest = 200;
constexpr std::size_t kMostDigits = 2;

// Long numbers are refused, because a width of millions would cost as many bytes.
bool hasLongNumber(const std::string& format) {
  std::size_t digits = 0;
  for (const char c : format) {
    digits = std::isdigit(static_cast<unsigned char>(c)) != 0 ? digits + 1 : 0;
    if (digits > kMostDigits) return true;
  }
  return false;
}

std::string fillWith(const std::string& format, const std::vector<Value>& parts) {
  fmt::dynamic_format_arg_store<fmt::format_context> arguments;
  for (const Value& part : parts) {
    std::visit([&arguments](const auto& value) { arguments.push_back(value); }, part);
  }
  std::string text = fmt::vformat(format, arguments);
  text.resize(wholeCharacters(text, kLongest));
  return text;
}

}  // namespace

std::string Words::fill(const Values& values, bool isPressed) const {
  std::vector<Value> parts;
  for (const Expression& expression : show) {
    const Value* value = expression.isName() ? values.find(expression.needs().front()) : nullptr;
    if (value != nullptr) {
      parts.push_back(*value);
    } else if (const auto number = expression.evaluate(values, isPressed)) {
      parts.emplace_back(*number);
    } else {
      return "";
    }
  }
  try {
    return fillWith(format, parts);
  } catch (const fmt::format_error&) {  // a text where the format wants a number
    return "";
  }
}

std::string Words::problem() const {
  if (hasLongNumber(format)) return "a width has two digits at most";
  std::string reason;
  for (const Value& sample : {Value(0.0), Value(std::string())}) {
    std::vector<Value> parts;
    for (const Expression& expression : show) {
      parts.push_back(expression.isName() ? sample : Value(0.0));
    }
    try {
      (void)fillWith(format, parts);
      return "";
    } catch (const fmt::format_error& error) {
      if (reason.empty()) reason = error.what();
    }
  }
  return reason;
}

}  // namespace bridge
