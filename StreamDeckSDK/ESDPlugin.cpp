#include "StreamDeckSDK/ESDPlugin.h"

#include "StreamDeckSDK/ESDAction.h"
#include "StreamDeckSDK/ESDLogger.h"

using nlohmann::json;

// A payload without the key that a row reads raises the JSON library's error, which the connection
// drops: the host sends these keys, and there is nothing sensible to call without them.

namespace {

// Makes the call on the context's object, or logs the line if there is none.
template <typename Call>
void Route(ESDPlugin& plugin, const std::string& action, const std::string& context,
           const char* line, Call call) {
  if (const auto target = plugin.GetOrCreateAction(action, context)) {
    call(*target);
  } else {
    ESDLogWithContext(__FILE__, fmt::runtime(line), action, context);
  }
}

void Rotate(ESDAction& target, const json& payload) {
  const int ticks = payload.at("ticks").get<int>();
  const bool pressed = payload.at("pressed").get<bool>();
  const auto count = static_cast<unsigned int>(ticks);
  if (ticks < 0) {
    // Negated as unsigned, so that the smallest int has a count as well.
    target.RotateCounterClockwise(payload.at("settings"), 0U - count, pressed);
  } else {
    target.RotateClockwise(payload.at("settings"), count, pressed);
  }
}

}  // namespace

void ESDPlugin::KeyDownForAction(const std::string& action, const std::string& context,
                                 const json& payload, const std::string& /*device*/) {
  Route(*this, action, context, "No action for keydown - {} {}",
        [&](ESDAction& target) { target.KeyDown(payload.at("settings")); });
}

void ESDPlugin::KeyUpForAction(const std::string& action, const std::string& context,
                               const json& payload, const std::string& /*device*/) {
  Route(*this, action, context, "No action for keyup - {} {}",
        [&](ESDAction& target) { target.KeyUp(payload.at("settings")); });
}

void ESDPlugin::DialPressForAction(const std::string& action, const std::string& context,
                                   const json& payload, const std::string& /*device*/) {
  Route(*this, action, context, "No action for dialPress - {} {}", [&](ESDAction& target) {
    if (payload.at("pressed").get<bool>()) {
      target.DialDown(payload.at("settings"));
    } else {
      target.DialUp(payload.at("settings"));
    }
  });
}

void ESDPlugin::DialRotateForAction(const std::string& action, const std::string& context,
                                    const json& payload, const std::string& /*device*/) {
  Route(*this, action, context, "No action for dialRotate - {} {}",
        [&](ESDAction& target) { Rotate(target, payload); });
}

void ESDPlugin::WillAppearForAction(const std::string& action, const std::string& context,
                                    const json& payload, const std::string& /*device*/) {
  Route(*this, action, context, "No action for WillAppear - {} {}",
        [&](ESDAction& target) { target.WillAppear(payload.at("settings")); });
}

void ESDPlugin::SendToPlugin(const std::string& action, const std::string& context,
                             const json& payload, const std::string& /*device*/) {
  Route(*this, action, context, "Received plugin request for unknown action {} {}",
        [&](ESDAction& target) { target.SendToPlugin(payload); });
}

void ESDPlugin::DidReceiveSettings(const std::string& action, const std::string& context,
                                   const json& payload, const std::string& /*device*/) {
  Route(*this, action, context, "No action for DidReceiveSettings: {} {}",
        [&](ESDAction& target) { target.DidReceiveSettings(payload.at("settings")); });
}
