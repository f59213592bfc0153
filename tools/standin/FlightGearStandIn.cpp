#include "tools/standin/FlightGearStandIn.h"

#include <cmath>
#include <regex>
#include <set>

using nlohmann::json;

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

FlightGearStandIn::FlightGearStandIn() : StandInServer(0, kFrame) {
  define("/sim/aircraft-id", "string", "c172p");
  define("/sim/description", "unspecified", "Cessna 172P");
  define("/sim/freeze/clock", "bool", false);
  define("/sim", "-", nullptr);
  start();
}

// The one request is for the whole tree.
StandInServer::Answer FlightGearStandIn::onRequest(const std::string& resource) {
  if (resource != "/json/?d=100") return {404, "{}"};
  std::string text;
  for (const auto& [path, node] : nodes) text += (text.empty() ? "" : ",") + report(path, node);
  return {200, R"({"path":"","type":"-","children":[)" + text + "]}"};
}

void FlightGearStandIn::onText(const Connection& from, const json& text) {
  waiting.emplace_back(from, text);
}

void FlightGearStandIn::onClosed(const Connection& gone) {
  for (auto& [path, node] : nodes) node.listeners.erase(gone);
}

void FlightGearStandIn::onStopped() {
  for (auto& [path, node] : nodes) {
    node.listeners.clear();
    node.told.clear();
  }
  waiting.clear();
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

void FlightGearStandIn::onFrame() {
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
    for (const Connection& listener : node.listeners) send(listener, now);
  }
}

void FlightGearStandIn::obey(const Connection& from, const json& request) {
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

void FlightGearStandIn::obey(const Connection& from, const std::string& command,
                             const std::string& path, const json& request) {
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
  if (command == "get") send(from, report(name, node->second));
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
    static const std::set<json> kTrue{true, 1, "true", "1"};
    node.value = kTrue.count(value) != 0;
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
