// From text to JSON and back by the ways that are fast with long strings: what they yield is what
// the library's own yield, failures included.
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>

#include "StreamDeckSDK/EPLJSONUtils.h"

namespace {

using nlohmann::json;

// Nothing if the library raises an error.
template <typename Make>
auto attempt(Make make) -> std::optional<decltype(make())> {
  try {
    return make();
  } catch (const json::exception&) {
    return std::nullopt;
  }
}

json parsedByLibrary(const std::string& text) {
  json value;
  std::istringstream(text) >> value;
  return value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (EPLJSONUtils::IsTooDeep(text)) return 0;
  const auto value = attempt([&] { return EPLJSONUtils::ParseFirst(text); });
  if (value != attempt([&] { return parsedByLibrary(text); })) std::abort();
  if (!value) return 0;
  const auto dumped = attempt([&] { return EPLJSONUtils::Dump(*value); });
  if (dumped != attempt([&] { return value->dump(); })) std::abort();

  // What comes from outside needn't be UTF-8 everywhere.
  const json raw = {{text, {text, size, -1.5}}};
  const auto written = attempt([&] { return EPLJSONUtils::Dump(raw); });
  if (written != attempt([&] { return raw.dump(); })) std::abort();
  return 0;
}
