// Draws faces, in one style for all. One thread.
#pragma once

#include <string>

#include "bridge/Face.h"
#include "bridge/Symbols.h"

namespace bridge {

class FacePainter {
 public:
  // The symbols outlive the object.
  explicit FacePainter(Symbols& drawn) : symbols(drawn) {}

  // Returns a PNG file: a key's face has `pixels` x `pixels`, a dial's always 200 x 100. Throws
  // std::runtime_error if it can't be drawn.
  std::string png(const Face& face, int pixels = 144) const;

 private:
  Symbols& symbols;
};

}  // namespace bridge
