// The user's input on the deck. None of it is interpreted here: a press is forwarded under its
// context id, also for a context that isn't known.
#include <utility>

#include "common/LinkProtocol.h"
#include "plugin/JsonMembers.h"
#include "plugin/LinkMessages.h"
#include "plugin/Velomar.h"

using nlohmann::json;
namespace from_panel = velomar::protocol::from_panel;

void Velomar::KeyDownForAction(const std::string& /*action*/, const std::string& context,
                               const json& /*payload*/, const std::string& /*device*/) {
  post(contextMessage(from_panel::kKeyDown, context));
}

void Velomar::KeyUpForAction(const std::string& /*action*/, const std::string& context,
                             const json& /*payload*/, const std::string& /*device*/) {
  post(contextMessage(from_panel::kKeyUp, context));
}

void Velomar::DialPressForAction(const std::string& /*action*/, const std::string& context,
                                 const json& payload, const std::string& /*device*/) {
  const json& pressed = member(payload, "pressed");
  if (!pressed.is_boolean()) return;
  post(contextMessage(pressed.get<bool>() ? from_panel::kDialDown : from_panel::kDialUp, context));
}

void Velomar::DialRotateForAction(const std::string& /*action*/, const std::string& context,
                                  const json& payload, const std::string& /*device*/) {
  const json& ticks = member(payload, "ticks");
  if (ticks.is_null()) return;
  json message = contextMessage(from_panel::kEncoderRotate, context);
  message["Ticks"] = toInt32(ticks);
  post(std::move(message));
}

void Velomar::TouchTabForAction(const std::string& /*action*/, const std::string& context,
                                const json& payload, const std::string& /*device*/) {
  const json& hold = member(payload, "hold");
  if (hold.is_null()) return;
  json message = contextMessage(from_panel::kTouchTap, context);
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
    json message = contextMessage(from_panel::kUpdateKeyName, context);
    message["Device ID"] = id;
    message["KeyName"] = found->second.keyName;
    post(std::move(message));
    return;
  }
}
