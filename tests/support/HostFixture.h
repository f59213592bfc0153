// Tests with a connection: the host that it talks to, and the thread that it runs on.
//
// Every wait has a deadline, after which the test fails.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <functional>
#include <future>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "StreamDeckSDK/ESDConnectionManager.h"
#include "StreamDeckSDK/ESDLogger.h"
#include "tools/deck/HostServer.h"

constexpr std::chrono::seconds kDeadline{25};

// The first frame of the fixture's connections.
constexpr char kRegistration[] = R"({"event":"registerPlugin","uuid":"plug-in 1"})";

// Lines that some threads add and another takes, in order.
class Lines {
 public:
  void add(std::string line) {
    const std::lock_guard<std::mutex> lock(mutex);
    lines.push_back(std::move(line));
    added.notify_all();
  }

  // Waits for the next line.
  std::string next() {
    std::unique_lock<std::mutex> lock(mutex);
    if (!added.wait_for(lock, kDeadline, [this] { return !lines.empty(); })) return "(nothing)";
    std::string line = std::move(lines.front());
    lines.pop_front();
    return line;
  }

  // The lines that have not been taken yet.
  std::vector<std::string> rest() {
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<std::string> all(lines.begin(), lines.end());
    lines.clear();
    return all;
  }

 private:
  std::mutex mutex;
  std::condition_variable added;
  std::deque<std::string> lines;  // guarded by mutex
};

// The Stream Deck application's end of the connection.
class Host {
 public:
  Host() {
    HostServer::Handlers handlers;
    handlers.opened = [this] { events.add("opened"); };
    handlers.frame = [this](const std::string& text) { frames.add(text); };
    handlers.closed = [this] { events.add("closed"); };
    server = std::make_unique<HostServer>(std::move(handlers));
  }

  int port() const { return server->port(); }
  void send(const std::string& text) { EXPECT_TRUE(server->sendText(text)); }
  void sendBinary(const std::string& bytes) { EXPECT_TRUE(server->sendBinary(bytes)); }
  void setReading(bool isReading) { server->setReading(isReading); }
  void close(const std::string& reason) { server->close(reason); }

  // Breaks the connection without a word. Nothing can be sent any more.
  void vanish() { server.reset(); }

  // The frames that came in.
  Lines frames;
  // "opened" and "closed".
  Lines events;

 private:
  std::unique_ptr<HostServer> server;
};

// Some work on a thread of its own.
class Runner {
 public:
  explicit Runner(const std::function<void()>& work) : done(std::async(std::launch::async, work)) {}

  ~Runner() {
    if (!ended()) {
      std::cerr << "What was to end never does, and can't be waited for.\n";
      std::abort();
    }
  }

  Runner(const Runner&) = delete;
  Runner& operator=(const Runner&) = delete;

  // Waits for the end.
  bool ended() { return done.wait_for(kDeadline) == std::future_status::ready; }

 private:
  std::future<void> done;
};

// Connections live until the process ends, as they do in the program.
inline void keepForever(ESDConnectionManager* manager) {
  static auto* const kept = new std::vector<ESDConnectionManager*>;
  kept->push_back(manager);
}

inline std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> all;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) all.push_back(line);
  return all;
}

// The frame that carries a line to the application's log.
inline std::string logFrame(const std::string& line) {
  const nlohmann::json frame = {{"event", "logMessage"}, {"payload", {{"message", line}}}};
  return frame.dump();
}

// A host, and one connection at a time. Debug logging is off, as in the program.
class HostFixture : public testing::Test {
 protected:
  void SetUp() override { ESDLogger::disableDebugLogging = true; }

  void TearDown() override {
    host.vanish();
    runner.reset();
    ESDLogger::SetConnectionManager(nullptr);
    ESDLogger::disableDebugLogging = false;
  }

  ESDConnectionManager& make(ESDBasePlugin* plugin, int port) {
    auto* manager = new ESDConnectionManager(port, "plug-in 1", "registerPlugin", "{}", plugin);
    keepForever(manager);
    return *manager;
  }

  void run(ESDConnectionManager& manager) {
    runner.reset();
    runner.emplace([&manager] { manager.Run(); });
  }

  // A connection that has registered.
  ESDConnectionManager& connect(ESDBasePlugin* plugin) {
    ESDConnectionManager& manager = make(plugin, host.port());
    run(manager);
    EXPECT_EQ(host.frames.next(), kRegistration);
    return manager;
  }

  // Waits for the connection's end.
  bool ended() { return runner->ended(); }

  Host host;
  std::optional<Runner> runner;
};
