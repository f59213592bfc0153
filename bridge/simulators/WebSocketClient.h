// The client's end of one WebSocket connection.
//
// Only the thread that runs the context uses an object, and the handlers are called there, never
// from inside an operation. An attempt to connect ends within some 10 seconds. Nothing here waits
// for the peer to answer a ping or a close frame: some simulators answer neither.
#pragma once

#include <asio/io_context.hpp>
#include <functional>
#include <memory>
#include <string>

#include "bridge/Endpoint.h"

namespace bridge {

class WebSocketClient {
 public:
  struct Handlers {
    std::function<void()> opened;
    std::function<void(const std::string& text)> received;
    // The connection has ended, or couldn't be made.
    std::function<void(const std::string& reason)> closed;
  };

  WebSocketClient(asio::io_context& context, Handlers handlers);
  ~WebSocketClient();

  WebSocketClient(const WebSocketClient&) = delete;
  WebSocketClient& operator=(const WebSocketClient&) = delete;

  // Drops the present connection, if there is one, and begins another.
  void open(const Endpoint& endpoint, const std::string& path);

  // Sends a text message. Nothing happens unless the connection is open.
  void send(const std::string& text);

  // Ends the connection at once. No handler is called for it any more.
  void drop();

 private:
  struct Session;

  asio::io_context& context;
  Handlers handlers;
  std::shared_ptr<Session> session;
};

}  // namespace bridge
