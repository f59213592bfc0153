// Joins several messages into one text and takes such a text apart. The link carries these in both
// directions.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace velomar {

// Static only. Any thread may call.
class MessageGroup {
 public:
  // The messages of a text in the order in which they are to be handled, groups within a group
  // among them. Each is an object whose "Message" is a string. Anything else is left out.
  static std::vector<nlohmann::json> split(const std::string& text);

  // The same for several texts, as SimulatorLink::poll returns them.
  static std::vector<nlohmann::json> split(const std::vector<std::string>& texts);

  // Joins the messages into one text. REQUIRES: at least one message. Raises the JSON library's
  // error for a string that isn't UTF-8.
  static std::string join(std::vector<nlohmann::json> messages);
};

}  // namespace velomar
