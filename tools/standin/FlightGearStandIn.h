// Stands in for FlightGear's property server, with its inconvenient traits: it answers between two
// frames; a node that was listened to before tells a listener nothing until it changes; at a high
// rate of frames, or paused, it tells listeners nothing at all; listening creates a node; it leaves
// a list of nodes at one that is not there; and it stops for good at a name that no property can
// have.
//
// Any thread may call.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tools/standin/StandInServer.h"

class FlightGearStandIn : public StandInServer {
 public:
  FlightGearStandIn();
  ~FlightGearStandIn() override { stop(); }

  // Loses all reports to listeners.
  void loseChanges(bool isLosingThem) {
    const Lock lock(mutex);
    isLosing = isLosingThem;
  }

  // Types are "bool", "double", "string", "unspecified" and "-", whose value is null.
  void define(const std::string& path, const std::string& type, const nlohmann::json& value);
  void remove(const std::string& path);

  bool has(const std::string& path) const { return read(nodes).count(path) > 0; }
  nlohmann::json value(const std::string& path) const { return read(nodes).at(path).value; }
  bool hasStopped() const { return read(isStopped); }  // at a bad name
  int requests(const std::string& command) {
    const Lock lock(mutex);
    return counts[command];
  }

 private:
  struct Node {
    std::string type = "-";
    nlohmann::json value;
    std::string told;  // all listeners share the memory of what was told
    Connections listeners;
  };

  Answer onRequest(const std::string& resource) override;
  bool mayOpen(const std::string& resource) override { return resource == "/PropertyListener"; }
  void onText(const Connection& from, const nlohmann::json& text) override;
  void onClosed(const Connection& gone) override;
  void onFrame() override;
  void onStopped() override;

  void obey(const Connection& from, const nlohmann::json& request);
  void obey(const Connection& from, const std::string& command, const std::string& path,
            const nlohmann::json& request);
  void run(const nlohmann::json& request);
  void setNode(Node& node, const nlohmann::json& value);
  std::string report(const std::string& path, const Node& node) const;

  bool isLosing = false;
  bool isStopped = false;
  std::map<std::string, Node> nodes;
  std::map<std::string, int> counts;
  std::vector<std::pair<Connection, nlohmann::json>> waiting;  // for the end of the frame
};
