#include "simulator/MessageGroup.h"

#include <utility>

using nlohmann::json;

namespace {

constexpr char kGroup[] = "Group Message";

// By number: in the text "10" stands before "2".
void append(json& message, std::vector<json>& messages) {
  if (!message.is_object()) return;
  const auto name = message.find("Message");
  if (name == message.end() || !name->is_string()) return;
  if (*name != kGroup) {
    messages.push_back(std::move(message));
    return;
  }
  const auto members = message.find("Messages");
  if (members == message.end() || !members->is_object()) return;
  for (std::size_t i = 0; i < members->size(); ++i) {
    const auto member = members->find(std::to_string(i));
    if (member != members->end()) append(*member, messages);
  }
}

}  // namespace

std::vector<json> MessageGroup::split(const std::string& text) {
  std::vector<json> messages;
  json whole = json::parse(text, nullptr, false);
  append(whole, messages);
  return messages;
}

std::string MessageGroup::join(std::vector<json> messages) {
  if (messages.size() == 1) return messages.front().dump();
  json members = json::object();
  for (std::size_t i = 0; i < messages.size(); ++i) {
    members[std::to_string(i)] = std::move(messages[i]);
  }
  return json{{"Message", kGroup}, {"Messages", std::move(members)}}.dump();
}
