#include "StreamDeckSDK/ESDLogger.h"

#include <atomic>
#include <nlohmann/json.hpp>

#include "StreamDeckSDK/ESDConnectionManager.h"
#include "common/Helpers.h"

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

// The line as both logs take it.
std::string LineOf(const std::string& context, const std::string& message) {
  constexpr std::size_t kMost = ESDLogger::kMaxLineBytes;
  const std::string whole = FileName(context) + ": " + message;
  std::string line = Repaired(whole.substr(0, wholeCharacters(whole, kMost)));
  if (whole.size() <= kMost && line.size() <= kMost) return line;
  return line.substr(0, wholeCharacters(line, kMost)) +
         fmt::format("... (cut, {} bytes in all)", whole.size());
}

// False: it raised. There is nowhere left to report that to, and a lost line is better than a lost
// process.
template <typename Work>
bool Attempt(Work work) noexcept {
  try {
    work();
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace

bool ESDLogger::disableDebugLogging = false;

void ESDLogger::SetConnectionManager(ESDConnectionManager* manager) {
  sConnectionManager.store(manager, std::memory_order_release);
}

void ESDLogger::LogMessage(const std::string& context, const std::string& message) noexcept {
  std::string line;
  if (!Attempt([&] { line = LineOf(context, message); })) return;
  (void)Attempt([&] { LogToStreamDeckSoftware(line); });
  (void)Attempt([&] { LogToSystem(line); });
}

void ESDLogger::LogFormatted(const std::string& context, fmt::string_view format,
                             fmt::format_args arguments) noexcept {
  std::string message;
  if (Attempt([&] { message = fmt::vformat(format, arguments); }) ||
      Attempt([&] { message.assign(format.data(), format.size()); })) {
    LogMessage(context, message);
  }
}

void ESDLogger::LogToStreamDeckSoftware(const std::string& line) {
  auto* manager = sConnectionManager.load(std::memory_order_acquire);
  if (manager != nullptr) manager->LogMessage(line);
}
