#include "simulator/MessageGroup.h"

#include <utility>

#include "common/LinkProtocol.h"

using nlohmann::json;

namespace velomar {
namespace {

void append(json& message, std::vector<json>& messages, int depth) {
  if (!message.is_object() || depth > protocol::kMaxGroupDepth) return;
  const auto name = message.find("Message");
  if (name == message.end() || !name->is_string()) return;
  if (*name != protocol::kGroupMessage) {
    messages.push_back(std::move(message));
    return;
  }
  const auto members = message.find("Messages");
  if (members == message.end() || !members->is_object()) return;
  protocol::visitGroup(*members, [&](const std::string& number) {
    const auto member = members->find(number);
    if (member != members->end()) append(*member, messages, depth + 1);
  });
}

}  // namespace

std::vector<json> MessageGroup::split(const std::string& text) {
  std::vector<json> messages;
  json whole = json::parse(text, nullptr, false);
  append(whole, messages, 0);
  return messages;
}

std::vector<json> MessageGroup::split(const std::vector<std::string>& texts) {
  std::vector<json> messages;
  for (const std::string& text : texts) {
    json whole = json::parse(text, nullptr, false);
    append(whole, messages, 0);
  }
  return messages;
}

std::string MessageGroup::join(std::vector<json> messages) {
  if (messages.size() == 1) return messages.front().dump();
  return protocol::groupOf(std::move(messages)).dump();
}

}  // namespace velomar
