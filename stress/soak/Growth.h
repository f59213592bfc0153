// What the program holds of the machine over time. Descriptors that stay count: one may be open for
// a moment at any look, and for long on a busy machine.
#pragma once

#include <optional>

#include "stress/soak/Vitals.h"

class Growth {
 public:
  // A look. The first one is what later ones are compared with; the last one should be when nothing
  // is going on.
  void add(const Vitals& vitals);

  const Vitals& last() const { return now; }
  bool hasBegun() const { return first.has_value(); }

  // REQUIRES: hasBegun().
  long memory() const { return most.resident - first->resident; }  // KiB, at any time
  std::size_t descriptors() const { return now.descriptors - fewest; }

  void print() const;

 private:
  std::optional<Vitals> first;
  Vitals most, now;
  std::size_t fewest = 0;  // descriptors in a look
};
