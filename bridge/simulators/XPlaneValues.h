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

// The thing that a name of X-Plane's denotes: a value, or a command, which has no type.
struct XPlaneName {
  std::uint64_t id = 0;  // more than 32 bits
  std::string type;      // "int", "float", "double", "int_array", "float_array" or "data"

  bool isArray() const { return type == "int_array" || type == "float_array"; }
  bool isText() const { return type == "data"; }
};

// "name" or "name[2]".
struct XPlaneElement {
  explicit XPlaneElement(const std::string& written);

  // The index to ask for. nullopt: the value as a whole. A name without an index means the first
  // element of an array.
  std::optional<std::size_t> indexIn(const XPlaneName& array) const;

  // False: the value has no elements, and this names one.
  bool isIn(const XPlaneName& value) const { return value.isArray() || index.value_or(0) == 0; }

  std::string name;
  std::optional<std::size_t> index;
};

// nullopt: it is neither a number nor a text in Base64. Zero bytes after the text are cut off.
std::optional<Value> fromXPlane(const nlohmann::json& value, const XPlaneName& name);

// The value that belongs to each of several indices. nullopt: values and indices don't match. The
// value of a single index may come without a list around it.
std::optional<std::vector<Value>> fromXPlane(const nlohmann::json& values, const XPlaneName& name,
                                             std::size_t indices);

// nullopt: the type can't hold the value.
std::optional<nlohmann::json> toXPlane(const Value& value, const XPlaneName& name);

}  // namespace bridge
