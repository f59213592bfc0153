// The demonstration: starts the bridge with its trainer, the virtual deck and, through that, the
// plug-in, waits for the link, and shows a press going out and the image that answers it coming
// back.
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "common/Helpers.h"
#include "tools/common/ChildProcess.h"
#include "tools/common/CommandLine.h"
#include "tools/common/Output.h"
#include "tools/common/TemporaryFolder.h"
#include "tools/state/Processes.h"

namespace fs = std::filesystem;

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kStartPatience{10};
constexpr seconds kLinkPatience{20};
constexpr seconds kPressPatience{5};
constexpr seconds kEndPatience{25};
constexpr milliseconds kTick{100};
constexpr std::size_t kLastWords = 4;     // lines of a child that are shown when something fails
constexpr std::size_t kFrameLength = 69;  // of one that is shown then

// The command that starts the simulator's side.
std::vector<std::string> simulatorCommand(const fs::path& build) {
  return {(build / "bridge/velomar-bridge").string(),
          "--simulator",
          "trainer",
          "--verbose",
          "--start",
          Output::start()};
}

std::vector<std::string> deckCommand(const fs::path& build, const fs::path& plugin) {
  return {(build / "tools/velomar-deck").string(), "--start", Output::start(), plugin.string()};
}

// Two devices with a small aeroplane's panel on them.
constexpr const char* kPanel[] = {
    "plug PLUS plus",
    "appear GEAR PLUS 0 0 GEAR",
    "appear FLAPS-UP PLUS 1 0 FLAPS_UP",
    "appear FLAPS-DOWN PLUS 2 0 FLAPS_DOWN",
    "appear CAUTION PLUS 3 0 CAUTION",
    "appear LANDING PLUS 0 1 LIGHT_LANDING",
    "appear AP PLUS 1 1 AP",
    "appear COM1 PLUS 2 1 COM1",
    "appear CLOCK PLUS 3 1 CLOCK",
    "dial HEADING PLUS 0 HEADING",
    "dial ALTITUDE PLUS 1 ALTITUDE",
    "dial SPEED PLUS 2 SPEED",
    "dial COM1-DIAL PLUS 3 COM1",
    "plug FIFTEEN 15",
    "appear NAV FIFTEEN 0 0 LIGHT_NAV",
    "appear BEACON FIFTEEN 1 0 LIGHT_BEACON",
    "appear STROBE FIFTEEN 2 0 LIGHT_STROBE",
    "appear TAXI FIFTEEN 3 0 LIGHT_TAXI",
    "appear FAIL FIFTEEN 4 0 FAIL",
};

// The beginning of an image's frame. The first such frame after the link is up answers the replay's
// first context, the last one its last.
constexpr char kFirstFace[] = R"("event":"setImage","payload":{"image":"data:)";
constexpr char kLastFace[] = R"("context":"TAXI","event":"setImage","payload":{"image":"data:)";

// The plug-in, installed in a folder that is removed with the object.
class Installation {
 public:
  explicit Installation(const fs::path& bundle) : path(folder.path() / bundle.filename()) {
    fs::copy(bundle, path, fs::copy_options::recursive);
  }

 private:
  const TemporaryFolder folder;

 public:
  const fs::path path;
};

// One of the programs that the demonstration starts. Its lines are shown if they are meant for the
// user, or all of them if the user has asked for that.
class Actor {
 public:
  Actor(const char* role, const std::vector<std::string>& command, bool showsAll)
      : name(role), process(command, options(role, showsAll)) {}

  // The time at the beginning of a line, in seconds since the common start.
  double timeOf(std::size_t after) const {
    return std::atof(process.lines().at(after - 1).c_str());
  }

  // Shows the last lines, because an error is told there.
  void showLastWords() const {
    const auto lines = process.lines();
    const std::size_t from = lines.size() - std::min(lines.size(), kLastWords);
    for (std::size_t i = from; i < lines.size(); ++i) {
      show(name, lines[i], hasTime(lines[i]) ? kFrameLength : lines[i].size());
    }
  }

  const char* const name;
  ChildProcess process;

 private:
  static void show(const char* role, const std::string& line, std::size_t length = 150) {
    std::string text = role;
    text.resize(std::max<std::size_t>(text.size() + 1, 10), ' ');
    Output::plain(text + line.substr(0, length));
  }

  // The programs' own lines begin with the time, what they say of an error doesn't.
  static bool hasTime(const std::string& line) {
    const auto at = line.find_first_not_of(' ');
    return at != std::string::npos && std::isdigit(static_cast<unsigned char>(line[at])) != 0;
  }

  // The answer to a typed command in one of the deck's lines, of which two kinds are answers.
  // Empty: the line is no answer.
  static std::string answerIn(const std::string& line) {
    char* text = nullptr;
    (void)std::strtod(line.c_str(), &text);
    const std::string rest = text + std::strspn(text, " ");
    for (const std::string kind : {"error         ", "help          "}) {
      if (rest.rfind(kind, 0) == 0) return rest.substr(kind.size());
    }
    return {};
  }

  static ChildProcess::Options options(const char* role, bool showsAll) {
    ChildProcess::Options made;
    made.withErrorOutput = true;
    made.onLine = [role, showsAll](const std::string& line) {
      const std::string answer = answerIn(line);
      if (!answer.empty()) {
        Output::plain(answer);
      } else if (showsAll) {
        show(role, line);
      }
    };
    return made;
  }
};

class Demo {
 public:
  Demo(const fs::path& build, bool showsAll)
      : plugin(build / "com.brackenmoor.velomar.sdPlugin"),
        deck("deck", deckCommand(build, plugin.path), showsAll),
        simulator("simulator", simulatorCommand(build), showsAll) {}

  // False: a line didn't come in time, a program has ended, or the user has ended the
  // demonstration.
  bool show() {
    return showAddress() && bringUpPanel() && awaitLink() && awaitFaces() && pressAndAnswer();
  }

  // True: the user has ended it.
  bool stayUntilTold() {
    Output::plain(
        "\nAll three go on. help lists what you can type, such as press GEAR; quit ends.");
    Output::plain("See and touch the panel at " + address);
    for (std::string line; isWhole();) {
      const auto event = input.next(line, kTick);
      if (event == Input::Event::End || (event == Input::Event::Line && line == "quit")) {
        return true;
      }
      if (event == Input::Event::Line) deck.process.writeLine(line);
    }
    return false;
  }

  void end() {
    input.hidePrompt();
    Output::plain("\nEnding. The panel's link takes up to 5 seconds to stop.");
    deck.process.writeLine("quit");
    simulator.process.signal(SIGTERM);
    const bool deckEnded = deck.process.waitForEnd(kEndPatience).has_value();
    const bool simulatorEnded = simulator.process.waitForEnd(kEndPatience).has_value();
    Output::plain(deckEnded && simulatorEnded ? "All three have ended."
                                              : "Not all have ended in time.");
  }

 private:
  bool showAddress() {
    const auto index = await(deck, "http://", kStartPatience);
    if (!index) return fail(deck, "the deck has no address");
    const std::string line = deck.process.lines().at(*index - 1);
    address = line.substr(line.find("http://"));
    Output::plain("The virtual deck:  " + address);
    Output::plain("Open it in a browser. The panel lights up in some 5 seconds.\n");
    return true;
  }

  bool bringUpPanel() {
    if (!await(deck, "registerPlugin", kStartPatience)) return fail(deck, "no registration");
    tell("the panel has started, and registered with the deck");
    for (const char* command : kPanel) deck.process.writeLine(command);
    return true;
  }

  bool awaitLink() {
    if (!await(simulator, "link up", kLinkPatience)) {
      return fail(simulator, "the link didn't come up");
    }
    tell("the panel and the simulator's side are linked");
    return true;
  }

  bool awaitFaces() {
    const auto first = await(deck, kFirstFace, kPressPatience);
    if (!first || !await(deck, kLastFace, kPressPatience)) return fail(deck, "no faces");
    tell("keys and dials have their faces", deck.timeOf(*first));
    return true;
  }

  bool pressAndAnswer() {
    const std::size_t before = deck.process.lines().size();
    const std::size_t taken = simulator.process.lines().size();
    deck.process.writeLine("press LANDING");
    const auto in = await(deck, "\"keyDown\"", kPressPatience, before);
    const auto out = await(simulator, "Key Down", kPressPatience, taken);
    const auto back = await(deck, R"("context":"LANDING","event":"setImage")", kPressPatience,
                            in.value_or(before));
    if (!in || !out || !back) return fail(deck, "the press or its answer didn't arrive");
    deck.process.writeLine("release LANDING");
    const double pressed = deck.timeOf(*in);
    char text[120];
    std::snprintf(text, sizeof text,
                  "a press of the landing light: at the simulator after %.1f ms,\n"
                  "          its new face at the deck after %.1f ms",
                  1000 * (simulator.timeOf(*out) - pressed), 1000 * (deck.timeOf(*back) - pressed));
    tell(text, pressed);
    return true;
  }

  // Waits for a line, until a program ends or the user ends the demonstration.
  std::optional<std::size_t> await(Actor& actor, const std::string& text, milliseconds patience,
                                   std::size_t from = 0) {
    const double end = Output::now() + std::chrono::duration<double>(patience).count();
    while (!Input::isToldToEnd() && Output::now() < end) {
      const auto index = actor.process.waitForLine(text, kTick, from);
      if (index) return index;
      if (!isWhole()) break;
    }
    return std::nullopt;
  }

  // Returns whether all three run. If not, says which one has ended.
  bool isWhole() {
    for (Actor* actor : {&deck, &simulator}) {
      const auto code = actor->process.waitForEnd(milliseconds(0));
      if (code && !wasToldOfEnd) tellOfEnd(*actor, *code);
    }
    return !wasToldOfEnd;
  }

  // Says how a program ended. The deck ends with the panel, and its lines say how the panel ended.
  void tellOfEnd(const Actor& actor, int code) {
    static const std::string kPanelEnd = "plug-in ended with ";
    wasToldOfEnd = true;
    input.hidePrompt();
    std::string who = actor.name;
    for (const std::string& line : actor.process.lines()) {
      const auto at = line.find(kPanelEnd);
      if (at == std::string::npos) continue;
      who = "panel";
      code = std::atoi(line.c_str() + at + kPanelEnd.size());
    }
    Output::plain("\nThe " + who + " has ended, " + endOf(code) + ". It said last:");
    actor.showLastWords();
  }

  static std::string endOf(int code) {
    return code > 128 ? "by signal " + std::to_string(code - 128)
                      : "with code " + std::to_string(code);
  }

  bool fail(const Actor& actor, const char* what) {
    if (Input::isToldToEnd() || !isWhole()) return false;
    Output::plain(std::string("velomar-demo: ") + what + ". The " + actor.name + " said last:");
    actor.showLastWords();
    return false;
  }

  static void tell(const std::string& what, double time = Output::now()) {
    char stamp[32];
    std::snprintf(stamp, sizeof stamp, "%6.2f s  ", time);
    Output::plain(stamp + what);
  }

  Input input{"velomar> "};
  const Installation plugin;
  Actor deck;
  Actor simulator;
  std::string address;
  bool wasToldOfEnd = false;
};

// The processes that use the stores already: another simulator's side would get the demonstration's
// presses, and the demonstration those of the user's own panel.
std::string usersOfStores() {
  std::string users;
  for (const Process& process : findProcesses().found) {
    if (!process.has(kToSimulator) && !process.has(kToPanel)) continue;
    users += "  " + process.program + " (pid " + std::to_string(process.pid) + ", user " +
             process.user + ")\n";
  }
  return users;
}

int run(const std::string& build, bool showsAll) {
  const std::string users = usersOfStores();
  if (!users.empty()) {
    std::fprintf(stderr,
                 "velomar-demo: the panel's stores are in use, and would be mixed up with the "
                 "demonstration:\n%sEnd these first.\n",
                 users.c_str());
    return 1;
  }
  Demo demo(build, showsAll);
  bool isGood = demo.show();
  if (isGood && isatty(STDIN_FILENO) != 0) isGood = demo.stayUntilTold();
  demo.end();
  return isGood ? 0 : 1;
}

}  // namespace

int main(int argc, char* argv[]) {
  std::string build;
  bool showsAll = false;
  CLI::App app("Shows the panel at work between the virtual deck and the bridge's trainer.");
  app.add_option("BUILD_FOLDER", build, "where the programs were built")->required()->type_name("");
  app.add_flag("--frames", showsAll, "show every line of every program");
  readCommandLine(app, argc, argv);
  openStandardStreams();
  try {
    return run(build, showsAll);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "velomar-demo: %s\n", e.what());
    return 1;
  }
}
