#include "common/Base64.h"

#include <array>
#include <cstddef>
#include <cstdint>

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

}  // namespace

std::string Base64::Decode(const std::string& input, std::string& output) {
  static constexpr auto kDecodingTable = makeDecodingTable();
  const std::size_t length = input.size();
  if (length % 4 != 0) return "Input data size is not a multiple of 4";

  std::size_t outLength = length / 4 * 3;
  if (length > 0 && input[length - 1] == '=') --outLength;
  if (length > 0 && input[length - 2] == '=') --outLength;
  output.resize(outLength);

  const auto valueOf = [](char c) -> std::uint32_t {
    return c == '=' ? 0U : kDecodingTable[static_cast<unsigned char>(c)];
  };
  std::size_t out = 0;
  for (std::size_t in = 0; in < length; in += 4) {
    const std::uint32_t triple = (valueOf(input[in]) << 18U) + (valueOf(input[in + 1]) << 12U) +
                                 (valueOf(input[in + 2]) << 6U) + valueOf(input[in + 3]);
    for (unsigned shift = 24; shift > 0 && out < outLength; ++out) {
      shift -= 8;
      output[out] = static_cast<char>((triple >> shift) & 0xFFU);
    }
  }
  return {};
}

}  // namespace macaron
