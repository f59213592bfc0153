// From text to JSON: the result is the one of the library's own reading, failures included.
#include <cstdint>
#include <cstdlib>

#include "tests/support/JsonTexts.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (!isReadAsByTheLibrary({reinterpret_cast<const char*>(data), size})) std::abort();
  return 0;
}
