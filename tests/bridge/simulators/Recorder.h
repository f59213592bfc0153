// Runs a simulator's client and keeps what it tells, for tests to wait on.
#pragma once

#include <gtest/gtest.h>

#include <asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "bridge/Endpoint.h"
#include "bridge/Simulator.h"

// One thread uses an object. The context runs within `until` only.
class Recorder : public bridge::Simulator::Observer {
 public:
  using Make = std::unique_ptr<bridge::Simulator> (*)(asio::io_context&, bridge::Endpoint);

  Recorder(Make make, int port) : simulator(make(context, {"127.0.0.1", std::to_string(port)})) {
    simulator->start(*this);
  }

  // Much longer than anything takes, so that a busy machine fails no test.
  bool until(const std::function<bool()>& condition,
             std::chrono::milliseconds patience = std::chrono::seconds(60)) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      context.restart();
      context.run_one_for(std::chrono::milliseconds(10));
    }
    return true;
  }

  void runFor(std::chrono::milliseconds time) {
    (void)until([] { return false; }, time);
  }

  bool untilConnected() {
    return until([this] { return isConnected; });
  }

  // Follows values and commands, and waits until each is known or told to be unknown.
  bool follow(std::vector<std::string> names, std::vector<bridge::Command> commands = {}) {
    const std::size_t count = names.size();
    const std::size_t commandCount = commands.size();
    values.clear();
    unknown.clear();
    knownCommands.clear();
    unknownCommands.clear();
    simulator->follow(std::move(names), std::move(commands));
    return until([&] {
      return values.size() + unknown.size() == count &&
             knownCommands.size() + unknownCommands.size() == commandCount;
    });
  }

  bool untilValue(std::size_t place, const bridge::Value& value) {
    return until([&] { return values.count(place) > 0 && values[place] == value; });
  }

  std::vector<std::string> namesWith(const std::string& text) {
    std::vector<std::string> names;
    bool isTold = false;
    simulator->listNames(text, [&](std::vector<std::string> found, const std::string&) {
      names = std::move(found);
      isTold = true;
    });
    EXPECT_TRUE(until([&] { return isTold; }));
    return names;
  }

  void onConnected() override { isConnected = true; }
  void onLost(const std::string& reason) override {
    isConnected = false;
    lost.push_back(reason);
    values.clear();
    unknown.clear();
    unknownCommands.clear();
    knownCommands.clear();
  }
  void onAircraft(const std::vector<std::string>& names) override { aircraft = names; }
  void onValue(std::size_t place, const bridge::Value& value) override {
    values[place] = value;
    unknown.erase(place);
    ++told;
  }
  void onValueUnknown(std::size_t place) override {
    values.erase(place);
    unknown.insert(place);
  }
  void onCommandUnknown(std::size_t place) override { unknownCommands.insert(place); }
  void onCommandKnown(std::size_t place) override {
    unknownCommands.erase(place);
    knownCommands.insert(place);
  }
  void onRefused(const std::string& reason) override { refusals.push_back(reason); }

  asio::io_context context;
  bool isConnected = false;
  int told = 0;
  std::vector<std::string> lost;
  std::vector<std::string> aircraft;
  std::vector<std::string> refusals;
  std::map<std::size_t, bridge::Value> values;
  std::set<std::size_t> unknown;
  std::set<std::size_t> unknownCommands;
  std::set<std::size_t> knownCommands;
  std::unique_ptr<bridge::Simulator> simulator;
};
