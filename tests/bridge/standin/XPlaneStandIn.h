// Stands in for X-Plane's web API: REST and WebSocket, 10 updates a second, ids of more than 32
// bits that are others after each start.
//
// Any thread may call.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/bridge/standin/StandInServer.h"

class XPlaneStandIn {
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
  ~XPlaneStandIn();

  int port() const { return number; }

  // Acts as if the program ended; and were started again, at the same port, with other ids. The
  // definitions stay.
  void stop();
  void start();
  void hang();
  void setWays(const Ways& ways);

  // Names. A `value` is JSON as the web API writes it; a text of type `data` is given as it is.
  void define(const std::string& name, const std::string& type, const nlohmann::json& value,
              bool isWritable = true);
  void defineCommand(const std::string& name);
  void remove(const std::string& name);
  void load(const std::string& path, const std::string& icao, const std::string& title);

  // Changes a value from inside. An index that the array doesn't have is an error.
  void set(const std::string& name, const nlohmann::json& value);

  nlohmann::json value(const std::string& name) const;
  int timesRun(const std::string& command) const;  // begins of it
  bool isActive(const std::string& command) const;

  // How many requests have come: "GET /datarefs", "dataref_subscribe_values", ...
  int requests(const std::string& kind) const;

  // When values were last sent, and when a request last came over a WebSocket.
  Time lastUpdate() const;
  Time lastRequest() const;

 private:
  using Lock = std::lock_guard<std::recursive_mutex>;
  using Connection = StandInServer::Connection;

  struct Dataref {
    std::uint64_t id = 0;
    std::string type;
    nlohmann::json value;
    bool isWritable = true;
  };

  struct Command {
    std::uint64_t id = 0;
    int timesRun = 0;
    std::set<Connection> holders = {};
    bool isActive = false;
  };

  struct Subscription {
    std::set<std::size_t> indices;  // empty: the value as a whole
    nlohmann::json sent;            // null: nothing
  };

  struct Client {
    std::map<std::uint64_t, Subscription> values;
    std::map<std::uint64_t, nlohmann::json> commands;  // and what was sent
  };

  // A failure as the API tells it.
  struct Failure {
    int status;
    std::string code;
  };

  StandInServer::Answer answer(const std::string& method, const std::string& resource,
                               const std::string& body);
  StandInServer::Answer list(const std::string& kind, const std::string& query) const;
  StandInServer::Answer valueRequest(const std::string& method, std::uint64_t id,
                                     const std::string& query, const std::string& body);
  void onText(Connection from, const std::string& text);
  void obey(Connection from, const std::string& type, const nlohmann::json& parameters);
  void subscribe(Client& client, const nlohmann::json& entries);
  void unsubscribe(Client& client, const nlohmann::json& entries);
  void setActive(Connection from, const nlohmann::json& entry);
  void write(Dataref& dataref, const nlohmann::json& value, const nlohmann::json& index);
  void sendUpdates();
  nlohmann::json shown(const Dataref& dataref, const Subscription& subscription) const;
  Dataref& byId(const nlohmann::json& id);
  Command& commandById(const nlohmann::json& id);
  void giveIds();

  mutable std::recursive_mutex mutex;
  int number = 0;
  Ways ways;
  std::uint64_t lastId = 1ULL << 40;
  std::map<std::string, Dataref> datarefs;
  std::map<std::string, Command> commands;
  std::map<Connection, Client> clients;
  std::map<std::string, int> counts;
  Time updated;
  Time requested;
  std::unique_ptr<StandInServer> server;
};
