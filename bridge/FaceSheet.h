// Every face of a panel in every state, as PNG files and as one page to look at.
#pragma once

#include <filesystem>
#include <string>

#include "bridge/FacePainter.h"
#include "bridge/Panel.h"
#include "bridge/Symbols.h"

namespace bridge {

class FaceSheet {
 public:
  // Both outlive the object.
  FaceSheet(const Panel& shown, Symbols& drawn) : panel(shown), painter(drawn) {}

  // Makes the folder if it isn't there. Throws std::runtime_error if something can't be written.
  void write(const std::filesystem::path& folder);

 private:
  std::string rowOf(const std::string& name, const Panel::Control& control, bool isDial);
  std::string cellOf(const std::string& name, const Panel::Display& display, bool isDial,
                     std::size_t state);

  const Panel& panel;
  FacePainter painter;
  std::filesystem::path out;
};

}  // namespace bridge
