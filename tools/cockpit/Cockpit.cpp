// Stands in for the simulator plug-in: keeps the link, prints every message, and sends what it is
// told to. With an aircraft it also answers by itself.
#include <cstdio>
#include <optional>
#include <string>

#include "simulator/SimulatorLink.h"
#include "tools/cockpit/Aircraft.h"
#include "tools/cockpit/Panel.h"
#include "tools/common/Output.h"

namespace {

constexpr std::chrono::milliseconds kPoll{1};
constexpr std::size_t kShownBytes = 200;

constexpr char kUsage[] =
    "velomar-cockpit [--aircraft] [--start NS]\n"
    "  --aircraft  a small aircraft behind the panel: it answers presses and draws the faces\n"
    "  --start NS  time zero of the output, on the monotonic clock\n"
    "Then reads lines from standard input: a message to send, as it is, or \"quit\".\n"
    "Key names that the aircraft knows: GEAR, FLAPS_UP, FLAPS_DOWN, LIGHT_NAV, LIGHT_BEACON,\n"
    "LIGHT_STROBE, LIGHT_LANDING, LIGHT_TAXI, CAUTION, FAIL, AP, CLOCK; for dials above all:\n"
    "COM1, NAV1, HEADING, ALTITUDE, SPEED.\n";

// Cuts the bytes of pictures and layouts out of a message.
void cutBytes(std::string& message, const std::string& member) {
  for (auto begin = message.find(member); begin != std::string::npos;
       begin = message.find(member, begin)) {
    begin += member.size();
    message.replace(begin, message.find('"', begin) - begin, "...");
  }
}

// Never ends in the middle of a character.
std::string shortened(const std::string& message) {
  std::string text = message;
  cutBytes(text, "\"Base64\":\"");
  cutBytes(text, "\"BASE64\":\"");
  if (text.size() <= kShownBytes) return text;
  std::size_t end = kShownBytes;
  while ((static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
  return text.substr(0, end) + "... (" + std::to_string(message.size()) + " bytes)";
}

bool transmit(SimulatorLink& link, const std::string& message, const std::string& shown) {
  Output::line("to panel      " + shown);
  const bool isSent = link.send(message);
  if (!isSent) Output::line("error         the store is full");
  return isSent;
}

std::chrono::seconds utcTimeOfDay() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(now % std::chrono::hours(24));
}

// The aircraft and its panel, on the clock of this process.
class Flight {
 public:
  explicit Flight(SimulatorLink& link)
      : aircraft(utcTimeOfDay()),
        panel(aircraft,
              [&link](const std::string& message) {
                return transmit(link, message, shortened(message));
              }),
        start(Clock::now()) {}

  void handle(const std::string& message) { panel.handle(message, flown); }

  void goOn(bool linkIsUp) {
    const auto before = flown;
    flown = std::chrono::duration_cast<Panel::Time>(Clock::now() - start);
    aircraft.advance(flown - before);
    if (linkIsUp) panel.show(flown);
    if (panel.summary() == summary) return;
    summary = panel.summary();
    Output::line("panel has     " + summary);
  }

 private:
  using Clock = std::chrono::steady_clock;

  Aircraft aircraft;
  Panel panel;
  Clock::time_point start;
  Panel::Time flown{0};
  std::string summary;
};

bool obey(const std::string& line, SimulatorLink& link) {
  if (line == "quit") return false;
  if (!line.empty()) (void)transmit(link, line, line);
  return true;
}

void run(bool hasAircraft) {
  Input input;
  SimulatorLink link;
  Output::line("stores open");
  std::optional<Flight> flight;
  if (hasAircraft) flight.emplace(link);
  bool wasUp = false;
  std::string line;
  for (bool goesOn = true; goesOn;) {
    for (const std::string& message : link.poll()) {
      Output::line("from panel    " + message);
      if (flight) flight->handle(message);
    }
    if (link.isUp() != wasUp) {
      wasUp = link.isUp();
      Output::line(wasUp ? "link up" : "link down");
    }
    if (flight) flight->goOn(link.isUp());
    const auto event = input.next(line, kPoll);
    goesOn = event != Input::Event::End;
    if (event == Input::Event::Line) goesOn = obey(line, link);
  }
}

bool readOptions(int argc, char* argv[], bool& hasAircraft) {
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    if (word == "--aircraft") {
      hasAircraft = true;
    } else if (word == "--start" && i + 1 < argc) {
      Output::setStart(argv[++i]);
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace

int main(int argc, char* argv[]) {
  bool hasAircraft = false;
  if (!readOptions(argc, argv, hasAircraft)) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  try {
    run(hasAircraft);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "velomar-cockpit: %s\n", e.what());
    return 1;
  }
  return 0;
}
