#include "tests/bridge/standin/XPlaneStandIn.h"

#include <algorithm>
#include <cstdlib>
#include <utility>
#include <websocketpp/base64/base64.hpp>

using nlohmann::json;
using Answer = StandInServer::Answer;

namespace {

constexpr std::chrono::milliseconds kUpdatePause{100};
constexpr std::size_t kTextLength = 40;  // bytes; zeros fill it up
constexpr double kLongestDuration = 10;  // s

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

// The values of a parameter in "a=1&b=2&a=3".
std::vector<std::string> parameters(const std::string& query, const std::string& name) {
  std::vector<std::string> values;
  for (std::size_t at = 0; at < query.size();) {
    const std::size_t end = std::min(query.find('&', at), query.size());
    const std::string one = withoutPercents(query.substr(at, end - at));
    if (one.rfind(name + "=", 0) == 0) values.push_back(one.substr(name.size() + 1));
    at = end + 1;
  }
  return values;
}

Answer failure(int status, const std::string& code) {
  return {status, json({{"error_code", code}, {"error_message", "It is " + code}}).dump()};
}

}  // namespace

XPlaneStandIn::XPlaneStandIn(int port) : number(port) {
  start();
}

XPlaneStandIn::~XPlaneStandIn() {
  stop();
}

void XPlaneStandIn::stop() {
  if (server) server->stop();
  server.reset();
  const Lock lock(mutex);
  clients.clear();
}

void XPlaneStandIn::start() {
  giveIds();
  StandInServer::Handlers handlers;
  handlers.request = [this](const std::string& method, const std::string& resource,
                            const std::string& body) { return answer(method, resource, body); };
  handlers.mayOpen = [this](const std::string& resource) {
    const Lock lock(mutex);
    return !ways.isIncomingDisabled && resource == (ways.hasVersion2 ? "/api/v2" : "/api/v1");
  };
  handlers.opened = [this](Connection made) {
    const Lock lock(mutex);
    clients[made];
  };
  handlers.text = [this](Connection from, const std::string& text) { onText(from, text); };
  handlers.closed = [this](Connection gone) {
    const Lock lock(mutex);
    clients.erase(gone);
    for (auto& [name, command] : commands) {
      if (command.holders.erase(gone) > 0) command.isActive = !command.holders.empty();
    }
  };
  handlers.frame = [this] { sendUpdates(); };
  server = std::make_unique<StandInServer>(std::move(handlers), number, kUpdatePause);
  number = server->port();
  server->start();
}

void XPlaneStandIn::hang() {
  server->hang();
}

void XPlaneStandIn::setWays(const Ways& given) {
  const Lock lock(mutex);
  ways = given;
}

void XPlaneStandIn::giveIds() {
  const Lock lock(mutex);
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

json XPlaneStandIn::value(const std::string& name) const {
  const Lock lock(mutex);
  return datarefs.at(name).value;
}

int XPlaneStandIn::timesRun(const std::string& command) const {
  const Lock lock(mutex);
  return commands.at(command).timesRun;
}

bool XPlaneStandIn::isActive(const std::string& command) const {
  const Lock lock(mutex);
  return commands.at(command).isActive;
}

int XPlaneStandIn::requests(const std::string& kind) const {
  const Lock lock(mutex);
  const auto found = counts.find(kind);
  return found == counts.end() ? 0 : found->second;
}

XPlaneStandIn::Time XPlaneStandIn::lastUpdate() const {
  const Lock lock(mutex);
  return updated;
}

XPlaneStandIn::Time XPlaneStandIn::lastRequest() const {
  const Lock lock(mutex);
  return requested;
}

// ---- REST

Answer XPlaneStandIn::answer(const std::string& method, const std::string& resource,
                             const std::string& body) {
  const Lock lock(mutex);
  const std::size_t mark = std::min(resource.find('?'), resource.size());
  const std::string path = resource.substr(0, mark);
  const std::string query = mark < resource.size() ? resource.substr(mark + 1) : "";
  if (ways.isIncomingDisabled) return failure(403, "incoming_traffic_disabled");
  if (path == "/api/capabilities" && ways.hasVersion2) {
    return {200, R"({"api":{"versions":["v1","v2"]},"x-plane":{"version":"12.1.4"}})"};
  }
  const std::string base = ways.hasVersion2 ? "/api/v2" : "/api/v1";
  if (path.rfind(base + "/", 0) != 0) return failure(404, "not_found");
  const std::string rest = path.substr(base.size());
  if (rest == "/datarefs" || (rest == "/commands" && ways.hasVersion2)) {
    ++counts[method + " " + rest];
    return list(rest, query);
  }
  const std::size_t number_ = rest.find_first_of("0123456789");
  const std::uint64_t id =
      number_ == std::string::npos ? 0 : std::strtoull(rest.c_str() + number_, nullptr, 10);
  try {
    const std::string text = std::to_string(id);
    if (rest == "/datarefs/" + text + "/value") return valueRequest(method, id, query, body);
    if (rest == "/command/" + text + "/activate" && method == "POST" && ways.hasVersion2) {
      if (json::parse(body).at("duration") > kLongestDuration)
        return failure(400, "invalid_duration");
      ++commandById(id).timesRun;
      return {200, "null"};
    }
  } catch (const Failure& failed) {
    return failure(failed.status, failed.code);
  } catch (const json::exception&) {
    return failure(400, "bad_request");
  }
  return failure(404, "not_found");
}

Answer XPlaneStandIn::list(const std::string& kind, const std::string& query) const {
  const bool isOfValues = kind == "/datarefs";
  std::vector<std::string> names = parameters(query, "filter[name]");
  if (names.empty()) {
    for (const auto& [name, dataref] : datarefs) {
      if (isOfValues) names.push_back(name);
    }
    for (const auto& [name, command] : commands) {
      if (!isOfValues) names.push_back(name);
    }
  }
  json found = json::array();
  for (const auto& name : names) {
    if (const auto dataref = datarefs.find(name); isOfValues && dataref != datarefs.end()) {
      found.push_back(
          {{"id", dataref->second.id}, {"name", name}, {"value_type", dataref->second.type}});
    }
    if (const auto command = commands.find(name); !isOfValues && command != commands.end()) {
      found.push_back({{"id", command->second.id}, {"name", name}, {"description", "It is run"}});
    }
  }
  const bool isFailure = ways.failsWholeLists ? found.size() < names.size() : found.empty();
  if (found.empty() && ways.answersWithNull) return {200, "null"};
  if (isFailure) return failure(404, isOfValues ? "invalid_dataref_name" : "invalid_command_name");
  return {200, json({{"data", found}}).dump()};
}

Answer XPlaneStandIn::valueRequest(const std::string& method, std::uint64_t id,
                                   const std::string& query, const std::string& body) {
  ++counts[method + " value"];
  Dataref& dataref = byId(id);
  const auto given = parameters(query, "index");
  const json index = given.empty() ? json() : json(std::stoul(given.front()));
  if (method == "PATCH") {
    write(dataref, json::parse(body).at("data"), index);
    return {200, ""};
  }
  if (index.is_null()) return {200, json({{"data", dataref.value}}).dump()};
  if (index >= dataref.value.size()) throw Failure{404, "invalid_dataref_index"};
  return {200, json({{"data", dataref.value.at(index.get<std::size_t>())}}).dump()};
}

// ---- WebSocket

void XPlaneStandIn::onText(Connection from, const std::string& text) {
  const Lock lock(mutex);
  if (ways.isSocketDead) return;
  requested = std::chrono::steady_clock::now();
  const json request = json::parse(text, nullptr, false);
  if (!request.is_object() || !request.contains("req_id")) return;
  json result = {{"req_id", request["req_id"]}, {"type", "result"}, {"success", true}};
  const std::string type = request.value("type", "");
  ++counts[type];
  const auto fail = [&](const std::string& code) {
    result["success"] = false;
    result["error_code"] = code;
    result["error_message"] = "It is " + code;
  };
  try {
    obey(from, type, request.at("params"));
  } catch (const Failure& failed) {
    fail(failed.code);
  } catch (const json::exception&) {
    fail("bad_request");
  }
  server->send(from, result.dump());
  if (ways.repeatsResults && type == "dataref_set_values") server->send(from, result.dump());
}

void XPlaneStandIn::obey(Connection from, const std::string& type, const json& parameters) {
  Client& client = clients[from];
  if (type == "dataref_subscribe_values") return subscribe(client, parameters.at("datarefs"));
  if (type == "dataref_unsubscribe_values") return unsubscribe(client, parameters.at("datarefs"));
  if (type == "dataref_set_values") {
    for (const auto& entry : parameters.at("datarefs")) {
      write(byId(entry.at("id")), entry.at("value"), entry.value("index", json()));
    }
    return;
  }
  if (ways.hasVersion2 && type == "command_set_is_active") {
    for (const auto& entry : parameters.at("commands")) setActive(from, entry);
    return;
  }
  if (ways.hasVersion2 && type == "command_subscribe_is_active") {
    for (const auto& entry : parameters.at("commands")) {
      (void)commandById(entry.at("id"));
      client.commands[entry.at("id")];
    }
    return;
  }
  throw Failure{400, "unknown_type"};
}

void XPlaneStandIn::subscribe(Client& client, const json& entries) {
  std::map<std::uint64_t, Subscription> wanted;
  for (const auto& entry : entries) {
    const Dataref& dataref = byId(entry.at("id"));
    const json given = entry.value("index", json::array());
    for (const std::size_t index : given.is_array() ? given : json::array({given})) {
      if (!isArray(dataref.type) || index >= dataref.value.size()) {
        throw Failure{400, "invalid_dataref_index"};
      }
      wanted[dataref.id].indices.insert(index);
    }
    wanted[dataref.id];
  }
  for (const auto& [id, subscription] : wanted) {
    client.values[id].indices.insert(subscription.indices.begin(), subscription.indices.end());
    client.values[id].sent = nullptr;
  }
}

void XPlaneStandIn::unsubscribe(Client& client, const json& entries) {
  if (entries == "all") return client.values.clear();
  for (const auto& entry : entries) client.values.erase(byId(entry.at("id")).id);
}

// A command with a duration of 0 is pressed and released, one without a duration is held.
void XPlaneStandIn::setActive(Connection from, const json& entry) {
  Command& command = commandById(entry.at("id"));
  if (entry.at("is_active") == false) {
    command.holders.erase(from);
  } else {
    const json duration = entry.value("duration", json());
    if (duration.is_number() && duration > kLongestDuration) throw Failure{400, "invalid_duration"};
    ++command.timesRun;
    if (duration.is_null()) command.holders.insert(from);
  }
  command.isActive = !command.holders.empty();
}

void XPlaneStandIn::write(Dataref& dataref, const json& value, const json& index) {
  if (!dataref.isWritable) throw Failure{403, "dataref_is_readonly"};
  const bool isText = dataref.type == "data";
  const bool isWhole = dataref.type.rfind("int", 0) == 0;
  if (isText ? !value.is_string() : isWhole ? !value.is_number_integer() : !value.is_number()) {
    throw Failure{400, "invalid_value"};
  }
  if (!isArray(dataref.type)) {
    dataref.value = isText ? asWritten("data", websocketpp::base64_decode(value)) : value;
  } else if (index.is_null() || index >= dataref.value.size()) {
    throw Failure{400, "invalid_dataref_index"};
  } else {
    dataref.value[index.get<std::size_t>()] = value;
  }
}

void XPlaneStandIn::sendUpdates() {
  const Lock lock(mutex);
  if (ways.isSocketDead) return;
  for (auto& [connection, client] : clients) {
    json values = json::object();
    for (auto& [id, subscription] : client.values) {
      for (const auto& [name, dataref] : datarefs) {
        if (dataref.id != id) continue;
        const json now = shown(dataref, subscription);
        if (now == subscription.sent) continue;
        subscription.sent = now;
        values[std::to_string(id)] = now;
      }
    }
    json active = json::object();
    for (auto& [id, sent] : client.commands) {
      const json now = commandById(id).isActive;
      if (std::exchange(sent, now) != now) active[std::to_string(id)] = now;
    }
    const std::pair<const char*, json&> updates[] = {{"dataref_update_values", values},
                                                     {"command_update_is_active", active}};
    for (const auto& [type, data] : updates) {
      if (data.empty()) continue;
      updated = std::chrono::steady_clock::now();
      server->send(connection, json({{"type", type}, {"data", data}}).dump());
    }
  }
}

json XPlaneStandIn::shown(const Dataref& dataref, const Subscription& subscription) const {
  if (subscription.indices.empty()) return dataref.value;
  json list = json::array();
  for (const std::size_t index : subscription.indices) list.push_back(dataref.value.at(index));
  return list.size() == 1 && !ways.listsOneIndex ? list.front() : list;
}

XPlaneStandIn::Dataref& XPlaneStandIn::byId(const json& id) {
  for (auto& [name, dataref] : datarefs) {
    if (dataref.id == id) return dataref;
  }
  throw Failure{404, "invalid_dataref_id"};
}

XPlaneStandIn::Command& XPlaneStandIn::commandById(const json& id) {
  for (auto& [name, command] : commands) {
    if (command.id == id) return command;
  }
  throw Failure{404, "invalid_command_id"};
}
