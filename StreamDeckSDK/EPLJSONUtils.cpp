#include "StreamDeckSDK/EPLJSONUtils.h"

using nlohmann::json;

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
  int depth = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') ++i;  // whatever is escaped doesn't end the string
      if (c == '"') inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '{' || c == '[') {
      if (++depth > kMaxDepth) return true;
    } else if (c == '}' || c == ']') {
      if (--depth <= 0) return false;  // the value is complete
    }
  }
  return false;
}
