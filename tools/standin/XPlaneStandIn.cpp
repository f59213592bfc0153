#include "tools/standin/XPlaneStandIn.h"

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <websocketpp/base64/base64.hpp>

using nlohmann::json;

namespace {

constexpr std::chrono::milliseconds kUpdatePause{100};
constexpr std::size_t kTextLength = 40;  // bytes; zeros fill it up
constexpr double kLongestDuration = 10;  // s

// Why a request over the WebSocket failed, as the API tells it.
struct Failure {
  std::string code;
};

bool isArray(const std::string& type) {
  return type == "int_array" || type == "float_array";
}

json asWritten(const std::string& type, const json& value) {
  if (type != "data") return value;
  std::string text = value.get<std::string>();
  text.resize(std::max(text.size(), kTextLength));
  return websocketpp::base64_encode(text);
}

std::string withoutPercents(const std::string& text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      plain += static_cast<char>(std::strtol(text.substr(i + 1, 2).c_str(), nullptr, 16));
      i += 2;
    } else {
      plain += text[i];
    }
  }
  return plain;
}

// The names in "filter[name]=a&filter[name]=b".
std::set<std::string> filteredNames(const std::string& query) {
  constexpr char kFilter[] = "filter[name]=";
  std::set<std::string> names;
  for (std::size_t at = 0; at < query.size();) {
    const std::size_t end = std::min(query.find('&', at), query.size());
    const std::string one = withoutPercents(query.substr(at, end - at));
    if (one.rfind(kFilter, 0) == 0) names.insert(one.substr(sizeof kFilter - 1));
    at = end + 1;
  }
  return names;
}

// The one of that id.
template <typename Named>
Named& byId(std::map<std::string, Named>& all, const json& id, const char* otherwise) {
  for (auto& [name, one] : all) {
    if (one.id == id) return one;
  }
  throw Failure{otherwise};
}

json failure(const std::string& code) {
  return {{"error_code", code}, {"error_message", "It is " + code}};
}

}  // namespace

XPlaneStandIn::XPlaneStandIn(int port) : StandInServer(port, kUpdatePause) {
  start();
}

void XPlaneStandIn::onStopped() {
  clients.clear();
  lastId += 1000;
  for (auto& [name, dataref] : datarefs) dataref.id = ++lastId;
  for (auto& [name, command] : commands) command = {++lastId};
}

void XPlaneStandIn::define(const std::string& name, const std::string& type, const json& value,
                           bool isWritable) {
  const Lock lock(mutex);
  datarefs[name] = {++lastId, type, asWritten(type, value), isWritable};
}

void XPlaneStandIn::defineCommand(const std::string& name) {
  const Lock lock(mutex);
  commands[name] = {++lastId};
}

void XPlaneStandIn::remove(const std::string& name) {
  const Lock lock(mutex);
  datarefs.erase(name);
  commands.erase(name);
}

void XPlaneStandIn::load(const std::string& path, const std::string& icao,
                         const std::string& title) {
  const std::pair<const char*, std::string> names[] = {
      {"sim/aircraft/view/acf_relative_path", path},
      {"sim/aircraft/view/acf_ICAO", icao},
      {"sim/aircraft/view/acf_ui_name", title}};
  const Lock lock(mutex);
  for (const auto& [name, text] : names) {
    if (datarefs.count(name) == 0) define(name, "data", "", false);
    set(name, text);
  }
}

void XPlaneStandIn::set(const std::string& name, const json& value) {
  const Lock lock(mutex);
  Dataref& dataref = datarefs.at(name);
  dataref.value = asWritten(dataref.type, value);
}

// ---- REST

StandInServer::Answer XPlaneStandIn::onRequest(const std::string& resource) {
  if (ways.isIncomingDisabled) return {403, failure("incoming_traffic_disabled").dump()};
  const std::size_t mark = std::min(resource.find('?'), resource.size());
  const std::string path = resource.substr(0, mark);
  if (path == "/api/capabilities" && ways.hasVersion2) {
    return {200, R"({"api":{"versions":["v1","v2"]},"x-plane":{"version":"12.1.4"}})"};
  }
  const std::string base = ways.hasVersion2 ? "/api/v2" : "/api/v1";
  for (const char* kind : {"/datarefs", "/commands"}) {
    if (path != base + kind || path == "/api/v1/commands") continue;
    ++counts[std::string("GET ") + kind];
    return list(kind, filteredNames(resource.substr(std::min(mark + 1, resource.size()))));
  }
  for (const auto& [name, dataref] : datarefs) {
    if (path != base + "/datarefs/" + std::to_string(dataref.id) + "/value") continue;
    return {200, json({{"data", dataref.value}}).dump()};
  }
  return {404, failure("not_found").dump()};
}

StandInServer::Answer XPlaneStandIn::list(const std::string& kind,
                                          const std::set<std::string>& names) const {
  const bool isOfValues = kind == "/datarefs";
  const auto isAsked = [&](const auto& entry) {
    return names.empty() || names.count(entry.first) > 0;
  };
  json found = json::array();
  for (const auto& entry : datarefs) {
    if (!isOfValues || !isAsked(entry)) continue;
    const auto& [name, dataref] = entry;
    found.push_back({{"id", dataref.id}, {"name", name}, {"value_type", dataref.type}});
  }
  for (const auto& entry : commands) {
    if (isOfValues || !isAsked(entry)) continue;
    const auto& [name, command] = entry;
    found.push_back({{"id", command.id}, {"name", name}, {"description", "It is run"}});
  }
  if (found.empty() && ways.answersWithNull) return {200, "null"};
  if (ways.failsWholeLists ? found.size() < names.size() : found.empty()) {
    return {404, failure(isOfValues ? "invalid_dataref_name" : "invalid_command_name").dump()};
  }
  return {200, json({{"data", found}}).dump()};
}

// ---- WebSocket

bool XPlaneStandIn::mayOpen(const std::string& resource) {
  return !ways.isIncomingDisabled && resource == (ways.hasVersion2 ? "/api/v2" : "/api/v1");
}

void XPlaneStandIn::onClosed(const Connection& gone) {
  clients.erase(gone);
  for (auto& [name, command] : commands) command.holders.erase(gone);
}

void XPlaneStandIn::onText(const Connection& from, const json& request) {
  if (ways.isSocketDead) return;
  requested = std::chrono::steady_clock::now();
  if (!request.is_object() || !request.contains("req_id")) return;
  json result = {{"success", true}};
  const std::string type = request.value("type", "");
  ++counts[type];
  try {
    obey(from, type, request.at("params"));
  } catch (const Failure& failed) {
    result = failure(failed.code);
  } catch (const json::exception&) {
    result = failure("bad_request");
  }
  result.update({{"req_id", request["req_id"]}, {"type", "result"}});
  result.emplace("success", false);
  send(from, result.dump());
  if (ways.repeatsResults && type == "dataref_set_values") send(from, result.dump());
}

void XPlaneStandIn::obey(const Connection& from, const std::string& type, const json& parameters) {
  Client& client = clients[from];
  if (type == "dataref_subscribe_values") {
    subscribe(client, parameters.at("datarefs"));
  } else if (type == "dataref_unsubscribe_values" && parameters.at("datarefs") == "all") {
    client.clear();
  } else if (type == "dataref_set_values") {
    for (const auto& entry : parameters.at("datarefs")) write(entry);
  } else if (ways.hasVersion2 && type == "command_set_is_active") {
    for (const auto& entry : parameters.at("commands")) setActive(from, entry);
  } else {
    throw Failure{"unknown_type"};
  }
}

void XPlaneStandIn::subscribe(Client& client, const json& entries) {
  Client wanted;
  for (const auto& entry : entries) {
    const Dataref& dataref = byId(datarefs, entry.at("id"), "invalid_dataref_id");
    auto& indices = wanted[dataref.id].indices;
    for (const std::size_t index : entry.value("index", json::array())) {
      if (!isArray(dataref.type) || index >= dataref.value.size()) {
        throw Failure{"invalid_dataref_index"};
      }
      indices.insert(index);
    }
  }
  for (const auto& [id, subscription] : wanted) {
    client[id].indices.insert(subscription.indices.begin(), subscription.indices.end());
    client[id].sent = nullptr;
  }
}

// A command with a duration of 0 is pressed and released, one without a duration is held.
void XPlaneStandIn::setActive(const Connection& from, const json& entry) {
  Command& command = byId(commands, entry.at("id"), "invalid_command_id");
  const json duration = entry.value("duration", json());
  if (entry.at("is_active") == false) {
    command.holders.erase(from);
  } else {
    if (duration.is_number() && duration > kLongestDuration) throw Failure{"invalid_duration"};
    ++command.timesRun;
    if (duration.is_null()) command.holders.insert(from);
  }
}

void XPlaneStandIn::write(const json& entry) {
  Dataref& dataref = byId(datarefs, entry.at("id"), "invalid_dataref_id");
  const json& value = entry.at("value");
  const json index = entry.value("index", json());
  if (!dataref.isWritable) throw Failure{"dataref_is_readonly"};
  const bool isText = dataref.type == "data";
  const bool isWhole = dataref.type.rfind("int", 0) == 0;
  if (isText ? !value.is_string() : isWhole ? !value.is_number_integer() : !value.is_number()) {
    throw Failure{"invalid_value"};
  }
  if (!isArray(dataref.type)) {
    dataref.value = isText ? asWritten("data", websocketpp::base64_decode(value)) : value;
  } else if (index.is_null() || index >= dataref.value.size()) {
    throw Failure{"invalid_dataref_index"};
  } else {
    dataref.value[index.get<std::size_t>()] = value;
  }
}

void XPlaneStandIn::onFrame() {
  if (ways.isSocketDead) return;
  for (auto& [connection, client] : clients) {
    json values = json::object();
    for (const auto& [name, dataref] : datarefs) {
      const auto subscription = client.find(dataref.id);
      if (subscription == client.end()) continue;
      const json now = shown(dataref, subscription->second);
      if (std::exchange(subscription->second.sent, now) != now) {
        values[std::to_string(dataref.id)] = now;
      }
    }
    if (values.empty()) continue;
    updated = std::chrono::steady_clock::now();
    send(connection, json({{"type", "dataref_update_values"}, {"data", values}}).dump());
  }
}

json XPlaneStandIn::shown(const Dataref& dataref, const Subscription& subscription) const {
  if (subscription.indices.empty()) return dataref.value;
  json list = json::array();
  for (const std::size_t index : subscription.indices) list.push_back(dataref.value.at(index));
  return list.size() == 1 && !ways.listsOneIndex ? list.front() : list;
}
