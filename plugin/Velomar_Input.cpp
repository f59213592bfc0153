// What a user does on the deck. None of it is interpreted here: a press is forwarded under its
// context id, also for a context that isn't known.
#include <utility>

#include "plugin/JsonMembers.h"
#include "plugin/LinkMessages.h"
#include "plugin/Velomar.h"

using nlohmann::json;

void Velomar::KeyDownForAction(const std::string& /*action*/, const std::string& context,
                               const json& /*payload*/, const std::string& /*device*/) {
  post(contextMessage("Key Down", context));
}

void Velomar::KeyUpForAction(const std::string& /*action*/, const std::string& context,
                             const json& /*payload*/, const std::string& /*device*/) {
  post(contextMessage("Key Up", context));
}

void Velomar::DialPressForAction(const std::string& /*action*/, const std::string& context,
                                 const json& payload, const std::string& /*device*/) {
  const json& pressed = member(payload, "pressed");
  if (!pressed.is_boolean()) return;
  post(contextMessage(pressed.get<bool>() ? "Dial Down" : "Dial Up", context));
}

void Velomar::DialRotateForAction(const std::string& /*action*/, const std::string& context,
                                  const json& payload, const std::string& /*device*/) {
  const json& ticks = member(payload, "ticks");
  if (ticks.is_null()) return;
  json message = contextMessage("Encoder Rotate", context);
  message["Ticks"] = toInt32(ticks);
  post(std::move(message));
}

void Velomar::TouchTabForAction(const std::string& /*action*/, const std::string& context,
                                const json& payload, const std::string& /*device*/) {
  const json& hold = member(payload, "hold");
  if (hold.is_null()) return;
  json message = contextMessage("Touch Tap", context);
  message["Hold"] = hold.get<bool>();
  post(std::move(message));
}

void Velomar::SendToPlugin(const std::string& /*action*/, const std::string& context,
                           const json& payload, const std::string& /*device*/) {
  if (payload.empty()) return;
  const json& keyName = member(payload, "KeyName");
  if (!keyName.is_string()) return;
  const std::lock_guard<std::mutex> lock(modelMutex);
  for (auto& [id, device] : devices) {
    const auto found = device.contexts.find(context);
    if (found == device.contexts.end()) continue;
    found->second.keyName = keyName.get<std::string>();
    json message = contextMessage("Update Key Name", context);
    message["Device ID"] = id;
    message["KeyName"] = found->second.keyName;
    post(std::move(message));
    return;
  }
}
