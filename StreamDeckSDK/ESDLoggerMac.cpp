// The system log of macOS.
#include <os/log.h>

#include "StreamDeckSDK/ESDLogger.h"

void ESDLogger::LogToSystem(const std::string& line) {
  os_log_with_type(OS_LOG_DEFAULT, OS_LOG_TYPE_DEFAULT, "%{public}s", line.c_str());
}
