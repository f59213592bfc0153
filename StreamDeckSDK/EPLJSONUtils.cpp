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
