#include "Panel.h"

#include <velomar/Base64.h>
#include <velomar/MessageGroup.h>

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "clock_face.h"

using nlohmann::json;
using velomar::MessageGroup;

Panel::Panel(const std::string& layoutPath) {
  std::ifstream file(layoutPath);
  if (!file) throw std::runtime_error("can't open " + layoutPath);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  layout = velomar::encodeBase64(text);
}

void Panel::poll() {
  for (const json& message : MessageGroup::split(link.poll())) {
    deliveries.heed(message, now());
    handle(message);
  }
  if (!link.isUp()) return;
  tick();
  // Messages that the store didn't take count as not sent, with their pictures and layouts.
  if (!changes.empty() && !link.send(MessageGroup::join(changes))) deliveries.forget();
  changes.clear();
}

void Panel::handle(const json& message) {
  const std::string name = message["Message"];
  const std::string context = message.value("Context", "");
  const auto known = names.find(context);
  if (name == "API Version") {
    names.clear();  // the list of all contexts follows
  } else if (name == "Force Refresh") {
    showAll();
  } else if (name == "Add Context" || name == "Update Key Name") {
    names[context] = message["KeyName"];
    show(context);
  } else if (known == names.end()) {
    return;
  } else if (name == "Hide Context") {
    names.erase(known);
  } else if (name == "Key Down" && known->second == "GEAR") {
    gearIsDown = !gearIsDown;
    showAll();
  } else if (name == "Encoder Rotate" && known->second == "HDG") {
    heading = ((heading + message["Ticks"].get<int>()) % 360 + 360) % 360;
    showAll();
  }
}

void Panel::show(const std::string& context) {
  const std::string& name = names[context];
  if (name == "GEAR") {
    title(context, std::string("GEAR\n") + (gearIsDown ? "down" : "up"));
  } else if (name == "HDG") {
    changes.push_back(deliveries.layout(context, "heading", layout, now()));
    const std::string digits = std::to_string(1000 + heading).substr(1);
    title(context, "HDG\n" + digits + "\n" + std::to_string(heading * 100 / 360));
  } else if (name != "CLOCK") {  // which shows itself
    title(context, "what is\n" + name);
  }
}

void Panel::showAll() {
  for (const auto& entry : names) show(entry.first);
}

void Panel::tick() {
  unsigned char face[CLOCK_FACE_BYTES];
  const std::size_t size = paint_clock(time(nullptr), face);
  const std::string base64 = velomar::encodeBase64({reinterpret_cast<const char*>(face), size});
  for (const auto& [context, name] : names) {
    if (name != "CLOCK") continue;
    if (const auto frame = deliveries.frame(context, base64)) changes.push_back(*frame);
  }
}

void Panel::title(const std::string& context, const std::string& text) {
  changes.push_back({{"Message", "Set Title"}, {"Context", context}, {"Title", text}});
}

velomar::Deliveries::Time Panel::now() const {
  return std::chrono::duration_cast<velomar::Deliveries::Time>(
      velomar::SimulatorLink::Clock::now() - start);
}
