#include "bridge/Commands.h"

#include <fmt/format.h>

#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <csignal>
#include <cstdio>

#include "bridge/Bridge.h"
#include "bridge/FaceSheet.h"
#include "bridge/Folders.h"
#include "bridge/InstanceLock.h"
#include "bridge/Log.h"

namespace bridge {

namespace {

constexpr std::chrono::seconds kNamesPatience{15};

void stopWhenTold(asio::io_context& context, asio::signal_set& signals) {
  signals.async_wait([&context](const asio::error_code& error, int) {
    if (!error) context.stop();
  });
}

// Reports a file's problems. Returns whether there is none.
bool report(const std::vector<PanelFile::Problem>& problems) {
  for (const auto& problem : problems) fmt::print(stderr, "{}\n", problem.describe());
  return problems.empty();
}

// An observer that ignores all that it is told, for classes that need only a part of it.
class Listener : public Simulator::Observer {
 public:
  void onConnected() override {}
  void onLost(const std::string& reason) override { Log::line("simulator lost: " + reason); }
  void onAircraft(const std::vector<std::string>& /*names*/) override {}
  void onValue(std::size_t /*place*/, const Value& /*value*/) override {}
  void onValueUnknown(std::size_t /*place*/) override {}
  void onCommandUnknown(std::size_t /*place*/) override {}
  void onCommandKnown(std::size_t /*place*/) override {}
  void onRefused(const std::string& reason) override { Log::line("refused: " + reason); }
};

class NameLister : public Listener {
 public:
  NameLister(asio::io_context& used, Simulator& asked, std::string wanted)
      : context(used), simulator(asked), pattern(std::move(wanted)) {}

  void onConnected() override {
    simulator.listNames(pattern, [this](std::vector<std::string> names, std::string error) {
      for (const std::string& name : names) fmt::print("{}\n", name);
      if (!error.empty()) fmt::print(stderr, "velomar-bridge: {}\n", error);
      result = error.empty() ? 0 : 1;
      context.stop();
    });
  }

  int result = 1;

 private:
  asio::io_context& context;
  Simulator& simulator;
  std::string pattern;
};

class ValuePrinter : public Listener {
 public:
  ValuePrinter(Simulator& asked, SimulatorKind whose, PanelLibrary& found)
      : simulator(asked), kind(whose), library(found) {}

  void onAircraft(const std::vector<std::string>& names) override {
    panel = library.choose(names);
    rows.clear();
    if (panel == nullptr) {
      Log::line("no panel for this aircraft");
      return;
    }
    std::vector<std::string> followed;
    for (const Panel::Row& row : panel->values) {
      const auto& name = row.names[static_cast<std::size_t>(kind)];
      if (!name) continue;
      rows.push_back(&row);
      followed.push_back(*name);
    }
    simulator.follow(std::move(followed), {});
  }

  void onValue(std::size_t place, const Value& value) override {
    if (place >= rows.size()) return;
    std::visit([&](const auto& known) { print(*rows[place], fmt::format("{}", known)); }, value);
  }

  void onValueUnknown(std::size_t place) override {
    if (place < rows.size()) print(*rows[place], "(unknown)");
  }

 private:
  void print(const Panel::Row& row, const std::string& value) const {
    fmt::print("{:24} {:24} {}\n", row.name, value, *row.names[static_cast<std::size_t>(kind)]);
    std::fflush(stdout);
  }

  Simulator& simulator;
  SimulatorKind kind;
  PanelLibrary& library;
  std::shared_ptr<const Panel> panel;
  std::vector<const Panel::Row*> rows;
};

}  // namespace

int Commands::run(asio::io_context& context, Simulator& simulator, SimulatorKind kind,
                  PanelLibrary& library, Symbols& symbols) {
  const InstanceLock lock(Folders::lockFile());
  asio::signal_set signals(context, SIGINT, SIGTERM);
  stopWhenTold(context, signals);
  Bridge bridge(context, simulator, kind, library, symbols);
  Log::line("stores open");
  bridge.run();
  return 0;
}

int Commands::check(const std::vector<Path>& files, const Symbols& symbols) {
  bool areRight = true;
  for (const Path& file : files) {
    areRight = report(PanelFile(file, symbols.names()).problems()) && areRight;
  }
  return areRight ? 0 : 1;
}

int Commands::names(asio::io_context& context, Simulator& simulator, const std::string& pattern) {
  NameLister lister(context, simulator, pattern);
  asio::steady_timer patience(context, kNamesPatience);
  patience.async_wait([&context](const asio::error_code& error) {
    if (error) return;
    fmt::print(stderr, "velomar-bridge: the simulator doesn't answer\n");
    context.stop();
  });
  simulator.start(lister);
  context.run();
  return lister.result;
}

int Commands::values(asio::io_context& context, Simulator& simulator, SimulatorKind kind,
                     PanelLibrary& library) {
  (void)library.refresh();
  (void)report(library.problems());
  asio::signal_set signals(context, SIGINT, SIGTERM);
  stopWhenTold(context, signals);
  ValuePrinter printer(simulator, kind, library);
  simulator.start(printer);
  context.run();
  return 0;
}

int Commands::faces(const Path& file, const Path& folder, Symbols& symbols) {
  const PanelFile panelFile(file, symbols.names());
  if (!report(panelFile.problems())) return 1;
  FaceSheet(panelFile.panel(), symbols).write(folder);
  return 0;
}

}  // namespace bridge
