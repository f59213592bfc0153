// The launch information: the JSON text behind -info, and the language that is taken from it.
//
// Both sources come in whole, because what reads the text is their own affair, and because a
// process loads its language only once.
#include <cstdint>

#include "StreamDeckSDK/ESDLocalizer.cpp"
#include "StreamDeckSDK/ESDMain.cpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string info(reinterpret_cast<const char*>(data), size);
  const std::string language = ReadLanguage(info);
  ESDLocalizer::Initialize(language);
  (void)ESDLocalizer::GetLocalizedString(language);
  delete sLocalizer;
  sLocalizer = nullptr;
  return 0;
}
