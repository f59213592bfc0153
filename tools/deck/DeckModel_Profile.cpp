// Saves and loads profiles. A profile is the list of commands that make a deck, so that it can be
// written by hand too.
#include <algorithm>
#include <sstream>
#include <utility>

#include "tools/deck/DeckModel.h"

namespace {

// The command that places a key or a dial on the page that its device shows.
std::string placingOf(const std::string& id, const DeckModel::Context& context) {
  const bool isDial = context.controller == "Encoder";
  std::ostringstream line;
  line << (isDial ? "dial " : "appear ") << id << ' ' << context.device << ' ' << context.column;
  if (!isDial) line << ' ' << context.row;
  const std::string name = context.settings.value("KeyName", "");
  if (!name.empty()) line << ' ' << name;
  return line.str();
}

}  // namespace

std::string DeckModel::save() const {
  std::vector<std::pair<std::string, Device>> devices(plugged.begin(), plugged.end());
  std::sort(devices.begin(), devices.end(),
            [](const auto& a, const auto& b) { return a.second.turn < b.second.turn; });
  std::ostringstream text;
  text << "dialpress " << dialPress() << '\n';
  for (const auto& [id, device] : devices) {
    text << "plug " << id << ' ' << device.kind << '\n';
    int page = 0;
    const auto turnTo = [&, name = id](int wanted) {
      if (page != wanted) text << "page " << name << ' ' << wanted << '\n';
      page = wanted;
    };
    for (int each = 0; each < kPages; ++each) {
      for (const auto& [name, context] : placed) {
        if (context.device != id || context.page != each) continue;
        turnTo(each);
        text << placingOf(name, context) << '\n';
      }
    }
    turnTo(device.page);
    if (!device.isPlugged) text << "unplug " << id << '\n';
  }
  return text.str();
}

DeckModel::Events DeckModel::load(const std::string& profile, std::string& error) {
  DeckModel made;
  std::istringstream lines(profile);
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    if (line.find_first_not_of(" \t\r") == std::string::npos || line.front() == '#') continue;
    if (isOfPlaces(line)) {
      (void)made.obey(line, error);
    } else {
      error = "A profile only has the commands that place things.";
    }
    if (!error.empty()) {
      error = "line " + std::to_string(number) + ": " + error;
      return {};
    }
  }
  *this = std::move(made);
  Events events;
  for (const auto& [id, device] : plugged) {
    if (!device.isPlugged) continue;
    events.push_back(deviceEvent(id));
    tell(events, "willAppear", id);
  }
  return events;
}
