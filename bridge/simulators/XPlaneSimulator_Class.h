// The simulator that makeXPlane makes. Its operations are in three files: the connection in
// XPlaneSimulator.cpp, names and subscriptions in XPlaneSimulator_Names.cpp, and values and
// commands in XPlaneSimulator_Values.cpp.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "bridge/simulators/RemoteSimulator.h"
#include "bridge/simulators/RestClient.h"
#include "bridge/simulators/Timer.h"
#include "bridge/simulators/XPlaneNames.h"
#include "bridge/simulators/XPlaneSocket.h"
#include "bridge/simulators/XPlaneValues.h"

namespace bridge {

class XPlaneSimulator final : public RemoteSimulator {
 public:
  XPlaneSimulator(asio::io_context& owner, const Endpoint& given);

  void follow(std::vector<std::string> values, std::vector<Command> given) override;
  void write(const std::string& name, const Value& value) override;
  void run(const Command& command) override;
  void hold(const Command& command) override;
  void release(const Command& command) override;
  void listNames(const std::string& pattern, Names done) override;

 private:
  // The aircraft's names, the most exact first.
  static constexpr const char* kAircraftNames[] = {"sim/aircraft/view/acf_relative_path",
                                                   "sim/aircraft/view/acf_ICAO",
                                                   "sim/aircraft/view/acf_ui_name"};

  // A value that the observer follows.
  struct Followed {
    std::size_t place;
    XPlaneElement element;
    std::optional<Value> value = std::nullopt;  // as told last
    Told told = Told::Nothing;
    bool isUnknown = false;  // X-Plane doesn't know the name, or has no such element
  };

  // One dataref, with everything that follows it.
  struct Dataref {
    std::optional<XPlaneName> known;
    bool isCurrent = false;            // known since the aircraft was loaded
    bool isAircraft = false;           // one of the aircraft's names
    bool isAsked = false;              // subscribed, or refused: not to be asked for again
    std::vector<std::size_t> indices;  // ascending; empty: the value as a whole
    std::vector<Value> values;         // one of each index, or the whole; empty: none has come
    std::vector<Followed> followers;
  };

  struct FollowedCommand {
    std::optional<XPlaneName> known;
    bool isCurrent = false;
    bool isUnknown = false;
    Told told = Told::Nothing;
    std::vector<std::size_t> places;
  };

  // The connection.
  void connect() override;
  void onOpened();
  void watch();
  void askSocket(std::uint64_t id);
  void askServer();
  void fail(const std::string& reason);
  void forgetAll();

  // The names of values and commands.
  void searchAll();
  void search();
  void takeDatarefs(const XPlaneNames& names);
  void takeCommands(const XPlaneNames& names);
  void prepare(Dataref& dataref);
  void onSearched();

  // Subscriptions.
  void subscribe();
  void subscribe(const std::vector<std::string>& names);
  void onRefusedSubscription(const std::vector<std::string>& names);
  void findLength(const std::string& name);
  void keepIndicesBelow(Dataref& dataref, std::size_t length);

  // Telling the observer.
  void onUpdate(const nlohmann::json& values);
  void tellAircraft();
  void tellAll();
  void tell(const Dataref& dataref, Followed& followed);
  void tell(FollowedCommand& command);

  // Requests to X-Plane.

  // The command's id. nullopt: X-Plane doesn't know it; the observer has been told so.
  std::optional<std::uint64_t> idOf(const Command& command);
  void activate(const std::string& name, nlohmann::json entry);
  std::string path(const std::string& end) const { return "/api/" + version + end; }
  bool hasCommands() const { return version != "v1"; }

  RestClient rest;
  std::unique_ptr<RestClient> lists;  // of all names; isn't told to forget. Made when first needed
  Timer nextSearch;
  Timer quiet;

  std::map<std::string, Dataref> datarefs;  // those that are followed, and the aircraft's names
  std::map<std::string, FollowedCommand> commands;

  // The state of the connection.
  bool isOpen = false;
  bool isConnected = false;  // the aircraft is known
  std::string version;
  unsigned subscription = 0;  // counts, so that the answers to an older one are recognised
  int openSearches = 0;
  std::chrono::steady_clock::time_point lastHeard;
  std::map<std::uint64_t, std::string> namesById;  // of subscribed datarefs
  std::map<std::string, std::uint64_t> held;       // commands, by name
  std::vector<std::string> aircraft;

  XPlaneSocket socket;
};

}  // namespace bridge
