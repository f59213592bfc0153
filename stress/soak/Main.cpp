// velomar-soak: see Soak.h. Ends with 0 if no fault was found, 1 if there was one, 2 if the
// arguments can't be used.
#include <cstdio>
#include <exception>

#include "stress/soak/Soak.h"
#include "tools/common/CommandLine.h"

namespace {

constexpr unsigned kMost = 10000000;

void declareArguments(CLI::App& app, SoakSettings& settings) {
  const CLI::Range any(0U, kMost);
  const CLI::Range some(1U, kMost);
  app.option_defaults()->always_capture_default();
  app.add_option("PROGRAM", settings.program, "the plug-in's program")
      ->required()
      ->check(CLI::ExistingFile);
  app.add_option("--seconds", settings.seconds, "how long")->check(some);
  app.add_option("--events", settings.events, "each way, as fast as they go, however long it takes")
      ->check(any);
  app.add_option("--rate", settings.rate, "events a second each way")->check(some);
  app.add_option("--losses", settings.losses, "of the link")->check(any);
  app.add_option("--restarts", settings.restarts, "of the simulator")->check(any);
}

}  // namespace

int main(int argc, char** argv) {
  SoakSettings settings;
  CLI::App app("Has the program carry numbered presses and answers, and accounts for each");
  declareArguments(app, settings);
  readCommandLine(app, argc, argv);
  try {
    return runSoak(settings) ? 0 : 1;
  } catch (const std::exception& e) {
    std::printf("FAULT: %s\n", e.what());
    return 1;
  }
}
