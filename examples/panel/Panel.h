// A panel in C++: a gear key, a heading dial with a layout of its own, and a clock.
#pragma once

#include <velomar/Deliveries.h>
#include <velomar/SimulatorLink.h>

#include <map>
#include <string>
#include <vector>

class Panel {
 public:
  // `layout` is the path of heading.json. Throws if that or the link can't be opened.
  explicit Panel(const std::string& layout);

  // Call it in the simulator's loop, at least twice a second.
  void poll();

 private:
  void handle(const nlohmann::json& message);
  void show(const std::string& context);
  void showAll();
  void tick();
  void title(const std::string& context, const std::string& text);
  velomar::Deliveries::Time now() const;

  velomar::SimulatorLink link;
  velomar::Deliveries deliveries;
  std::map<std::string, std::string> names;  // by context
  std::vector<nlohmann::json> changes;       // to be sent at the end of a poll
  std::string layout;                        // in Base64
  bool gearIsDown = true;
  int heading = 270;
  const velomar::SimulatorLink::Clock::time_point start = velomar::SimulatorLink::Clock::now();
};
