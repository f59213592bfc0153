// The command line of a program that a person starts.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdlib>

constexpr int kWronglyAsked = 2;  // exit code

// Fills in the options that `app` declares. After --help, --version, or a wrong argument it prints
// the answer and ends the process, with 0 or kWronglyAsked. Call it before anything that has to be
// cleaned up.
inline void readCommandLine(CLI::App& app, int argc, char* argv[]) {
  app.set_version_flag("--version", VELOMAR_VERSION);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::exit(app.exit(error) == 0 ? 0 : kWronglyAsked);
  }
}
