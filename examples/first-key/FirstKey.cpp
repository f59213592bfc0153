// A switch on every key: each press turns it, and the key says how it is.
#include <velomar/MessageGroup.h>
#include <velomar/SimulatorLink.h>

#include <chrono>
#include <map>
#include <string>
#include <thread>

using nlohmann::json;

int main() {
  velomar::SimulatorLink link;
  std::map<std::string, bool> keys;  // by context: on or off
  for (;;) {
    for (const json& message : velomar::MessageGroup::split(link.poll())) {
      const std::string name = message["Message"];
      const std::string context = message.value("Context", "");
      if (name == "API Version") keys.clear();  // the list of all keys follows
      if (name == "Add Context") keys[context] = false;
      if (name == "Hide Context") keys.erase(context);
      if (name == "Key Down" && keys.count(context) != 0) keys[context] = !keys[context];
      for (const auto& [key, on] : keys) {
        const std::string title = on ? "ON" : "OFF";
        link.send(json{{"Message", "Set Title"}, {"Context", key}, {"Title", title}});
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}
