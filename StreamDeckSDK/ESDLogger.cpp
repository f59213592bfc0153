#include "StreamDeckSDK/ESDLogger.h"

#include <atomic>
#include <nlohmann/json.hpp>

#include "StreamDeckSDK/ESDConnectionManager.h"

namespace {

// Set on the main thread while the link thread may already be logging.
std::atomic<ESDConnectionManager*> sConnectionManager{nullptr};

std::string FileName(const std::string& path) {
  const auto slash = path.find_last_of("/\\");
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

// Every byte that isn't part of UTF-8 text becomes U+FFFD.
std::string Repaired(const std::string& text) {
  using nlohmann::json;
  return json::parse(json(text).dump(-1, ' ', false, json::error_handler_t::replace));
}

}  // namespace

bool ESDLogger::disableDebugLogging = false;

void ESDLogger::SetConnectionManager(ESDConnectionManager* manager) {
  sConnectionManager.store(manager, std::memory_order_release);
}

void ESDLogger::LogMessage(const std::string& context, const std::string& message) noexcept {
  try {
    const std::string line = Repaired(fmt::format("{}: {}", FileName(context), message));
    LogToStreamDeckSoftware(line);
    LogToSystem(line);
  } catch (...) {
    // Out of memory, at the worst place: a lost line is better than a lost process.
  }
}

void ESDLogger::LogToStreamDeckSoftware(const std::string& line) {
  auto* manager = sConnectionManager.load(std::memory_order_acquire);
  if (manager != nullptr) manager->LogMessage(line);
}
