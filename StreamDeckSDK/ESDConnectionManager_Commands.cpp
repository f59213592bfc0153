// What goes out to the Stream Deck application.
#include "StreamDeckSDK/ESDConnectionManager.h"

using nlohmann::json;

namespace {

constexpr char kImagePrefix[] = "data:image/png;base64,";

// Objects are made member by member: from braces the library first makes a list of pairs.
json Command(const char* event, const std::string& context) {
  json command;
  command["event"] = event;
  command["context"] = context;
  return command;
}

json Command(const char* event, const std::string& context, json payload) {
  json command = Command(event, context);
  command["payload"] = std::move(payload);
  return command;
}

// What a title and an image have in common.
json FaceCommand(const char* event, const std::string& context, const char* name, std::string text,
                 int target, int state) {
  json payload;
  payload["target"] = target;
  payload[name] = std::move(text);
  if (state >= 0) payload["state"] = state;
  return Command(event, context, std::move(payload));
}

std::string DataUrl(const std::string& image) {
  return image.empty() || image.rfind(kImagePrefix, 0) == 0 ? image : kImagePrefix + image;
}

}  // namespace

void ESDConnectionManager::SetTitle(const std::string& title, const std::string& context,
                                    int target, int state) {
  Send(FaceCommand("setTitle", context, "title", title, target, state));
}

void ESDConnectionManager::SetImage(const std::string& image, const std::string& context,
                                    int target, int state) {
  Send(FaceCommand("setImage", context, "image", DataUrl(image), target, state));
}

void ESDConnectionManager::ShowAlertForContext(const std::string& context) {
  Send(Command("showAlert", context));
}

void ESDConnectionManager::ShowOKForContext(const std::string& context) {
  Send(Command("showOk", context));
}

void ESDConnectionManager::SetSettings(const json& settings, const std::string& context) {
  Send(Command("setSettings", context, settings));
}

void ESDConnectionManager::SetState(int state, const std::string& context) {
  Send(Command("setState", context, {{"state", state}}));
}

void ESDConnectionManager::SetFeedback(const json& feedback, const std::string& context) {
  Send(Command("setFeedback", context, feedback));
}

void ESDConnectionManager::SetFeedbackLayout(const std::string& layout,
                                             const std::string& context) {
  Send(Command("setFeedbackLayout", context, {{"layout", layout}}));
}

void ESDConnectionManager::SendToPropertyInspector(const std::string& action,
                                                   const std::string& context,
                                                   const json& payload) {
  json command = Command("sendToPropertyInspector", context, payload);
  command["action"] = action;
  Send(command);
}

void ESDConnectionManager::SwitchToProfile(const std::string& device, const std::string& profile) {
  if (device.empty()) return;
  json command = Command("switchToProfile", mPluginUUID);
  command["device"] = device;
  if (!profile.empty()) command["payload"] = {{"profile", profile}};
  Send(command);
}

void ESDConnectionManager::GetGlobalSettings() {
  Send(Command("getGlobalSettings", mPluginUUID));
}

void ESDConnectionManager::SetGlobalSettings(const json& settings) {
  Send(Command("setGlobalSettings", mPluginUUID, settings));
}
