// The names of FlightGear's properties.
#include <cctype>

#include "bridge/simulators/FlightGearSimulator.h"

namespace bridge {

namespace {

constexpr std::size_t kMostDigits = 6;  // of an index

bool isLetter(char c) {
  return c == '_' || std::isalpha(static_cast<unsigned char>(c)) != 0;
}

bool isDigit(char c) {
  return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

// Appends a part, "name" or "name[2]", to the path. False: the part is neither.
bool appendPart(const std::string& part, std::string& path) {
  std::size_t end = 0;
  while (end < part.size() &&
         (isLetter(part[end]) ||
          (end > 0 && (isDigit(part[end]) || part[end] == '-' || part[end] == '.')))) {
    ++end;
  }
  if (end == 0) return false;
  path += '/' + part.substr(0, end);
  if (end == part.size()) return true;
  if (part[end] != '[' || part.back() != ']') return false;
  const std::string index = part.substr(end + 1, part.size() - end - 2);
  if (index.empty() || index.size() > kMostDigits) return false;
  for (const char c : index) {
    if (!isDigit(c)) return false;
  }
  if (const int number = std::stoi(index)) path += '[' + std::to_string(number) + ']';
  return true;
}

}  // namespace

std::optional<std::string> propertyPath(const std::string& name) {
  std::string path;
  for (std::size_t at = 0; at < name.size();) {
    const std::size_t slash = std::min(name.find('/', at), name.size());
    const std::string part = name.substr(at, slash - at);
    if (!part.empty() && !appendPart(part, path)) return std::nullopt;
    at = slash + 1;
  }
  if (path.empty()) return std::nullopt;
  return path;
}

}  // namespace bridge
