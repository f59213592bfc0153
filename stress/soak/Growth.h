// Follows how much memory and how many descriptors the program holds. Only descriptors that stay
// open count, because one may be open for a moment at any look, or for longer on a busy machine.
#pragma once

#include <optional>

#include "stress/soak/Vitals.h"

class Growth {
 public:
  // Adds a look. Later looks are compared with the first one; the last one should be made when
  // nothing is going on.
  void add(const Vitals& vitals);

  const Vitals& last() const { return now; }
  bool hasBegun() const { return first.has_value(); }

  // REQUIRES: hasBegun().
  long memory() const { return most.resident - first->resident; }  // KiB, at most at any look
  std::size_t descriptors() const { return now.descriptors - fewest; }

  void print() const;

 private:
  std::optional<Vitals> first;
  Vitals most, now;
  std::size_t fewest = 0;  // descriptors in any look
};
