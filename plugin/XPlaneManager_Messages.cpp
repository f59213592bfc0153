// Handles the messages from the simulator.
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "StreamDeckSDK/ESDJSONText.h"
#include "common/LinkProtocol.h"
#include "plugin/JsonMembers.h"
#include "plugin/Velomar.h"
#include "plugin/XPlaneManager.h"

using nlohmann::json;
namespace protocol = velomar::protocol;
namespace to_panel = velomar::protocol::to_panel;

namespace {

// Moved, not copied: images are large, and each member is read once.
std::string text(json& message, const char* name) {
  const json& found = member(message, name);
  if (!found.is_string()) return found.get<std::string>();  // which raises the library's own error
  return std::move(message[name].get_ref<std::string&>());
}

// An id is taken as a signed number and used as an unsigned one.
std::uint32_t imageId(const json& message) {
  return static_cast<std::uint32_t>(toInt32(member(message, "Image ID")));
}

struct Handler {
  std::string_view message;
  void (*handle)(Velomar&, json&);
};

// Every message that is understood; any other is ignored. The members are read one after the other,
// in the order of this table, and all before the call: the first bad one decides the error, and a
// message with a bad member changes nothing.
constexpr Handler kHandlers[] = {
    {to_panel::kIdentContext,
     [](Velomar& velomar, json& m) { velomar.identKey(text(m, "Context")); }},
    {to_panel::kAlertContext,
     [](Velomar& velomar, json& m) { velomar.alertKey(text(m, "Context")); }},
    {to_panel::kUpdateImageId,
     [](Velomar& velomar, json& m) {
       std::string context = text(m, "Context");
       const std::uint32_t id = imageId(m);
       velomar.updateImage(std::move(context), id, "");
     }},
    {to_panel::kUpdateFullImageId,
     [](Velomar& velomar, json& m) {
       std::string context = text(m, "Context");
       const std::uint32_t id = imageId(m);
       velomar.updateImage(std::move(context), id, text(m, "Base64"));
     }},
    {to_panel::kSetTitle,
     [](Velomar& velomar, json& m) {
       std::string context = text(m, "Context");
       velomar.setTitle(std::move(context), text(m, "Title"));
     }},
    {to_panel::kResetContext,
     [](Velomar& velomar, json& m) { velomar.resetContext(text(m, "Context")); }},
    {to_panel::kSetLayoutCache,
     [](Velomar& velomar, json& m) {
       std::string context = text(m, "Context");
       std::string uuid = text(m, "UUID");
       velomar.setLayout(std::move(context), std::move(uuid), text(m, "BASE64"));
     }},
    {to_panel::kSetLayout,
     [](Velomar& velomar, json& m) {
       std::string context = text(m, "Context");
       velomar.setLayout(std::move(context), text(m, "UUID"), "");
     }},
};

}  // namespace

void XPlaneManager::processMessage(std::string text) {
  json message = ESDJSONText::ReadFirst(text);
  handleMessage(message, 0);
}

void XPlaneManager::handleMessage(json& message, int groupDepth) {
  const json& name = member(message, "Message");
  if (!name.is_string()) return;
  const auto& wanted = name.get_ref<const std::string&>();
  if (wanted == protocol::kGroupMessage) {
    handleGroup(message, groupDepth + 1);
    return;
  }
  for (const Handler& handler : kHandlers) {
    if (handler.message == wanted) {
      handler.handle(*Velomar::getInstance(), message);
      return;
    }
  }
}

void XPlaneManager::handleGroup(json& message, int groupDepth) {
  if (groupDepth > protocol::kMaxGroupDepth) throw std::runtime_error("groups nest too deeply");
  if (member(message, "Messages").is_null()) return;
  json& messages = message["Messages"];
  protocol::visitGroup(messages, [&messages, groupDepth](const std::string& name) {
    if (!member(messages, name.c_str()).is_null()) handleMessage(messages[name], groupDepth);
  });
}
