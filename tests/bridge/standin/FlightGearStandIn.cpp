#include "tests/bridge/standin/FlightGearStandIn.h"

#include <cmath>
#include <regex>

using nlohmann::json;
using Answer = StandInServer::Answer;

namespace {

constexpr std::chrono::milliseconds kFrame{66};

// The path as it is reported. Throws if no property can have it.
std::string reportedPath(const std::string& path) {
  static const std::regex kNames(R"(/*([A-Za-z_][\w.-]*(\[\d+\])?(/+|$))*)");
  static const std::regex kFirst(R"(\[0\])");
  if (path.empty() || !std::regex_match(path, kNames)) throw std::invalid_argument(path);
  return (path.front() == '/' ? "" : "/") + std::regex_replace(path, kFirst, "");
}

// The server itself writes numbers that JSON has no word for.
std::string written(const json& value) {
  if (!value.is_number_float()) return value.dump();
  const double number = value.get<double>();
  if (std::isinf(number)) return "inf";
  return std::isnan(number) ? "null" : std::to_string(number);
}

}  // namespace

FlightGearStandIn::FlightGearStandIn() {
  define("/sim/aircraft-id", "string", "c172p");
  define("/sim/description", "unspecified", "Cessna 172P");
  define("/sim/freeze/clock", "bool", false);
  define("/sim", "-", nullptr);
  start();
}

FlightGearStandIn::~FlightGearStandIn() {
  stop();
}

void FlightGearStandIn::stop() {
  if (server) server->stop();
  server.reset();
  const Lock lock(mutex);
  for (auto& [path, node] : nodes) {
    node.listeners.clear();
    node.told.clear();
  }
  waiting.clear();
}

void FlightGearStandIn::start() {
  StandInServer::Handlers handlers;
  handlers.request = [this](const std::string&, const std::string& resource, const std::string&) {
    const Lock lock(mutex);
    return resource == "/json/?d=100" ? Answer{200, tree()} : Answer{404, "{}"};
  };
  handlers.mayOpen = [](const std::string& resource) { return resource == "/PropertyListener"; };
  handlers.opened = [](Connection) {};
  handlers.text = [this](Connection from, const std::string& text) {
    const Lock lock(mutex);
    waiting.emplace_back(from, json::parse(text, nullptr, false));
  };
  handlers.closed = [this](Connection gone) {
    const Lock lock(mutex);
    for (auto& [path, node] : nodes) node.listeners.erase(gone);
  };
  handlers.frame = [this] { drawFrame(); };
  server = std::make_unique<StandInServer>(std::move(handlers), number, kFrame);
  number = server->port();
  server->start();
}

void FlightGearStandIn::hang() {
  server->hang();
}

void FlightGearStandIn::loseChanges(bool isLosingThem) {
  const Lock lock(mutex);
  isLosing = isLosingThem;
}

void FlightGearStandIn::define(const std::string& path, const std::string& type,
                               const json& value) {
  const Lock lock(mutex);
  nodes[path].type = type;
  nodes[path].value = value;
}

void FlightGearStandIn::remove(const std::string& path) {
  const Lock lock(mutex);
  nodes.erase(path);
}

bool FlightGearStandIn::has(const std::string& path) const {
  const Lock lock(mutex);
  return nodes.count(path) > 0;
}

json FlightGearStandIn::value(const std::string& path) const {
  const Lock lock(mutex);
  return nodes.at(path).value;
}

bool FlightGearStandIn::hasStopped() const {
  const Lock lock(mutex);
  return isStopped;
}

int FlightGearStandIn::requests(const std::string& command) const {
  const Lock lock(mutex);
  const auto found = counts.find(command);
  return found == counts.end() ? 0 : found->second;
}

void FlightGearStandIn::drawFrame() {
  const Lock lock(mutex);
  if (isStopped) return;
  try {
    for (const auto& [from, request] : std::exchange(waiting, {})) obey(from, request);
  } catch (const std::exception&) {
    isStopped = true;
  }
  const bool isPaused = nodes["/sim/freeze/clock"].value == true;
  for (auto& [path, node] : nodes) {
    if (node.listeners.empty() || node.type == "-") continue;
    const std::string now = report(path, node);
    if (std::exchange(node.told, now) == now || isPaused || isLosing) continue;
    for (const Connection listener : node.listeners) server->send(listener, now);
  }
}

void FlightGearStandIn::obey(Connection from, const json& request) {
  if (!request.is_object()) return;
  const std::string command = request.value("command", "");
  ++counts[command];
  if (command == "exec") return run(request);
  if (request.contains("node")) obey(from, command, request["node"], request);
  for (const auto& path : request.value("nodes", json::array())) {
    if (command == "get" && !has(reportedPath(path))) return;  // it leaves a list there
    obey(from, command, path, request);
  }
}

void FlightGearStandIn::obey(Connection from, const std::string& command, const std::string& path,
                             const json& request) {
  const std::string name = reportedPath(path);
  if (command == "removeListener") {
    const auto node = nodes.find(path);
    if (node != nodes.end()) node->second.listeners.erase(from);
    return;
  }
  if (command == "addListener") {
    nodes[name].listeners.insert(from);
    return;
  }
  const auto node = nodes.find(name);
  if (node == nodes.end()) return;
  if (command == "get") server->send(from, report(name, node->second));
  if (command == "set") setNode(node->second, request.at("value"));
}

void FlightGearStandIn::run(const json& request) {
  std::map<std::string, json> arguments;
  for (const auto& child : request.value("children", json::array())) {
    arguments[child.at("name")] = child.at("value");
  }
  const std::string command = request.at("fgcommand");
  if (command == "pause") {
    Node& clock = nodes["/sim/freeze/clock"];
    setNode(clock, clock.value != true);
    return;
  }
  Node& node = nodes[reportedPath(arguments["property"])];
  if (command == "property-toggle") setNode(node, node.value != true);
  if (command == "property-assign") setNode(node, arguments["value"]);
  if (command == "property-adjust") {
    setNode(node, (node.value.is_null() ? 0.0 : node.value.get<double>()) +
                      arguments["step"].get<double>());
  }
}

void FlightGearStandIn::setNode(Node& node, const json& value) {
  if (node.type == "-") node.type = value.is_string() ? "string" : "double";
  if (node.type == "bool") {
    node.value = value == true || value == 1 || value == "true" || value == "1";
  } else if (node.type == "double") {
    node.value = value.is_string() ? std::strtod(value.get<std::string>().c_str(), nullptr)
                                   : value.get<double>();
  } else {
    node.value = value.is_string() ? value.get<std::string>() : written(value);
  }
}

std::string FlightGearStandIn::report(const std::string& path, const Node& node) const {
  const bool isBranch = nodes.lower_bound(path + "/") != nodes.lower_bound(path + "0");
  std::string text = R"({"path":)" + json(path).dump();
  if (node.type != "-") text += R"(,"value":)" + written(node.value);
  return text + R"(,"type":")" + node.type + R"(","index":0,"ts":1.5,"nChildren":)" +
         (isBranch ? "1}" : "0}");
}

std::string FlightGearStandIn::tree() const {
  std::string text;
  for (const auto& [path, node] : nodes) {
    text += (text.empty() ? "" : ",") + report(path, node);
  }
  return R"({"path":"","type":"-","children":[)" + text + "]}";
}
