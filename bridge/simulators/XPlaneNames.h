// Asks X-Plane for the ids of names.
//
// A request may fail as a whole if one of its names is unknown; its names are then asked for in
// halves. Only the thread that runs the context may call.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "bridge/simulators/RestClient.h"
#include "bridge/simulators/XPlaneValues.h"

namespace bridge {

using XPlaneNames = std::map<std::string, XPlaneName>;

// `names` are those that X-Plane knows. If `error`, a text for the log, isn't empty, `names` means
// nothing.
using XPlaneNamesFound = std::function<void(const XPlaneNames& names, const std::string& error)>;

// `list` is the path of a list, "/api/v2/datarefs" or "/api/v2/commands". `found` is called once,
// not from in here unless there are no names, and not at all if the client is told to forget.
void findXPlaneNames(RestClient& client, const std::string& list,
                     const std::vector<std::string>& names, XPlaneNamesFound found);

// Gets the names in all of these lists that contain `pattern`.
void listXPlaneNames(RestClient& client, std::vector<std::string> lists, const std::string& pattern,
                     Simulator::Names done);

// Says why an answer is of no use.
std::string faultOf(const RestClient::Answer& answer);

}  // namespace bridge
