// The command line of a program that a person starts.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <memory>
#include <string>

#include "tools/common/Wrapped.h"

constexpr int kWronglyAsked = 2;  // exit code

// Breaks the texts of --help at the width of a terminal.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_option_desc(const CLI::Option* option) const override {
    return wrapped(CLI::Formatter::make_option_desc(option), kWidth - get_column_width());
  }

 private:
  static constexpr std::size_t kWidth = 80;
};

// Fills in the options that `app` declares. After --help, --version, or a wrong argument it prints
// the answer and ends the process, with 0 or kWronglyAsked. Call it before anything that has to be
// cleaned up.
inline void readCommandLine(CLI::App& app, int argc, char* argv[]) {
  const auto formatter = std::make_shared<HelpFormatter>();
  app.formatter(formatter);
  for (CLI::App* subcommand : app.get_subcommands(nullptr)) subcommand->formatter(formatter);
  app.set_version_flag("--version", VELOMAR_VERSION);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    std::exit(app.exit(error) == 0 ? 0 : kWronglyAsked);
  }
}
