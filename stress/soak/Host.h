// The Stream Deck application's end of a soak. Frames wait until they are asked for.
#pragma once

#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/deck/HostServer.h"

class Host {
 public:
  Host();

  // Throws std::runtime_error if the program has gone.
  void send(const nlohmann::json& event);

  // Returns the frames that came from the program since the last call, in order.
  std::vector<std::string> takeFrames();

  std::string port() const { return std::to_string(server.port()); }
  void close() { server.close(""); }

 private:
  void add(const std::string& text);

  std::mutex mutex;
  std::vector<std::string> frames;  // guarded by mutex
  HostServer server;                // its thread ends before what it calls goes
};
