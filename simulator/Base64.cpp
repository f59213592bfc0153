#include "simulator/Base64.h"

#include <cstddef>
#include <cstdint>

namespace velomar {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The byte at `i`, or 0 past the end.
std::uint32_t byteAt(std::string_view bytes, std::size_t i) {
  return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U;
}

}  // namespace

std::string encodeBase64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::uint32_t triple =
        byteAt(bytes, i) << 16U | byteAt(bytes, i + 1) << 8U | byteAt(bytes, i + 2);
    for (unsigned shift = 24; shift > 0;) {
      shift -= 6;
      text.push_back(kAlphabet[triple >> shift & 63U]);
    }
  }
  const std::size_t missing = (3 - bytes.size() % 3) % 3;
  text.replace(text.size() - missing, missing, missing, '=');
  return text;
}

}  // namespace velomar
