// Paints a face: dark, the label on top, a symbol in the colour of the state, the state in words.
#pragma once

#include <string>

#include "tools/cockpit/Face.h"

class FacePainter {
 public:
  // The face as a PNG file. Throws std::runtime_error if it can't be drawn.
  static std::string png(const Face& face);
};
