// From text to JSON: the result is the one of the library's own reading, failures included.
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "StreamDeckSDK/ESDJSONText.h"

namespace {

using nlohmann::json;

json firstByLibrary(const std::string& text) {
  json value;
  std::istringstream(text) >> value;
  return value;
}

// The value as text, or the error.
template <typename Read>
std::string told(Read read, const std::string& text) {
  try {
    return read(text).dump();
  } catch (const json::exception& e) {
    return e.what();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    const auto all = [](const std::string& whole) { return json::parse(whole); };
    if (told(ESDJSONText::ReadFirst, text) != told(firstByLibrary, text)) std::abort();
    if (told(ESDJSONText::Read, text) != told(all, text)) std::abort();
  } catch (const std::runtime_error&) {
    // It nests too deeply, and the library isn't asked to write it.
  }
  return 0;
}
