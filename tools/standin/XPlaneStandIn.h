// Stands in for X-Plane's web API as far as the bridge uses it: REST and WebSocket, 10 updates a
// second, ids of more than 32 bits that are others after each start.
//
// Any thread may call.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "tools/standin/StandInServer.h"

class XPlaneStandIn : public StandInServer {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // The differences between its versions and settings.
  struct Ways {
    bool failsWholeLists = true;      // for one unknown name in it
    bool hasVersion2 = true;          // without it there are no commands and no capabilities
    bool isIncomingDisabled = false;  // answers everything with 403
    bool listsOneIndex = true;        // a single index comes as a list of one
    bool repeatsResults = false;      // gives the result of a write twice
    bool answersWithNull = false;     // to a list of names of which it knows none
    bool isSocketDead = false;        // WebSockets stay open and are not answered, REST is
  };

  // Has no aircraft yet. Any free port if it is 0.
  explicit XPlaneStandIn(int port = 0);
  ~XPlaneStandIn() override { stop(); }

  void setWays(const Ways& given) {
    const Lock lock(mutex);
    ways = given;
  }

  // Names. A `value` is JSON as the web API writes it; a text of type `data` is given as it is.
  void define(const std::string& name, const std::string& type, const nlohmann::json& value,
              bool isWritable = true);
  void defineCommand(const std::string& name);
  void remove(const std::string& name);
  void load(const std::string& path, const std::string& icao, const std::string& title);

  // Changes a value from inside.
  void set(const std::string& name, const nlohmann::json& value);

  nlohmann::json value(const std::string& name) const { return read(datarefs).at(name).value; }
  int timesRun(const std::string& command) const { return read(commands).at(command).timesRun; }
  bool isActive(const std::string& command) const { return read(commands).at(command).isActive(); }

  // How many requests have come: "GET /datarefs", "dataref_subscribe_values", ...
  int requests(const std::string& kind) {
    const Lock lock(mutex);
    return counts[kind];
  }

  // When values were last sent, and when a request last came over a WebSocket.
  Time lastUpdate() const { return read(updated); }
  Time lastRequest() const { return read(requested); }

 private:
  struct Dataref {
    std::uint64_t id = 0;
    std::string type;
    nlohmann::json value;
    bool isWritable = true;
  };

  struct Command {
    bool isActive() const { return !holders.empty(); }

    std::uint64_t id = 0;
    int timesRun = 0;
    Connections holders = {};
  };

  struct Subscription {
    std::set<std::size_t> indices;  // empty: the value as a whole
    nlohmann::json sent;            // null: nothing
  };
  using Client = std::map<std::uint64_t, Subscription>;

  Answer onRequest(const std::string& resource) override;
  bool mayOpen(const std::string& resource) override;
  void onText(const Connection& from, const nlohmann::json& request) override;
  void onClosed(const Connection& gone) override;
  void onFrame() override;
  void onStopped() override;

  Answer list(const std::string& kind, const std::set<std::string>& names) const;
  void obey(const Connection& from, const std::string& type, const nlohmann::json& parameters);
  void subscribe(Client& client, const nlohmann::json& entries);
  void setActive(const Connection& from, const nlohmann::json& entry);
  void write(const nlohmann::json& entry);
  nlohmann::json shown(const Dataref& dataref, const Subscription& subscription) const;

  Ways ways;
  std::uint64_t lastId = 1ULL << 40;
  std::map<std::string, Dataref> datarefs;
  std::map<std::string, Command> commands;
  std::map<Connection, Client, std::owner_less<>> clients;
  std::map<std::string, int> counts;
  Time updated;
  Time requested;
};
