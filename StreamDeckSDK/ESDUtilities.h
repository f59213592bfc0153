// Path texts, a sleep, and where the running program lies. Only '/' separates components.
#pragma once

#include <ghc/filesystem.hpp>
#include <string>

// Static only. Any thread may call, but for GetPluginExecutablePath, whose first call fills a
// static without a lock.
class ESDUtilities {
 public:
  static void DoSleep(int milliseconds);

  // Both joined by exactly one '/'. An empty path gives the component.
  static std::string AddPathComponent(const std::string& path, const std::string& component);

  // "/" for an empty path and for what lies in the root. An empty text for a relative path.
  static std::string GetParentDirectoryPath(const std::string& path);

  // The last component. "/" for "/" and for an empty path, and an empty text for several slashes.
  static std::string GetFileName(const std::string& path);

  // The full path of the running program.
  static ghc::filesystem::path GetPluginExecutablePath();
};
