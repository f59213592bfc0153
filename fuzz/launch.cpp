// The launch information: the JSON text after -info, and the language that is taken from it.
//
// Both sources are included whole, because the functions that read the text are private to them,
// and because a process loads its language only once.
#include <cstdint>

#include "StreamDeckSDK/ESDLocalizer.cpp"  // NOLINT(bugprone-suspicious-include)
#include "StreamDeckSDK/ESDMain.cpp"       // NOLINT(bugprone-suspicious-include)

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string info(reinterpret_cast<const char*>(data), size);
  const std::string language = ReadLanguage(info);
  ESDLocalizer::Initialize(language);
  (void)ESDLocalizer::GetLocalizedString(language);
  delete sLocalizer;
  sLocalizer = nullptr;
  return 0;
}
