// The program. This file's name is the context of its log lines.
#include "plugin/Velomar.h"

#include <fcntl.h>
#include <unistd.h>

#include "StreamDeckSDK/ESDLogger.h"
#include "StreamDeckSDK/ESDMain.h"
#include "plugin/ScratchFolders.h"
#include "plugin/XPlaneManager.h"

namespace {

// A file or socket that is opened later must not get the number of a standard stream that was
// closed at the start: text for standard error would then go into it.
void openStandardStreams() {
  int fd = open("/dev/null", O_RDWR);
  while (fd >= 0 && fd <= STDERR_FILENO) fd = open("/dev/null", O_RDWR);
  if (fd > STDERR_FILENO) (void)close(fd);
}

}  // namespace

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
