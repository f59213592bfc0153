// Shows the whole road: starts both stand-ins and, through one of them, the plug-in, waits for the
// link, and lets a press go out and the image that answers it come back.
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "tools/common/ChildProcess.h"
#include "tools/common/Output.h"

namespace fs = std::filesystem;

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kLinkPatience{20};
constexpr seconds kPressPatience{5};
constexpr seconds kEndPatience{25};
constexpr milliseconds kTick{500};

// A device of each kind with a small aeroplane's panel on them.
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

// The plug-in as it is installed, in a folder that goes with the object.
class Installation {
 public:
  explicit Installation(const fs::path& bundle) {
    std::string name = (fs::temp_directory_path() / "velomar-demo-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    folder = name;
    path = folder / bundle.filename();
    fs::copy(bundle, path, fs::copy_options::recursive);
  }
  ~Installation() {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
  }
  Installation(const Installation&) = delete;
  Installation& operator=(const Installation&) = delete;

  fs::path path;

 private:
  fs::path folder;
};

ChildProcess::Options showing(const std::string& who) {
  ChildProcess::Options options;
  options.onLine = [who](const std::string& line) {
    std::printf("%-8s %s\n", who.c_str(), line.substr(0, 150).c_str());
    std::fflush(stdout);
  };
  return options;
}

class Demo {
 public:
  explicit Demo(const fs::path& build)
      : plugin(build / "com.brackenmoor.velomar.sdPlugin"),
        cockpit(
            {(build / "tools/velomar-cockpit").string(), "--aircraft", "--start", Output::start()},
            showing("cockpit")),
        deck({(build / "tools/velomar-deck").string(), "--start", Output::start(),
              plugin.path.string()},
             showing("deck")) {}

  // False: something didn't come in time, or the user has had enough.
  bool show() { return bringUpPanel() && awaitLink() && awaitReplay() && pressAndAnswer(); }

  void stayUntilTold() {
    std::printf(
        "\nAll three go on. Ctrl-C ends them; what you type goes to the deck.\n"
        "See and touch the panel at %s\n",
        address().c_str());
    for (std::string line;;) {
      const auto event = input.next(line, kTick);
      if (event == Input::Event::End) return;
      if (event == Input::Event::Line) deck.writeLine(line);
    }
  }

  void end() {
    std::puts("\nEnding. The plug-in's link takes up to 10 seconds to stop.");
    deck.writeLine("quit");
    const bool deckEnded = deck.waitForEnd(kEndPatience).has_value();
    cockpit.writeLine("quit");
    const bool cockpitEnded = cockpit.waitForEnd(kEndPatience).has_value();
    std::puts(deckEnded && cockpitEnded ? "All three have ended." : "Not all have ended in time.");
  }

 private:
  bool bringUpPanel() {
    if (!deck.waitForLine("registerPlugin", kPressPatience)) return fail("no registration");
    for (const char* command : kPanel) deck.writeLine(command);
    return true;
  }

  bool awaitLink() {
    std::puts("\nThe link starts 5 seconds after the plug-in.");
    while (!cockpit.waitForLine("link up", kTick)) {
      if (Input::isToldToEnd()) return false;
      if (Output::now() > kLinkPatience.count()) return fail("the link didn't come up");
      std::printf("         %8.1f s\n", Output::now());
      std::fflush(stdout);
    }
    return true;
  }

  bool awaitReplay() {
    // The last of the faces that answer it, in the order of the contexts.
    if (!cockpit.waitForLine("Force Refresh", kPressPatience) ||
        !deck.waitForLine(R"("context":"TAXI","event":"setImage","payload":{"image":"data:)",
                          kPressPatience)) {
      return fail("no replay");
    }
    std::puts("\nThe cockpit knows every device and context. Now a press:");
    return true;
  }

  bool pressAndAnswer() {
    const std::size_t before = deck.lines().size();
    deck.writeLine("press LANDING");
    const auto in = deck.waitForLine("\"keyDown\"", kPressPatience, before);
    const auto out = cockpit.waitForLine("Key Down", kPressPatience);
    const auto back = deck.waitForLine(R"("context":"LANDING","event":"setImage")", kPressPatience,
                                       in.value_or(before));
    if (!in || !out || !back) return fail("the press or its answer didn't arrive");
    const double pressed = timeOf(deck, *in);
    const double taken = timeOf(cockpit, *out);
    const double shown = timeOf(deck, *back);
    std::printf("\nkeyDown into the plug-in   %.4f s\n", pressed);
    std::printf("Key Down in the cockpit    %.4f s, %.1f ms later\n", taken,
                1000 * (taken - pressed));
    std::printf("its new face at the deck   %.4f s, %.1f ms after the press\n", shown,
                1000 * (shown - pressed));
    return true;
  }

  // The stamp of the line in front of `behind`.
  static double timeOf(const ChildProcess& child, std::size_t behind) {
    return std::atof(child.lines().at(behind - 1).c_str());
  }

  // Where the deck serves its page.
  std::string address() {
    const auto index = deck.waitForLine("http://", kPressPatience);
    if (!index) return "(no address)";
    const std::string line = deck.lines().at(*index - 1);
    return line.substr(line.find("http://"));
  }

  static bool fail(const char* what) {
    std::fprintf(stderr, "velomar-demo: %s\n", what);
    return false;
  }

  Input input;
  Installation plugin;
  ChildProcess cockpit;
  ChildProcess deck;
};

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 2) {
    std::fputs("velomar-demo BUILD_FOLDER\n", stderr);
    return 2;
  }
  try {
    Demo demo(argv[1]);
    const bool shown = demo.show();
    if (shown && isatty(STDIN_FILENO) != 0) demo.stayUntilTold();
    demo.end();
    return shown ? 0 : 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "velomar-demo: %s\n", e.what());
    return 1;
  }
}
