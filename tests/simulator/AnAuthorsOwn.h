// Macros that an author's other headers may have left before ours are included. The standard
// library's come first: they don't survive such macros either.
#pragma once

#include <array>
#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

typedef unsigned long long u64;
typedef char u32;
// NOLINTBEGIN(readability-identifier-naming): headers of authors define these
#define min(a, b) ((a) < (b) ? (a) : (b))
#define max(a, b) ((a) > (b) ? (a) : (b))
// NOLINTEND(readability-identifier-naming)

class Base64 {};
class Deliveries {};
class MessageGroup {};
class SimulatorLink {};
class simdb {};
namespace macaron {
class Base64 {};
}  // namespace macaron
namespace store {}
