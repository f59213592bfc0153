// Translated strings, from a file named after the language in the folder of the running program.
//
// The file is a JSON document whose object under "Localization" maps keys to strings. Whatever is
// wrong with it, or with a language that is no file name, leaves the table empty, and each key then
// translates to itself.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

class ESDLocalizer {
 public:
  // Loads the language's table. Only the first call counts. On the main thread, before any other
  // thread asks for a string.
  static void Initialize(const std::string& language);

  // The translation, or the key itself. Any thread may call.
  static std::string GetLocalizedString(const std::string& key);

 private:
  explicit ESDLocalizer(const std::string& language);
  std::string GetLocalizedStringIntern(const std::string& key) const;

  nlohmann::json mLocalizationData;  // null if nothing was loaded
};
