// Reads a panel file. docs/panels.md describes the format.
//
// All mistakes of a file are found at once, but for its syntax as YAML, of which only the first
// mistake is reported. One thread.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "bridge/Panel.h"

namespace bridge {

class PanelFile {
 public:
  struct Problem {
    std::string file;
    int line = 0;  // from 1; 0: the whole file
    int column = 0;
    std::string text;

    // `panels/c172.yaml:12:9: unknown face "lmap", did you mean "lamp"?`
    std::string describe() const;
  };

  // `symbols` are the names of those that ship. Throws nothing, whatever the file holds.
  PanelFile(const std::filesystem::path& file, const std::vector<std::string>& symbols);

  // The same for a text, as if it were the content of `file`.
  static PanelFile fromText(const std::string& text, const std::filesystem::path& file,
                            const std::vector<std::string>& symbols);

  // Complete only if there is no problem.
  const Panel& panel() const { return read; }
  const std::vector<Problem>& problems() const { return found; }
  bool isRight() const { return found.empty(); }

 private:
  PanelFile() = default;

  Panel read;
  std::vector<Problem> found;
};

}  // namespace bridge
