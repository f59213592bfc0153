#include "StreamDeckSDK/ESDUtilities.h"

ghc::filesystem::path ESDUtilities::GetPluginExecutablePath() {
  static ghc::filesystem::path sPath;
  if (sPath.empty()) sPath = ghc::filesystem::read_symlink("/proc/self/exe");
  return sPath;
}
