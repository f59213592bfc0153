// A table of translations in the folder of the running program, for as long as the object lives.
#pragma once

#include <fstream>
#include <ghc/filesystem.hpp>
#include <string>

#include "StreamDeckSDK/ESDUtilities.h"

class LanguageFile {
 public:
  LanguageFile(const std::string& language, const std::string& content) : path(pathOf(language)) {
    std::ofstream(path) << content;
  }
  ~LanguageFile() { ghc::filesystem::remove(path); }
  LanguageFile(const LanguageFile&) = delete;
  LanguageFile& operator=(const LanguageFile&) = delete;

  static ghc::filesystem::path pathOf(const std::string& language) {
    return ESDUtilities::GetPluginExecutablePath().parent_path() / (language + ".json");
  }

 private:
  ghc::filesystem::path path;
};
