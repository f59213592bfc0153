// The requests to X-Plane that go over its WebSocket, and what comes back.
//
// Only the thread that runs the context uses an object; its handlers are called there, never from
// inside an operation.
#pragma once

#include <asio/io_context.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "bridge/Endpoint.h"
#include "bridge/simulators/WebSocketClient.h"

namespace bridge {

class XPlaneSocket {
 public:
  // The error is empty after a success.
  using Result = std::function<void(const std::string& error)>;

  struct Handlers {
    std::function<void()> opened;
    std::function<void(const nlohmann::json& values)> updated;  // by id, which is a text
    std::function<void(const std::string& reason)> closed;
  };

  XPlaneSocket(asio::io_context& context, Handlers handlers);

  void open(const Endpoint& endpoint, const std::string& path);
  void drop();

  // Sends a request. X-Plane may give several results: `done` is called with the first, and once
  // with the first failure if that comes later, unless the connection ends before.
  void request(const char* type, nlohmann::json parameters, Result done);

 private:
  struct Pending {
    Result done;
    bool hasSucceeded = false;
  };

  void onText(const std::string& text);
  void onResult(const nlohmann::json& message);

  Handlers handlers;
  std::uint64_t lastRequest = 0;
  std::map<std::uint64_t, Pending> pending;
  WebSocketClient socket;
};

}  // namespace bridge
