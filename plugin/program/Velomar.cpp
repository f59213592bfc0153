// The program. This file's name is the context of its log lines.
#include "plugin/Velomar.h"

#include "StreamDeckSDK/ESDLogger.h"
#include "StreamDeckSDK/ESDMain.h"
#include "common/Helpers.h"
#include "plugin/ScratchFolders.h"
#include "plugin/XPlaneManager.h"

int main(int argc, char* argv[]) {
  ESDLogger::disableDebugLogging = true;
  openStandardStreams();
  Velomar* plugin = Velomar::getInstance();
  cleanImageFolder();
  cleanLayoutsFolder();
  XPlaneManager::getInstance();

  const int result = esd_main(argc, argv, plugin);

  // The link thread calls the plug-in until it is joined, so the link goes first.
  delete XPlaneManager::pInstance;
  delete plugin;
  cleanImageFolder();
  cleanLayoutsFolder();
  ESDLogWithContext(__FILE__, "Shutting Down Velomar Stream Deck Plugin");
  return result;
}
