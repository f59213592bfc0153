// A simulator within this process: a small aeroplane, for a first look and for the demonstration.
// Its connection is never lost.
#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "bridge/Aircraft.h"
#include "bridge/Simulator.h"

namespace bridge {

class Trainer : public Simulator {
 public:
  // Its clock starts at `timeOfDay`. The context outlives the object.
  Trainer(asio::io_context& used, std::chrono::seconds timeOfDay);

  void start(Observer& told) override;
  void follow(std::vector<std::string> values, std::vector<Command> commands) override;
  void write(const std::string& name, const Value& value) override;
  void run(const Command& command) override;
  void hold(const Command& command) override { run(command); }
  void release(const Command& command) override {
    for (const Command& end : command.atRelease) run(end);
  }
  void listNames(const std::string& pattern, Names done) override;

 private:
  using Clock = std::chrono::steady_clock;

  void advance();
  void goOn();
  void connect();
  void tellChanges();
  void tellSoon();
  void refuse(const std::string& reason);

  asio::io_context& context;
  asio::steady_timer timer;
  Aircraft aircraft;
  Clock::time_point advancedTo;
  Observer* observer = nullptr;
  bool isConnected = false;
  bool isTelling = false;
  std::vector<std::string> followed;
  std::vector<Command> followedCommands;
  std::vector<std::optional<Value>> told;
};

}  // namespace bridge
