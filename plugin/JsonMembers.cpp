#include "plugin/JsonMembers.h"

#include <limits>

using nlohmann::json;

const json& member(const json& value, const char* name) {
  static const json null;
  if (value.is_null()) return null;
  if (!value.is_object()) return value[name];  // which raises the library's own error
  const auto found = value.find(name);
  return found == value.end() ? null : *found;
}

std::int32_t toInt32(const json& number) {
  using Limits = std::numeric_limits<std::int32_t>;
  if (number.is_number_float()) {
    const double value = number.get<double>();
    // The plain conversion of such a value is undefined.
    if (!(value > Limits::min() - 1.0 && value < Limits::max() + 1.0)) return Limits::min();
  }
  return number.get<std::int32_t>();
}
