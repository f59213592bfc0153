#include "StreamDeckSDK/EPLJSONUtils.h"

#include <cstring>
#include <sstream>

using nlohmann::json;

namespace {

// The first object or array of a text.
struct Extent {
  bool tooDeep;
  std::size_t end;  // behind it, or the text's end if it isn't complete
};

// The index behind the string that begins at `i`, behind its opening quote. Long strings are the
// rule here, and hardly any holds a backslash: both are looked for many characters at a time.
std::size_t skipString(const std::string& text, std::size_t i) {
  const auto find = [&](char c, std::size_t from, std::size_t to) {
    const void* found = std::memchr(text.data() + from, c, to - from);
    return found == nullptr
               ? to
               : static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
  };
  while (i < text.size()) {
    const std::size_t quote = find('"', i, text.size());
    const std::size_t backslash = find('\\', i, quote);
    if (backslash == quote) return quote + 1;
    i = backslash + 2;  // whatever is escaped doesn't end the string
  }
  return text.size();
}

Extent measure(const std::string& text) {
  int depth = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '"') {
      i = skipString(text, i + 1) - 1;
    } else if (c == '{' || c == '[') {
      if (++depth > EPLJSONUtils::kMaxDepth) return {true, i};
    } else if (c == '}' || c == ']') {
      if (--depth <= 0) return {false, i + 1};
    }
  }
  return {false, text.size()};
}

}  // namespace

bool EPLJSONUtils::GetObjectByName(const json& value, const std::string& name, json& output) {
  const auto found = value.find(name);
  if (found == value.end() || !found->is_object()) return false;
  output = *found;
  return true;
}

std::string EPLJSONUtils::GetStringByName(const json& value, const std::string& name,
                                          const std::string& defaultString) {
  const auto found = value.find(name);
  return found != value.end() && found->is_string() ? found->get<std::string>() : defaultString;
}

bool EPLJSONUtils::IsTooDeep(const std::string& text) {
  return measure(text).tooDeep;
}

// The library reads a range of characters several times faster than a stream, but insists that it
// ends with the value. An object or array says where it ends. Anything else goes the slow way.
json EPLJSONUtils::ParseFirst(const std::string& text) {
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  if (start != std::string::npos && (text[start] == '{' || text[start] == '[')) {
    return json::parse(text.data(), text.data() + measure(text).end);
  }
  json value;
  std::istringstream(text) >> value;
  return value;
}
