#include "StreamDeckSDK/ESDPlugin.h"

#include "StreamDeckSDK/ESDAction.h"
#include "StreamDeckSDK/ESDLogger.h"

using nlohmann::json;

// A payload without the key that a row reads raises the JSON library's error, which the connection
// drops: the host sends these keys, and there is nothing sensible to call without them.

void ESDPlugin::KeyDownForAction(const std::string& action, const std::string& context,
                                 const json& payload, const std::string& /*device*/) {
  if (const auto target = GetOrCreateAction(action, context)) {
    target->KeyDown(payload.at("settings"));
  } else {
    ESDLogWithContext(__FILE__, "No action for keydown - {} {}", action, context);
  }
}

void ESDPlugin::KeyUpForAction(const std::string& action, const std::string& context,
                               const json& payload, const std::string& /*device*/) {
  if (const auto target = GetOrCreateAction(action, context)) {
    target->KeyUp(payload.at("settings"));
  } else {
    ESDLogWithContext(__FILE__, "No action for keyup - {} {}", action, context);
  }
}

void ESDPlugin::DialPressForAction(const std::string& action, const std::string& context,
                                   const json& payload, const std::string& /*device*/) {
  const auto target = GetOrCreateAction(action, context);
  if (!target) {
    ESDLogWithContext(__FILE__, "No action for dialPress - {} {}", action, context);
  } else if (payload.at("pressed").get<bool>()) {
    target->DialDown(payload.at("settings"));
  } else {
    target->DialUp(payload.at("settings"));
  }
}

void ESDPlugin::DialRotateForAction(const std::string& action, const std::string& context,
                                    const json& payload, const std::string& /*device*/) {
  const auto target = GetOrCreateAction(action, context);
  if (!target) {
    ESDLogWithContext(__FILE__, "No action for dialRotate - {} {}", action, context);
    return;
  }
  const int ticks = payload.at("ticks").get<int>();
  const bool pressed = payload.at("pressed").get<bool>();
  if (ticks < 0) {
    // Negated as unsigned, so that the smallest int has a count as well.
    target->RotateCounterClockwise(payload.at("settings"), 0U - static_cast<unsigned int>(ticks),
                                   pressed);
  } else {
    target->RotateClockwise(payload.at("settings"), static_cast<unsigned int>(ticks), pressed);
  }
}

void ESDPlugin::WillAppearForAction(const std::string& action, const std::string& context,
                                    const json& payload, const std::string& /*device*/) {
  if (const auto target = GetOrCreateAction(action, context)) {
    target->WillAppear(payload.at("settings"));
  } else {
    ESDLogWithContext(__FILE__, "No action for WillAppear - {} {}", action, context);
  }
}

void ESDPlugin::SendToPlugin(const std::string& action, const std::string& context,
                             const json& payload, const std::string& /*device*/) {
  if (const auto target = GetOrCreateAction(action, context)) {
    target->SendToPlugin(payload);
  } else {
    ESDLogWithContext(__FILE__, "Received plugin request for unknown action {} {}", action,
                      context);
  }
}

void ESDPlugin::DidReceiveSettings(const std::string& action, const std::string& context,
                                   const json& payload, const std::string& /*device*/) {
  if (const auto target = GetOrCreateAction(action, context)) {
    target->DidReceiveSettings(payload.at("settings"));
  } else {
    ESDLogWithContext(__FILE__, "No action for DidReceiveSettings: {} {}", action, context);
  }
}
