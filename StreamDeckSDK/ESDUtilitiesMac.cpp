#include <mach-o/dyld.h>

#include <cstdint>
#include <vector>

#include "StreamDeckSDK/ESDUtilities.h"
#include "common/Assertion.h"

ghc::filesystem::path ESDUtilities::GetPluginExecutablePath() {
  static ghc::filesystem::path sPath;
  if (sPath.empty()) {
    uint32_t length = 0;
    (void)_NSGetExecutablePath(nullptr, &length);
    std::vector<char> buffer(length);
    const int result = _NSGetExecutablePath(buffer.data(), &length);
    velomar::require(result == 0, "result == 0");
    sPath.assign(std::string(buffer.data()));
  }
  return sPath;
}
