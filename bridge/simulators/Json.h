// Helpers for both simulators' JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <variant>

#include "bridge/Simulator.h"

namespace bridge {

// The JSON text of a request. Bytes that aren't UTF-8 become U+FFFD.
inline std::string textOf(const nlohmann::json& request) {
  return request.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

inline nlohmann::json jsonOf(const Value& value) {
  return std::visit([](const auto& held) { return nlohmann::json(held); }, value);
}

// A member of an object, or null.
inline const nlohmann::json& memberOf(const nlohmann::json& object, const char* name) {
  static const nlohmann::json kNull;
  const auto member = object.is_object() ? object.find(name) : object.end();
  return member == object.end() ? kNull : *member;
}

// A member's text; empty if the member isn't a text.
inline std::string textMember(const nlohmann::json& object, const char* name) {
  const auto& member = memberOf(object, name);
  return member.is_string() ? member.get<std::string>() : std::string();
}

}  // namespace bridge
