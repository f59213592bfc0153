#include "common/Assertion.h"

#include <cstdio>
#include <cstdlib>

namespace velomar {

void failAssertion(const char* text) noexcept {
  std::fprintf(stderr, "%s\n", text);
  std::abort();
}

}  // namespace velomar
