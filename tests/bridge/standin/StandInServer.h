// A web server that stands in for a simulator's: HTTP requests and WebSockets on one port of this
// machine, and a frame that is drawn in regular steps.
//
// It works on a thread of its own, on which the handlers are called. `send` may be called there
// only; the other operations come from the thread that owns the object.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

class StandInServer {
 public:
  using Connection = std::uint64_t;

  struct Answer {
    int status = 200;
    std::string body;
  };

  struct Handlers {
    std::function<Answer(const std::string& method, const std::string& resource,
                         const std::string& body)>
        request;
    std::function<bool(const std::string& resource)> mayOpen;  // of a WebSocket
    std::function<void(Connection)> opened;
    std::function<void(Connection, const std::string&)> text;
    std::function<void(Connection)> closed;
    std::function<void()> frame;
  };

  // Listens. Any free port if it is 0.
  StandInServer(Handlers handlers, int port, std::chrono::milliseconds frame);

  ~StandInServer();

  StandInServer(const StandInServer&) = delete;
  StandInServer& operator=(const StandInServer&) = delete;

  // Begins to serve.
  void start();

  // Ends for good. After it no handler is called, and at the object's end all connections end at
  // once.
  void stop();

  int port() const;
  void send(Connection to, const std::string& text);

  // A simulator that hangs: it neither reads nor writes, and its connections stay.
  void hang();

 private:
  struct Server;
  std::unique_ptr<Server> server;
};
