#include "common/Base64.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "common/Base64Blocks.h"

namespace macaron {
namespace {

constexpr std::uint8_t kOutsideAlphabet = 64;

constexpr std::array<std::uint8_t, 256> makeDecodingTable() {
  constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<std::uint8_t, 256> table{};
  for (auto& value : table) value = kOutsideAlphabet;
  for (std::uint8_t value = 0; value < 64; ++value) {
    table[static_cast<unsigned char>(kAlphabet[value])] = value;
  }
  return table;
}

std::uint32_t valueOf(char c) {
  static constexpr auto kDecodingTable = makeDecodingTable();
  return c == '=' ? 0U : kDecodingTable[static_cast<unsigned char>(c)];
}

// Writes the bytes of four characters, as far as there is room. Returns the index after them.
std::size_t decodeGroup(const char* text, char* bytes, std::size_t out, std::size_t end) {
  const std::uint32_t triple = (valueOf(text[0]) << 18U) + (valueOf(text[1]) << 12U) +
                               (valueOf(text[2]) << 6U) + valueOf(text[3]);
  for (unsigned shift = 24; shift > 0 && out < end; ++out) {
    shift -= 8;
    bytes[out] = static_cast<char>((triple >> shift) & 0xFFU);
  }
  return out;
}

}  // namespace

std::string Base64::Decode(const std::string& input, std::string& output) {
  const std::size_t length = input.size();
  if (length % 4 != 0) return "Input data size is not a multiple of 4";

  std::size_t outLength = length / 4 * 3;
  if (length > 0 && input[length - 1] == '=') --outLength;
  if (length > 0 && input[length - 2] == '=') --outLength;
  output.resize(outLength);

  const char* text = input.data();
  char* bytes = output.data();
  std::size_t in = 0;
  std::size_t out = 0;
  while (in < length) {
    const std::size_t fast = decodeBlocks(text + in, length - in, bytes + out, outLength - out);
    in += fast;
    out += fast / 4 * 3;
    // The block that wasn't well-formed, or the text's end.
    const std::size_t until = std::min(length, in + kBlockChars);
    for (; in < until; in += 4) out = decodeGroup(text + in, bytes, out, outLength);
  }
  return {};
}

}  // namespace macaron
