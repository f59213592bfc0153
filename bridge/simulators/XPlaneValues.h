// X-Plane's values as its web API writes them, and the names of elements of arrays.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "bridge/Simulator.h"

namespace bridge {

// What X-Plane knows by a name: a value of a type, or a command, which has none.
struct XPlaneName {
  std::uint64_t id = 0;  // more than 32 bits
  std::string type;      // "int", "float", "double", "int_array", "float_array" or "data"

  bool isArray() const { return type == "int_array" || type == "float_array"; }
  bool isText() const { return type == "data"; }
};

// "name" or "name[2]".
struct XPlaneElement {
  explicit XPlaneElement(const std::string& written);

  // The index to ask for; nothing: the value as a whole. A name without an index means the first
  // element of an array.
  std::optional<std::size_t> indexIn(const XPlaneName& array) const;

  // False: the value has no elements, and this names one.
  bool isIn(const XPlaneName& value) const { return value.isArray() || index.value_or(0) == 0; }

  std::string name;
  std::optional<std::size_t> index;
};

// Nothing: it is neither a number nor a text in Base64, which zero bytes may follow.
std::optional<Value> fromXPlane(const nlohmann::json& value, const XPlaneName& name);

// The value that belongs to each of several indices. Nothing: they don't fit each other. One index
// alone may come without a list.
std::optional<std::vector<Value>> fromXPlane(const nlohmann::json& values, const XPlaneName& name,
                                             std::size_t indices);

// Nothing: the type can't hold the value.
std::optional<nlohmann::json> toXPlane(const Value& value, const XPlaneName& name);

}  // namespace bridge
