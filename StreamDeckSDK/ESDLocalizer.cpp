#include "StreamDeckSDK/ESDLocalizer.h"

#include <fstream>

#include "StreamDeckSDK/EPLJSONUtils.h"
#include "StreamDeckSDK/ESDUtilities.h"

namespace {

ESDLocalizer* sLocalizer = nullptr;  // never freed: strings are asked for until the process ends

}  // namespace

void ESDLocalizer::Initialize(const std::string& language) {
  if (sLocalizer == nullptr) sLocalizer = new ESDLocalizer(language);
}

ESDLocalizer::ESDLocalizer(const std::string& language) {
  try {
    const std::string folder = ESDUtilities::GetPluginExecutablePath().parent_path().string();
    if (language.empty() || folder.empty()) return;
    std::ifstream file(ESDUtilities::AddPathComponent(folder, language + ".json"));
    if (!file) return;
    EPLJSONUtils::GetObjectByName(nlohmann::json::parse(file), "Localization", mLocalizationData);
  } catch (...) {
    // An unreadable table is an empty one.
  }
}

std::string ESDLocalizer::GetLocalizedString(const std::string& key) {
  return sLocalizer == nullptr ? key : sLocalizer->GetLocalizedStringIntern(key);
}

std::string ESDLocalizer::GetLocalizedStringIntern(const std::string& key) const {
  return EPLJSONUtils::GetStringByName(mLocalizationData, key, key);
}
