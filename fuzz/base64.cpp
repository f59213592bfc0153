// The lenient decoder: any text, and an output whose length follows from the input's alone.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "common/Base64.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  std::string output = "as it was";
  const bool failed = !macaron::Base64::Decode(input, output).empty();
  if (failed != (size % 4 != 0)) std::abort();
  if (failed && output != "as it was") std::abort();
  if (!failed && (output.size() > size / 4 * 3 || output.size() + 2 < size / 4 * 3)) std::abort();
  return 0;
}
