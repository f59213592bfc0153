#include "tools/deck/WebFolder.h"

#include "StreamDeckSDK/ESDUtilities.h"

std::string webFolder() {
  const auto folder = ESDUtilities::GetPluginExecutablePath().parent_path();
  return (folder.parent_path() / "share" / "velomar" / "deck").string();
}
