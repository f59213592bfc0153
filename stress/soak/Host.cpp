#include "stress/soak/Host.h"

#include <stdexcept>
#include <utility>

Host::Host()
    : server(HostServer::Handlers{{}, [this](const std::string& text) { add(text); }, {}}) {}

void Host::send(const nlohmann::json& event) {
  if (!server.sendText(event.dump())) throw std::runtime_error("the program has gone");
}

std::vector<std::string> Host::takeFrames() {
  const std::lock_guard<std::mutex> lock(mutex);
  return std::exchange(frames, {});
}

void Host::add(const std::string& text) {
  const std::lock_guard<std::mutex> lock(mutex);
  frames.push_back(text);
}
