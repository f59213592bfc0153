// The subcommands of the program. Each function returns the exit code.
#pragma once

#include <asio/io_context.hpp>
#include <filesystem>
#include <string>
#include <vector>

#include "bridge/PanelLibrary.h"
#include "bridge/Simulator.h"
#include "bridge/Symbols.h"

namespace bridge {

class Commands {
 public:
  using Path = std::filesystem::path;

  // Runs the bridge until it is told to end.
  static int run(asio::io_context& context, Simulator& simulator, SimulatorKind kind,
                 PanelLibrary& library, Symbols& symbols);

  // Reports all that is wrong with the files. 1: something is.
  static int check(const std::vector<Path>& files, const Symbols& symbols);

  // Prints the names of the simulator's values and commands. 1: the simulator didn't give them.
  static int names(asio::io_context& context, Simulator& simulator, const std::string& pattern);

  // Prints the panel's values as they change until it is told to end.
  static int values(asio::io_context& context, Simulator& simulator, SimulatorKind kind,
                    PanelLibrary& library);

  // Draws every face of a panel in every state, and a page of them. 1: the panel is wrong, or the
  // folder can't be written.
  static int faces(const Path& file, const Path& folder, Symbols& symbols);
};

}  // namespace bridge
