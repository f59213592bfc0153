#include "stress/soak/Growth.h"

#include <algorithm>
#include <cstdio>

void Growth::add(const Vitals& vitals) {
  now = vitals;
  if (!first) {
    first = most = now;
    fewest = now.descriptors;
  }
  most.resident = std::max(most.resident, now.resident);
  most.anonymous = std::max(most.anonymous, now.anonymous);
  fewest = std::min(fewest, now.descriptors);
}

void Growth::print() const {
  std::printf("  resident memory %ld KiB, grew by %ld (%ld of it anonymous)\n", first->resident,
              memory(), most.anonymous - first->anonymous);
  std::printf("  descriptors %zu, grew by %zu\n", fewest, descriptors());
}
