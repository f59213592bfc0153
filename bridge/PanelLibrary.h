// Knows the panel files that there are, and chooses one for an aircraft. One thread.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bridge/PanelFile.h"

namespace bridge {

class PanelLibrary {
 public:
  using Path = std::filesystem::path;

  // Panels of an earlier folder come first. `symbols` are the names of those that ship.
  PanelLibrary(std::vector<Path> searched, std::vector<std::string> symbolNames);

  // Uses one file alone, for every aircraft.
  PanelLibrary(const Path& file, std::vector<std::string> symbolNames);

  // Reads the files that are new, or have changed since the last call, or whose pictures have.
  // `problems` has their mistakes until the next call. Returns whether any file was read or has
  // gone.
  bool refresh();
  const std::vector<PanelFile::Problem>& problems() const { return found; }

  // The panel for an aircraft with these names, the most exact first: of the first folder that has
  // one, or else the first that is for any aircraft. Null: there is none.
  std::shared_ptr<const Panel> choose(const std::vector<std::string>& aircraft) const;

  // The file of a panel that was chosen; empty if it has gone.
  Path fileOf(const Panel* panel) const;

 private:
  // A file's stamp differs once the file has changed, come or gone.
  using Stamp = std::pair<std::filesystem::file_time_type, std::uintmax_t>;  // time, bytes

  struct Known {
    std::map<Path, Stamp> files;  // the panel's and its pictures', as they were when it was read
    std::shared_ptr<const Panel> panel;
  };

  using Files = std::vector<Path>;

  static Stamp stampOf(const Path& file);
  static Files listOf(const Path& folder);
  std::shared_ptr<const Panel> chooseFrom(const Files& files,
                                          const std::vector<std::string>& aircraft) const;
  bool read(const Path& file);

  std::vector<Path> folders;
  Path single;
  std::vector<std::string> symbols;
  std::vector<Files> order;  // of precedence, by folder
  std::map<Path, Known> known;
  std::vector<PanelFile::Problem> found;
};

}  // namespace bridge
