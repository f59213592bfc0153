// The model, its replay, and the screen. What a user does on the deck has a file of its own.
#include "plugin/Velomar.h"

#include <utility>

#include "StreamDeckSDK/ESDLogger.h"
#include "common/Base64.h"
#include "plugin/JsonMembers.h"
#include "plugin/LinkMessages.h"
#include "plugin/ScratchFolders.h"
#include "plugin/XPlaneManager.h"

using nlohmann::json;

namespace {

constexpr char kActionIdentifier[] = "com.brackenmoor.velomar.launch";
constexpr char kEncoder[] = "Encoder";
constexpr char kDefaultLayout[] = "Velomar-Layout.json";

// The longest name whose path, with a closing zero byte, has room in 500 bytes.
constexpr std::size_t kMaxUuidBytes = 486;

std::int32_t coordinate(const json& coordinates, const char* name) {
  const json& value = member(coordinates, name);
  return value.is_number_integer() ? value.get<std::int32_t>() : 0;
}

// The text, or an empty one if the member is missing. Raises the library's error for another type.
std::string optionalText(const json& value, const char* name) {
  const json& found = member(value, name);
  return found.is_null() ? std::string() : found.get<std::string>();
}

std::string keyNameOf(const json& settings) {
  if (settings.empty()) return {};
  const json& name = member(settings, "KeyName");
  return name.is_string() ? name.get<std::string>() : std::string();
}

// The error text isn't of interest: what couldn't be decoded makes an empty file.
std::string decoded(const std::string& base64) {
  std::string bytes;
  (void)macaron::Base64::Decode(base64, bytes);
  return bytes;
}

std::string untilZeroByte(const std::string& text) {
  return text.c_str();
}

}  // namespace

Velomar* Velomar::pInstance = nullptr;

Velomar* Velomar::getInstance() {
  if (pInstance == nullptr) pInstance = new Velomar();
  return pInstance;
}

Velomar::~Velomar() {
  pInstance = nullptr;
}

std::shared_ptr<ESDAction> Velomar::GetOrCreateAction(const std::string& action,
                                                      const std::string& context) {
  const std::lock_guard<std::mutex> lock(modelMutex);
  const auto found = actions.find(context);
  if (found != actions.end()) return found->second;
  if (action != kActionIdentifier) return nullptr;
  return actions[context] = std::make_shared<Action>(mConnectionManager, action, context);
}

std::shared_ptr<Action> Velomar::findAction(const std::string& context) {
  const std::lock_guard<std::mutex> lock(modelMutex);
  const auto found = actions.find(context);
  return found == actions.end() ? nullptr : found->second;
}

void Velomar::DeviceDidConnect(const std::string& device, const json& /*info*/) {
  (void)addDevice(device);
}

// False: it is known already.
bool Velomar::addDevice(const std::string& device) {
  const std::lock_guard<std::mutex> lock(modelMutex);
  if (devices.count(device) != 0) return false;
  post(addDeviceMessage(device));
  devices[device].id = device;
  return true;
}

void Velomar::WillAppearForAction(const std::string& action, const std::string& context,
                                  const json& payload, const std::string& device) {
  if (!GetOrCreateAction(action, context)) return;
  if (addDevice(device)) {
    ESDLogWithContext(__FILE__, "Got context before device, adding the device...");
  }
  SDContext added;
  bool startsBlank = false;
  if (!addContext(context, payload, device, added, startsBlank)) return;
  if (startsBlank) resetContext(context);
  // A replay may have told of the context by now. To be told twice is harmless, and what the
  // simulator answers to this comes after the reset.
  post(addContextMessage(device, added));
}

// False: the device shows the context already, and its record stays as it is.
bool Velomar::addContext(const std::string& context, const json& payload, const std::string& device,
                         SDContext& added, bool& startsBlank) {
  const std::lock_guard<std::mutex> lock(modelMutex);
  const json& coordinates = member(payload, "coordinates");
  added.column = coordinate(coordinates, "column");
  added.row = coordinate(coordinates, "row");
  auto& contexts = devices[device].contexts;
  if (contexts.count(context) != 0) return false;

  added.context = context;
  added.controller = optionalText(payload, "controller");
  if (added.controller == kEncoder) actions[context]->isEncoder = true;
  added.keyName = keyNameOf(member(payload, "settings"));
  contexts[context] = added;
  startsBlank = added.keyName.empty() || screenIsReset || !XPlaneManager::isConnected();
  return true;
}

void Velomar::WillDisappearForAction(const std::string& /*action*/, const std::string& context,
                                     const json& /*payload*/, const std::string& device) {
  const std::lock_guard<std::mutex> lock(modelMutex);
  const auto found = devices.find(device);
  if (found == devices.end()) return;
  json message = contextMessage("Hide Context", context);
  message["Device ID"] = found->second.id;
  post(std::move(message));
  if (found->second.contexts.erase(context) != 0) actions.erase(context);
}

// Settings come into the model with "willAppear" and "sendToPlugin" only.
void Velomar::DidReceiveSettings(const std::string& /*action*/, const std::string& /*context*/,
                                 const json& /*payload*/, const std::string& /*device*/) {}

void Velomar::DidReceiveGlobalSettings(const json& /*payload*/) {}

// The model hasn't changed in the sleep, and the heartbeat finds out whether the simulator has
// gone.
void Velomar::SystemDidWakeUp() {
  ESDLogWithContext(__FILE__, "System woke up");
}

void Velomar::resendAll() {
  ESDLogWithContext(__FILE__, "Connecting to X-Plane");
  imageCache.clear();
  std::size_t deviceCount = 0;
  std::size_t contextCount = 0;
  {
    const std::lock_guard<std::mutex> lock(modelMutex);
    screenIsReset = false;
    std::vector<json> messages;
    messages.push_back({{"Message", "API Version"}, {"Version", 1}});
    contextCount = listModel(messages);
    deviceCount = devices.size();
    messages.push_back({{"Message", "Force Refresh"}});

    json members = json::object();
    for (std::size_t i = 0; i < messages.size(); ++i) {
      members[std::to_string(i)] = std::move(messages[i]);
    }
    post({{"Message", "Group Message"}, {"Messages", std::move(members)}});
  }
  ESDLogWithContext(__FILE__, "Sent " + std::to_string(contextCount) + " contexts for " +
                                  std::to_string(deviceCount) + " devices");
}

// Appends every device, each followed by its contexts. Returns the number of contexts.
std::size_t Velomar::listModel(std::vector<json>& messages) const {
  std::size_t contextCount = 0;
  for (const auto& [id, device] : devices) {
    messages.push_back(addDeviceMessage(id));
    for (const auto& [contextId, context] : device.contexts) {
      messages.push_back(addContextMessage(id, context));
    }
    contextCount += device.contexts.size();
  }
  return contextCount;
}

void Velomar::updateImage(std::string context, std::uint32_t id, std::string base64) {
  const auto action = findAction(context);
  if (!action) return;
  if (!base64.empty()) writeScratchFile(Action::imagePath(id), decoded(base64));

  const auto key = static_cast<std::int32_t>(id);
  const auto cached = imageCache.find(key);
  if (cached != imageCache.end()) {
    if (!base64.empty() && cached->second != base64) {
      cached->second = std::move(base64);
      ESDLogWithContext(__FILE__, "Updated Image Data");
    }
    action->SetImage(cached->second, id);
  } else if (!base64.empty()) {
    action->SetImage(imageCache.emplace(key, std::move(base64)).first->second, id);
  } else {
    ESDLogWithContext(__FILE__, "Image is mising base64");
  }
}

void Velomar::setTitle(std::string context, std::string title) {
  if (const auto action = findAction(context)) action->SetTitle(title);
}

void Velomar::setLayout(std::string context, std::string uuid, std::string base64) {
  const auto action = findAction(context);
  if (!action) return;
  if (uuid.empty()) {
    action->SetFeedbackLayout(kDefaultLayout);
    return;
  }
  const std::string name = untilZeroByte(uuid);
  if (name.size() > kMaxUuidBytes) return;
  const std::string path = "layouts/" + name + ".json";
  // A name with a separator would leave the folder, and counts as a file that can't be opened.
  if (!base64.empty() && name.find('/') == std::string::npos) {
    writeScratchFile(path, untilZeroByte(decoded(base64)));
  }
  action->SetFeedbackLayout(path);
}

void Velomar::resetContext(std::string context) {
  if (const auto action = findAction(context)) blank(*action, context);
}

void Velomar::resetAllContexts() {
  std::map<std::string, std::shared_ptr<Action>> shown;
  {
    const std::lock_guard<std::mutex> lock(modelMutex);
    shown = actions;
    screenIsReset = true;
  }
  for (const auto& [context, action] : shown) blank(*action, context);
}

void Velomar::blank(Action& action, const std::string& context) {
  action.SetImage("", 0);
  action.SetTitle("");
  setLayout(context, "", "");
}

void Velomar::identKey(std::string context) {
  if (const auto action = findAction(context)) action->ShowOK();
}

void Velomar::alertKey(std::string context) {
  if (const auto action = findAction(context)) action->ShowAlert();
}
