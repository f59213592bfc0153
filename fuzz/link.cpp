// Messages of the simulator, one on each line. A bad one may raise, as the link expects, and
// nothing else.
#include "fuzz/Panel.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Panel& panel = Panel::get();
  panel.begin();
  for (const std::string& line : Panel::lines(data, size)) {
    try {
      XPlaneManager::pInstance->processMessage(line);
    } catch (const std::exception& e) {
      ESDLogger::LogMessage(__FILE__, e.what());
    }
  }
  panel.end();
  return 0;
}
