// The least that a simulator plug-in needs to be on the panel: a lamp and a name on every key and
// dial, switched by a press. Ends with 0 after as many presses as the argument says, 3 without one,
// and with 1 if they haven't come within a minute.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "simulator/Deliveries.h"
#include "simulator/MessageGroup.h"
#include "simulator/SimulatorLink.h"

using nlohmann::json;

// A lamp of 72 x 72 pixels, dark and lit: PNG files in Base64.
constexpr char kDark[] =
    "iVBORw0KGgoAAAANSUhEUgAAAEgAAABIAQMAAABvIyEEAAAABlBMVEUQFhwyPUkR2bElAAAAaElEQVR42mNgGALg"
    "P4zB//8DlGX//w+UVf//H4TB+P///wYwixnIOgBmsQNZD6Ba/0M1I1jyQNYPqHH/oQYiWPVA1j8iWP9BgIosYu3F"
    "5maEj7D5FxEaiBBChBoiJJFCFxHiiFgYzAAA4raaS/4EWSsAAAAASUVORK5CYII=";
constexpr char kLit[] =
    "iVBORw0KGgoAAAANSUhEUgAAAEgAAABIAQMAAABvIyEEAAAABlBMVEUQFhw93IS4NYq4AAAAaElEQVR42mNgGALg"
    "P4zB//8DlGX//w+UVf//H4TB+P///wYwixnIOgBmsQNZD6Ba/0M1I1jyQNYPqHH/oQYiWPVA1j8iWP9BgIosYu3F"
    "5maEj7D5FxEaiBBChBoiJJFCFxHiiFgYzAAA4raaS/4EWSsAAAAASUVORK5CYII=";

struct Lamp {
  std::string name;
  bool isLit = false;
};

int serve(int presses) {
  SimulatorLink link;
  Deliveries deliveries;
  std::map<std::string, Lamp> lamps;  // by context
  const auto start = SimulatorLink::Clock::now();
  for (Deliveries::Time now{0}; now < std::chrono::minutes(1);) {
    for (const std::string& text : link.poll()) {
      for (const json& message : MessageGroup::split(text)) {
        deliveries.heed(message, now);
        const std::string name = message["Message"];
        const std::string context = message.value("Context", "");
        if (name == "API Version") lamps.clear();  // the whole picture follows
        if (name == "Add Context") lamps[context].name = message["KeyName"];
        if (name == "Hide Context") lamps.erase(context);
        if ((name == "Key Down" || name == "Dial Down") && lamps.count(context) != 0) {
          lamps[context].isLit = !lamps[context].isLit;
          --presses;
        }
      }
      // Everything again after each text: simple, and what was lost with a hidden key comes again.
      std::vector<json> faces;
      for (const auto& [context, lamp] : lamps) {
        const std::string title = lamp.name + (lamp.isLit ? " on" : " off");
        faces.push_back(deliveries.image(context, lamp.isLit, lamp.isLit ? kLit : kDark, now));
        faces.push_back({{"Message", "Set Title"}, {"Context", context}, {"Title", title}});
      }
      if (!faces.empty() && !link.send(MessageGroup::join(faces))) deliveries.forget();
    }
    if (presses <= 0) return 0;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    now = std::chrono::duration_cast<Deliveries::Time>(SimulatorLink::Clock::now() - start);
  }
  return 1;
}

int main(int argc, char* argv[]) try {
  return serve(argc > 1 ? std::atoi(argv[1]) : 3);
} catch (const std::exception& e) {  // a store that can't be opened
  std::fprintf(stderr, "%s\n", e.what());
  return 1;
}
