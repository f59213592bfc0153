#include "plugin/LinkMessages.h"

#include <utility>

#include "common/LinkProtocol.h"
#include "plugin/XPlaneManager.h"

using nlohmann::json;
namespace from_panel = velomar::protocol::from_panel;

void post(json message) {
  if (auto* link = XPlaneManager::pInstance) link->jsonQueue.push(std::move(message));
}

json contextMessage(const char* name, const std::string& context) {
  return {{"Message", name}, {"Context", context}};
}

json addDeviceMessage(const std::string& device) {
  return {{"Message", from_panel::kAddDevice}, {"Device ID", device}};
}

json addContextMessage(const std::string& device, const SDContext& context) {
  json message = contextMessage(from_panel::kAddContext, context.context);
  message["Device ID"] = device;
  message["Controller"] = context.controller;
  message["KeyName"] = context.keyName;
  message["Column"] = context.column;
  message["Row"] = context.row;
  return message;
}
