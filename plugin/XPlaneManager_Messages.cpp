// What a message from the simulator does.
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "StreamDeckSDK/EPLJSONUtils.h"
#include "plugin/JsonMembers.h"
#include "plugin/Velomar.h"
#include "plugin/XPlaneManager.h"

using nlohmann::json;

namespace {

// A text is read once, so it is taken out: an image is long.
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
// in the order in which they stand here, and all before the call: the first bad one decides the
// error, and a message with a bad member changes nothing.
constexpr Handler kHandlers[] = {
    {"Ident Context", [](Velomar& velomar, json& m) { velomar.identKey(text(m, "Context")); }},
    {"Alert Context", [](Velomar& velomar, json& m) { velomar.alertKey(text(m, "Context")); }},
    {"Update Image ID",
     [](Velomar& velomar, json& m) {
       std::string context = text(m, "Context");
       const std::uint32_t id = imageId(m);
       velomar.updateImage(std::move(context), id, "");
     }},
    {"Update Full Image ID",
     [](Velomar& velomar, json& m) {
       std::string context = text(m, "Context");
       const std::uint32_t id = imageId(m);
       velomar.updateImage(std::move(context), id, text(m, "Base64"));
     }},
    {"Set Title",
     [](Velomar& velomar, json& m) {
       std::string context = text(m, "Context");
       velomar.setTitle(std::move(context), text(m, "Title"));
     }},
    {"Reset Context", [](Velomar& velomar, json& m) { velomar.resetContext(text(m, "Context")); }},
    {"Set Layout Cache",
     [](Velomar& velomar, json& m) {
       std::string context = text(m, "Context");
       std::string uuid = text(m, "UUID");
       velomar.setLayout(std::move(context), std::move(uuid), text(m, "BASE64"));
     }},
    {"Set Layout",
     [](Velomar& velomar, json& m) {
       std::string context = text(m, "Context");
       velomar.setLayout(std::move(context), text(m, "UUID"), "");
     }},
};

constexpr std::string_view kGroup = "Group Message";

}  // namespace

void XPlaneManager::processMessage(std::string text) {
  if (EPLJSONUtils::IsTooDeep(text)) throw std::runtime_error("the message nests too deeply");
  json message = EPLJSONUtils::ParseFirst(text);
  handleMessage(message, 0);
}

void XPlaneManager::handleMessage(json& message, int groupDepth) {
  const json& name = member(message, "Message");
  if (!name.is_string()) return;
  const auto& wanted = name.get_ref<const std::string&>();
  if (wanted == kGroup) {
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

// Members go by number, not by their order in the text, where "10" stands before "2". Their count
// is taken for the highest number, so that a gap hides what lies behind it.
void XPlaneManager::handleGroup(json& message, int groupDepth) {
  if (groupDepth > kMaxGroupDepth) throw std::runtime_error("groups nest too deeply");
  if (member(message, "Messages").is_null()) return;
  json& messages = message["Messages"];
  const std::size_t count = messages.size();
  for (std::size_t i = 0; i < count; ++i) {
    const std::string name = std::to_string(i);
    if (!member(messages, name.c_str()).is_null()) handleMessage(messages[name], groupDepth);
  }
}
