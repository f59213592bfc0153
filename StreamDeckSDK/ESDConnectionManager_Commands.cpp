// The commands to the Stream Deck application.
#include <string_view>
#include <utility>

#include "StreamDeckSDK/ESDConnectionManager.h"
#include "StreamDeckSDK/ESDJSONText.h"

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

// A title or an image: one text under `name`, and the members that both have.
json FaceCommand(const char* event, const std::string& context, const char* name, std::string text,
                 int target, int state) {
  json payload;
  payload["target"] = target;
  payload[name] = std::move(text);
  if (state >= 0) payload["state"] = state;
  return Command(event, context, std::move(payload));
}

const char* PrefixFor(const std::string& image) {
  return image.empty() || image.rfind(kImagePrefix, 0) == 0 ? "" : kImagePrefix;
}

}  // namespace

void ESDConnectionManager::SetTitle(const std::string& title, const std::string& context,
                                    int target, int state) {
  Send(FaceCommand("setTitle", context, "title", title, target, state));
}

void ESDConnectionManager::SetImage(const std::string& image, const std::string& context,
                                    int target, int state) {
  const std::string prefix = PrefixFor(image);
  if (!ESDJSONText::IsPlain(image)) {
    Send(FaceCommand("setImage", context, "image", prefix + image, target, state));
    return;
  }
  // The library would look at each character of an image, so it writes the command with an empty
  // one, and the image is put in here. No string can look like this member: its quotes would be
  // escaped.
  constexpr std::string_view kMember = R"("image":")";
  const std::string empty = FaceCommand("setImage", context, "image", "", target, state).dump();
  const std::size_t place = empty.find(kMember) + kMember.size();
  std::string text;
  text.reserve(empty.size() + prefix.size() + image.size());
  text.append(empty, 0, place).append(prefix).append(image).append(empty, place);
  SendText(std::move(text));
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
