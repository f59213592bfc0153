// velomar-bridge: the ready-made simulator's side. It joins a simulator to the panel's end of the
// link by a panel file.
#include <CLI/CLI.hpp>
#include <asio/io_context.hpp>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bridge/Commands.h"
#include "bridge/Folders.h"
#include "bridge/Log.h"
#include "bridge/Trainer.h"
#include "bridge/simulators/FlightGearSimulator.h"
#include "bridge/simulators/XPlaneSimulator.h"
#include "tools/common/CommandLine.h"

namespace {

using bridge::Commands;
using bridge::Folders;
using bridge::SimulatorKind;
using Path = std::filesystem::path;

struct Options {
  SimulatorKind simulator = SimulatorKind::XPlane;
  bridge::Endpoint endpoint;
  Path panel;
  std::vector<Path> folders;
  bool isVerbose = false;
  std::string start;
  std::vector<Path> checked;
  std::string pattern;
  Path drawn;
  Path out;
};

std::chrono::seconds utcTimeOfDay() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::seconds>(now % std::chrono::hours(24));
}

std::unique_ptr<bridge::Simulator> makeSimulator(const Options& options,
                                                 asio::io_context& context) {
  switch (options.simulator) {
    case SimulatorKind::XPlane:
      return bridge::makeXPlane(context, options.endpoint);
    case SimulatorKind::FlightGear:
      return bridge::makeFlightGear(context, options.endpoint);
    case SimulatorKind::Trainer:
      break;
  }
  return std::make_unique<bridge::Trainer>(context, utcTimeOfDay());
}

bridge::PanelLibrary makeLibrary(const Options& options, const bridge::Symbols& symbols) {
  if (!options.panel.empty()) return {options.panel, symbols.names()};
  std::vector<Path> folders = options.folders;
  folders.push_back(Folders::ofUser() / "panels");
  folders.push_back(Folders::shipped("panels"));
  return {std::move(folders), symbols.names()};
}

void addOptions(CLI::App& app, Options& options) {
  std::map<std::string, SimulatorKind> kinds;
  for (std::size_t i = 0; i < bridge::kSimulatorCount; ++i) {
    kinds[bridge::kSimulatorNames[i]] = static_cast<SimulatorKind>(i);
  }
  app.set_config("--config", (Folders::ofUser() / "bridge.ini").string(),
                 "A file of the options below, name = value a line");
  app.allow_config_extras(CLI::config_extras_mode::error);
  app.add_option("--simulator", options.simulator, "xplane, flightgear or trainer")
      ->transform(CLI::CheckedTransformer(kinds))
      ->option_text("NAME=xplane");
  app.add_option("--host", options.endpoint.host, "Where the simulator runs")
      ->capture_default_str();
  app.add_option("--port", options.endpoint.port,
                 "Its port, if not 8086 (xplane) or 5480 (flightgear)");
  app.add_option("--panel", options.panel, "One panel file for every aircraft");
  app.add_option("--panels", options.folders,
                 "A folder of panel files, looked at before the user's");
  app.add_flag("--verbose", options.isVerbose, "Prints every message of the link");
  app.add_option("--start", options.start, "Time zero of the output, on the monotonic clock in ns");
  app.fallthrough();
}

int perform(const CLI::App& app, const Options& options) {
  bridge::Symbols symbols(Folders::shipped("symbols"));
  if (app.got_subcommand("check")) return Commands::check(options.checked, symbols);
  if (app.got_subcommand("faces")) return Commands::faces(options.drawn, options.out, symbols);
  asio::io_context context(1);
  const auto simulator = makeSimulator(options, context);
  if (app.got_subcommand("names")) return Commands::names(context, *simulator, options.pattern);
  bridge::PanelLibrary library = makeLibrary(options, symbols);
  if (app.got_subcommand("values")) {
    return Commands::values(context, *simulator, options.simulator, library);
  }
  return Commands::run(context, *simulator, options.simulator, library, symbols);
}

}  // namespace

int main(int argc, char* argv[]) {
  Options options;
  CLI::App app("Shows a flight simulator on the Stream Deck, by panel files, until told to end.");
  addOptions(app, options);
  CLI::App* check = app.add_subcommand("check", "Reports what is wrong with panel files");
  check->add_option("FILE", options.checked, "Panel files")->required();
  CLI::App* names = app.add_subcommand("names", "Lists the names of the running simulator");
  names->add_option("PATTERN", options.pattern, "Only those that contain it");
  app.add_subcommand("values", "Prints the panel's values as they change");
  CLI::App* faces = app.add_subcommand("faces", "Draws every face of a panel in every state");
  faces->add_option("PANEL", options.drawn, "The panel file")->required();
  faces->add_option("--out", options.out, "The folder for the pictures")->required();
  readCommandLine(app, argc, argv);
  try {
    if (!options.start.empty()) bridge::Log::setStart(options.start);
    bridge::Log::setVerbose(options.isVerbose);
    return perform(app, options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "velomar-bridge: %s\n", error.what());
    return 1;
  }
}
