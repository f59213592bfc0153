// The model, its replay, and the screen. The user's input has a file of its own.
#include "plugin/Velomar.h"

#include <algorithm>
#include <utility>

#include "StreamDeckSDK/ESDLogger.h"
#include "common/Base64.h"
#include "common/LinkProtocol.h"
#include "plugin/JsonMembers.h"
#include "plugin/LinkMessages.h"
#include "plugin/ScratchFolders.h"
#include "plugin/XPlaneManager.h"

using nlohmann::json;
namespace from_panel = velomar::protocol::from_panel;

namespace {

constexpr char kActionIdentifier[] = "com.brackenmoor.velomar.launch";
constexpr char kEncoder[] = "Encoder";
constexpr char kDefaultLayout[] = "Velomar-Layout.json";

// The longest name whose path, with a closing zero byte, has room in 500 bytes.
constexpr std::size_t kMaxUuidBytes = 486;

// Raises type_error if the coordinates are no object.
std::int32_t coordinate(const json& coordinates, const char* name) {
  const json value = coordinates.value(name, json());
  return value.is_number_integer() ? value.get<std::int32_t>() : 0;
}

std::string keyNameOf(const json& settings) {
  if (settings.empty()) return {};
  const json& name = member(settings, "KeyName");
  return name.is_string() ? name.get<std::string>() : std::string();
}

// The error text isn't used: data that can't be decoded makes an empty file.
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
  const auto added = addContext(context, payload, device);
  if (!added) return;
  if (added->startsBlank) resetContext(context);
  // A replay may have told of the context by now. To be told twice is harmless, and the simulator's
  // answer to this message comes after the reset.
  post(addContextMessage(device, added->record));
}

// Empty: the device shows the context already, and its record stays as it is. A missing member
// counts as empty or 0; one that is present, even as null, has to be of its type.
std::optional<Velomar::Added> Velomar::addContext(const std::string& context, const json& payload,
                                                  const std::string& device) {
  const json members = payload.is_null() ? json::object() : payload;
  const std::lock_guard<std::mutex> lock(modelMutex);
  Added added;
  const json coordinates = members.value("coordinates", json::object());
  added.record.column = coordinate(coordinates, "column");
  added.record.row = coordinate(coordinates, "row");
  auto& contexts = devices[device].contexts;
  if (contexts.count(context) != 0) return std::nullopt;

  added.record.context = context;
  added.record.controller = members.value("controller", std::string());
  if (added.record.controller == kEncoder) {
    actions[context]->isEncoder.store(true, std::memory_order_relaxed);
  }
  added.record.keyName = keyNameOf(member(members, "settings"));
  added.startsBlank =
      added.record.keyName.empty() || screenIsReset || !XPlaneManager::isConnected();
  contexts[context] = added.record;
  return added;
}

void Velomar::WillDisappearForAction(const std::string& /*action*/, const std::string& context,
                                     const json& /*payload*/, const std::string& device) {
  const std::lock_guard<std::mutex> lock(modelMutex);
  const auto found = devices.find(device);
  if (found == devices.end()) return;
  json message = contextMessage(from_panel::kHideContext, context);
  message["Device ID"] = found->second.id;
  post(std::move(message));
  // Another device may show it too, and goes on using its action.
  if (found->second.contexts.erase(context) != 0 && !isOnShow(context)) actions.erase(context);
}

bool Velomar::isOnShow(const std::string& context) const {
  return std::any_of(devices.begin(), devices.end(),
                     [&](const auto& entry) { return entry.second.contexts.count(context) != 0; });
}

// Settings come into the model with "willAppear" and "sendToPlugin" only.
void Velomar::DidReceiveSettings(const std::string& /*action*/, const std::string& /*context*/,
                                 const json& /*payload*/, const std::string& /*device*/) {}

void Velomar::DidReceiveGlobalSettings(const json& /*payload*/) {}

// The model hasn't changed during the sleep, and the heartbeat finds out whether the simulator has
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
    messages.push_back(
        {{"Message", from_panel::kApiVersion}, {"Version", velomar::protocol::kApiVersion}});
    contextCount = listModel(messages);
    deviceCount = devices.size();
    messages.push_back({{"Message", from_panel::kForceRefresh}});
    post(velomar::protocol::groupOf(std::move(messages)));
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
