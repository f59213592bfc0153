// Messages to the simulator's side. Any thread may call.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "plugin/Model.h"

// Pushes a message onto the link's jsonQueue, where it waits until the link is up. Without a link
// it is dropped.
void post(nlohmann::json message);

// A message with a name and a context, to which further members may be added.
nlohmann::json contextMessage(const char* name, const std::string& context);

nlohmann::json addDeviceMessage(const std::string& device);
nlohmann::json addContextMessage(const std::string& device, const SDContext& context);
