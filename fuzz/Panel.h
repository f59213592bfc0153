// A plug-in for the targets that feed it: its connection isn't open, so that what it sends is
// written as JSON and then lost, and its link's thread sleeps from the start to the end.
//
// It works in a folder of its own, from which nothing may come out. So paths on the command line
// have to be absolute.
#pragma once

#include <syslog.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "StreamDeckSDK/ESDConnectionManager.h"
#include "StreamDeckSDK/ESDLogger.h"
#include "plugin/ScratchFolders.h"
#include "plugin/Velomar.h"
#include "plugin/XPlaneManager.h"
#include "tools/common/TemporaryFolder.h"

class Panel {
 public:
  static Panel& get() {
    static Panel panel;
    return panel;
  }

  // Each input meets a plug-in that shows a key and a dial.
  void begin() {
    delete Velomar::pInstance;
    Velomar& velomar = *Velomar::getInstance();
    velomar.SetConnectionManager(&connection);
    const nlohmann::json dial = {{"controller", "Encoder"}, {"settings", {{"KeyName", "HDG"}}}};
    velomar.WillAppearForAction(kAction, "A", {{"controller", "Keypad"}}, "D");
    velomar.WillAppearForAction(kAction, "B", dial, "D");
  }

  // Writes out what the plug-in has posted, as the link does, and looks after the folder.
  void end() {
    auto& posted = XPlaneManager::pInstance->jsonQueue;
    for (; posted.size() > 0; posted.pop()) std::ostringstream() << posted.front();
    if (++inputs % kInputsPerLook != 0) return;
    cleanImageFolder();
    cleanLayoutsFolder();
    if (entries(root) != 1 || entries(root / "home") != 2) std::abort();
  }

  // The first so many lines: the time that an input takes is to tell of its length, and a million
  // empty lines are a million frames, each refused by an exception.
  static std::vector<std::string> lines(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t kMost = 1000;
    std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
    std::vector<std::string> all;
    for (std::string line; all.size() < kMost && std::getline(in, line);) all.push_back(line);
    return all;
  }

  ESDConnectionManager connection{1, "U", "R", "{}", nullptr};

 private:
  // One pause, from the start to the end.
  struct Sleep : LinkClock {
    std::int64_t now() override { return 0; }
    void pauseFor(std::int64_t /*milliseconds*/) override {
      while (!isOver) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::atomic<bool> isOver{false};
  };

  static constexpr char kAction[] = "com.brackenmoor.velomar.launch";
  static constexpr std::uint64_t kInputsPerLook = 1000;

  Panel() {
    for (const char* folder : {"images", "layouts"}) {
      std::filesystem::create_directories(root / "home" / folder);
    }
    std::filesystem::current_path(root / "home");
    setlogmask(LOG_UPTO(LOG_WARNING));
    ESDLogger::disableDebugLogging = true;
    ESDLogger::SetConnectionManager(&connection);
    XPlaneManager::getInstance(sleep);
  }
  ~Panel() {
    sleep.isOver = true;
    delete XPlaneManager::pInstance;  // which gives back what it holds of the two stores
    delete Velomar::pInstance;
    ESDLogger::SetConnectionManager(nullptr);
  }

  static std::ptrdiff_t entries(const std::filesystem::path& folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
  }

  const TemporaryFolder made;
  const std::filesystem::path& root = made.path();
  Sleep sleep;
  std::uint64_t inputs = 0;
};
