#include "bridge/simulators/XPlaneValues.h"

#include <cmath>
#include <websocketpp/base64/base64.hpp>

#include "common/Base64.h"
#include "common/Helpers.h"

using nlohmann::json;

namespace bridge {

namespace {

constexpr std::size_t kMostDigits = 6;  // of an index
constexpr double kLargestInt = 2147483647.0;

std::optional<std::string> decoded(const std::string& base64) {
  std::string text;
  if (!macaron::Base64::Decode(base64, text).empty()) return std::nullopt;
  return text.substr(0, text.find('\0'));
}

bool isInt(const XPlaneName& name) {
  return name.type == "int" || name.type == "int_array";
}

}  // namespace

XPlaneElement::XPlaneElement(const std::string& written) : name(written) {
  const auto bracket = written.rfind('[');
  if (bracket == std::string::npos || written.back() != ']') return;
  const std::string digits = written.substr(bracket + 1, written.size() - bracket - 2);
  if (!is_number(digits) || digits.size() > kMostDigits) return;
  name = written.substr(0, bracket);
  index = std::stoul(digits);
}

std::optional<std::size_t> XPlaneElement::indexIn(const XPlaneName& array) const {
  if (!array.isArray()) return std::nullopt;
  return index.value_or(0);
}

std::optional<Value> fromXPlane(const json& value, const XPlaneName& name) {
  if (value.is_boolean()) return value.get<bool>() ? 1.0 : 0.0;
  if (value.is_number()) return value.get<double>();
  if (value.is_string() && name.isText()) return decoded(value.get_ref<const std::string&>());
  return std::nullopt;
}

std::optional<std::vector<Value>> fromXPlane(const json& values, const XPlaneName& name,
                                             std::size_t indices) {
  const json list = values.is_array() ? values : json::array({values});
  if (list.size() != indices) return std::nullopt;
  std::vector<Value> read;
  for (const auto& value : list) {
    const auto one = fromXPlane(value, name);
    if (!one) return std::nullopt;
    read.push_back(*one);
  }
  return read;
}

std::optional<json> toXPlane(const Value& value, const XPlaneName& name) {
  if (const std::string* const text = std::get_if<std::string>(&value)) {
    if (!name.isText()) return std::nullopt;
    return websocketpp::base64_encode(*text);
  }
  const double number = std::get<double>(value);
  if (name.isText() || !std::isfinite(number)) return std::nullopt;
  if (!isInt(name)) return number;
  if (std::abs(number) > kLargestInt) return std::nullopt;
  return std::lround(number);
}

}  // namespace bridge
