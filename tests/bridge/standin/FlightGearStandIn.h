// Stands in for FlightGear's property server, with its inconvenient traits: it answers between two
// frames; a node that was listened to before tells a listener nothing until it changes; at a high
// rate of frames, or paused, it tells listeners nothing at all; listening creates a node; it leaves
// a list of nodes at one that is not there; and it stops for good at a name that no property can
// have.
//
// Any thread may call.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/bridge/standin/StandInServer.h"

class FlightGearStandIn {
 public:
  FlightGearStandIn();
  ~FlightGearStandIn();

  int port() const { return number; }

  void stop();
  void start();  // at the same port; the properties stay
  void hang();

  // Loses all reports to listeners.
  void loseChanges(bool isLosing);

  // Types are "bool", "double", "string", "unspecified" and "-", whose value is null.
  void define(const std::string& path, const std::string& type, const nlohmann::json& value);
  void remove(const std::string& path);

  bool has(const std::string& path) const;
  nlohmann::json value(const std::string& path) const;
  bool hasStopped() const;  // at a bad name
  int requests(const std::string& command) const;

 private:
  using Lock = std::lock_guard<std::recursive_mutex>;
  using Connection = StandInServer::Connection;

  struct Node {
    std::string type = "-";
    nlohmann::json value;
    std::string told;  // all listeners share the memory of what was told
    std::set<Connection> listeners;
  };

  void drawFrame();
  void obey(Connection from, const nlohmann::json& request);
  void obey(Connection from, const std::string& command, const std::string& path,
            const nlohmann::json& request);
  void run(const nlohmann::json& request);
  void setNode(Node& node, const nlohmann::json& value);
  std::string report(const std::string& path, const Node& node) const;
  std::string tree() const;

  mutable std::recursive_mutex mutex;
  int number = 0;
  bool isLosing = false;
  bool isStopped = false;
  std::map<std::string, Node> nodes;
  std::map<std::string, int> counts;
  std::vector<std::pair<Connection, nlohmann::json>> waiting;  // for the end of the frame
  std::unique_ptr<StandInServer> server;
};
