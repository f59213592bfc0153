#include "plugin/LinkMessages.h"

#include <utility>

#include "plugin/XPlaneManager.h"

using nlohmann::json;

void post(json message) {
  if (auto* link = XPlaneManager::pInstance) link->jsonQueue.push(std::move(message));
}

json contextMessage(const char* name, const std::string& context) {
  return {{"Message", name}, {"Context", context}};
}

json addDeviceMessage(const std::string& device) {
  return {{"Message", "Add Device"}, {"Device ID", device}};
}

json addContextMessage(const std::string& device, const SDContext& context) {
  json message = contextMessage("Add Context", context.context);
  message["Device ID"] = device;
  message["Controller"] = context.controller;
  message["KeyName"] = context.keyName;
  message["Column"] = context.column;
  message["Row"] = context.row;
  return message;
}
