// The Stream Deck application's end of the plug-in's connection: a WebSocket server on 127.0.0.1.
//
// A WebSocket with an Origin comes from a web page and not from a plug-in, and is refused. The
// server works on a thread of its own, on which the handlers are called. The other operations may
// come from any thread but must not be called once the object is being destroyed.
#pragma once

#include <functional>
#include <memory>
#include <string>

class HostServer {
 public:
  struct Handlers {
    std::function<void()> opened;                   // a plug-in has connected
    std::function<void(const std::string&)> frame;  // a text frame came from it
    std::function<void()> closed;                   // it has gone
  };

  // Listens on any free port. Empty handlers are allowed. Throws if no port is free.
  explicit HostServer(Handlers handlers);

  // Ends all connections at once, and the thread.
  ~HostServer();

  HostServer(const HostServer&) = delete;
  HostServer& operator=(const HostServer&) = delete;

  int port() const;

  // Sends a frame to the plug-in that connected last. False: there is none.
  bool sendText(const std::string& text);
  bool sendBinary(const std::string& bytes);

  // For tests: acts as a busy application, which stops reading from the plug-in's connection or
  // goes on.
  void setReading(bool isReading);

  // Closes the plug-in's connection in an orderly way, with a reason that may be empty.
  void close(const std::string& reason);

 private:
  struct Server;
  std::unique_ptr<Server> server;
};
