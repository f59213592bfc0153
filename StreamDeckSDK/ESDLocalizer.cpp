#include "StreamDeckSDK/ESDLocalizer.h"

#include <fstream>
#include <ghc/filesystem.hpp>
#include <sstream>

#include "StreamDeckSDK/EPLJSONUtils.h"
#include "StreamDeckSDK/ESDJSONText.h"
#include "StreamDeckSDK/ESDUtilities.h"

namespace {

ESDLocalizer* sLocalizer = nullptr;  // never freed: strings are asked for until the process ends

// A name with a separator would lead out of the folder, one with a zero byte to another file.
bool IsFileName(const std::string& name) {
  return !name.empty() && name.find_first_of(std::string("/\0", 2)) == std::string::npos;
}

}  // namespace

void ESDLocalizer::Initialize(const std::string& language) {
  if (sLocalizer == nullptr) sLocalizer = new ESDLocalizer(language);
}

ESDLocalizer::ESDLocalizer(const std::string& language) {
  try {
    const std::string folder = ESDUtilities::GetPluginExecutablePath().parent_path().string();
    if (folder.empty() || !IsFileName(language)) return;
    const std::string path = ESDUtilities::AddPathComponent(folder, language + ".json");
    if (!ghc::filesystem::is_regular_file(path))
      return;  // opening a pipe would wait for its writer
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    (void)EPLJSONUtils::GetObjectByName(ESDJSONText::Read(text.str()), "Localization",
                                        mLocalizationData);
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
