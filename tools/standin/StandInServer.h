// A web server that stands in for a simulator's: GET requests and WebSockets on one port of this
// machine, and a frame that is drawn in regular steps.
//
// It works on a thread of its own. Any thread may call.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

class StandInServer {
 public:
  virtual ~StandInServer();
  StandInServer(const StandInServer&) = delete;
  StandInServer& operator=(const StandInServer&) = delete;

  int port() const { return number; }

  // Acts as if the program were started, each time at the same port, and as if it ended.
  void start();
  void stop();
  // A program that hangs: it neither reads nor writes, and its connections stay.
  void hang();

 protected:
  using Lock = std::lock_guard<std::recursive_mutex>;
  using Connection = std::weak_ptr<void>;  // the WebSocket library's handle
  using Connections = std::set<Connection, std::owner_less<>>;

  struct Answer {
    int status = 200;
    std::string body;
  };

  // Any free port if it is 0. A derived object starts at the end of its constructor and stops at
  // the begin of its destructor.
  StandInServer(int port, std::chrono::milliseconds frame);

  // Copies a member for a thread that holds nothing.
  template <typename T>
  T read(const T& member) const {
    const Lock lock(mutex);
    return member;
  }

  // These are called with the mutex held.
  virtual Answer onRequest(const std::string& resource) = 0;
  virtual bool mayOpen(const std::string& resource) = 0;  // of a WebSocket
  virtual void onText(const Connection& from, const nlohmann::json& text) = 0;
  virtual void onClosed(const Connection& gone) = 0;
  virtual void onFrame() = 0;
  virtual void onStopped() = 0;  // no connection is left

  // May be called within the above only.
  void send(const Connection& to, const std::string& text);

  mutable std::recursive_mutex mutex;

 private:
  struct Server;

  int number;
  const std::chrono::milliseconds pause;
  std::unique_ptr<Server> server;
};
