// Tolerant lookups in JSON that comes from outside.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

// Static only. Any thread may call.
class EPLJSONUtils {
 public:
  // True, and a copy of the value in `output`, if `json` is an object that holds an object under
  // `name`. Else false, and `output` stays as it was.
  static bool GetObjectByName(const nlohmann::json& json, const std::string& name,
                              nlohmann::json& output);

  // The string that `json` holds under `name`, or the default if there is none.
  static std::string GetStringByName(const nlohmann::json& json, const std::string& name,
                                     const std::string& defaultString = "");
};
