#include <unistd.h>

#include "StreamDeckSDK/ESDLogger.h"
#include "StreamDeckSDK/ESDUtilities.h"

namespace {

std::string TrimRight(const std::string& path) {
  const auto last = path.find_last_not_of('/');
  return last == std::string::npos ? "/" : path.substr(0, last + 1);
}

}  // namespace

void ESDUtilities::DoSleep(int milliseconds) {
  usleep(static_cast<useconds_t>(milliseconds) * 1000);
}

std::string ESDUtilities::AddPathComponent(const std::string& path, const std::string& component) {
  if (path.empty()) return component;
  const bool pathEnds = path.back() == '/';
  const bool componentBegins = !component.empty() && component.front() == '/';
  if (pathEnds && componentBegins) return path + component.substr(1);
  if (pathEnds || componentBegins) return path + component;
  return path + '/' + component;
}

std::string ESDUtilities::GetParentDirectoryPath(const std::string& path) {
  if (path.empty()) return "/";
  if (path.front() != '/') {
    if (!ESDLogger::disableDebugLogging) {
      ESDLogWithContext(__FILE__, "Relative paths are not supported");
    }
    return {};
  }
  const std::string trimmed = TrimRight(path);
  const auto slash = trimmed.rfind('/');
  return slash == 0 ? "/" : trimmed.substr(0, slash);
}

std::string ESDUtilities::GetFileName(const std::string& path) {
  std::string parent = GetParentDirectoryPath(path);
  if (parent.size() >= path.size()) return parent;
  const std::string trimmed = TrimRight(path);
  const auto slash = trimmed.rfind('/');
  return slash == std::string::npos ? trimmed : trimmed.substr(slash + 1);
}
