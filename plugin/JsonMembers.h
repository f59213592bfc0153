// Reads members of JSON that the host and the simulator's side send. Any thread may call.
//
// The JSON library's subscript on a constant object has no defined result for a missing key, so
// every optional member is read through these.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>

// The member, or JSON null if it is missing or `value` is null. Raises type_error 305 if `value` is
// anything but an object.
const nlohmann::json& member(const nlohmann::json& value, const char* name);

// The library's conversion to a 32-bit signed integer: a float loses its fraction, an unsigned
// number wraps, a boolean converts, and anything else raises type_error 302. A float beyond the
// range gives the smallest integer.
std::int32_t toInt32(const nlohmann::json& number);
