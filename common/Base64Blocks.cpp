// Characters become values by comparing them with the alphabet's five ranges, all lanes at once;
// four values then become three bytes by shifts within 32-bit lanes and a shuffle. The idea is that
// of W. Mula and D. Lemire, "Faster Base64 Encoding and Decoding Using AVX2 Instructions", ACM
// Transactions on the Web 12(3), 2018. Written in the compilers' vector types, so that one text
// serves x86 and ARM.
#include "common/Base64Blocks.h"

#include <cstdint>
#include <cstring>

#if (defined(__x86_64__) && !defined(__APPLE__)) || defined(__aarch64__)
#define VELOMAR_HAS_BLOCKS 1
#endif

namespace macaron {

#ifdef VELOMAR_HAS_BLOCKS
namespace {

#ifdef __x86_64__
#define VELOMAR_BLOCKS_TARGET __attribute__((target("avx2")))
bool machineHasBlocks() {
  static const bool has = __builtin_cpu_supports("avx2") != 0;
  return has;
}
#else
#define VELOMAR_BLOCKS_TARGET
constexpr bool machineHasBlocks() {
  return true;
}
#endif

constexpr std::size_t kHalf = 16;       // bytes of a shuffle's lane
constexpr std::size_t kHalfBytes = 12;  // that a lane yields
constexpr std::size_t kWritten = 28;    // bytes, by a block

using Bytes = std::uint8_t __attribute__((vector_size(kBlockChars)));
using Words = std::uint32_t __attribute__((vector_size(kBlockChars)));
using Quads = std::uint64_t __attribute__((vector_size(kBlockChars)));

VELOMAR_BLOCKS_TARGET
std::size_t decodeWith(const char* text, std::size_t length, char* out, std::size_t room) {
  std::size_t done = 0;
  for (; length - done >= kBlockChars && room >= kWritten; done += kBlockChars) {
    Bytes c;
    std::memcpy(&c, text + done, sizeof c);
    const Bytes upper = reinterpret_cast<Bytes>(c - 'A' < 26);
    const Bytes lower = reinterpret_cast<Bytes>(c - 'a' < 26);
    const Bytes digit = reinterpret_cast<Bytes>(c - '0' < 10);
    const Bytes plus = reinterpret_cast<Bytes>(c == '+');
    const Bytes slash = reinterpret_cast<Bytes>(c == '/');
    const Quads known = reinterpret_cast<Quads>(upper | lower | digit | plus | slash);
    if ((known[0] & known[1] & known[2] & known[3]) != ~std::uint64_t{0}) break;

    // By how much the ranges' characters differ from their values, in bytes that wrap.
    const Bytes distance = (upper & std::uint8_t{'A'}) | (lower & std::uint8_t{'a' - 26}) |
                           (digit & std::uint8_t{256 + '0' - 52}) |
                           (plus & std::uint8_t{256 + '+' - 62}) |
                           (slash & std::uint8_t{256 + '/' - 63});
    const Words w = reinterpret_cast<Words>(c - distance);
    const Words triples = (w & 0x3FU) << 18U | (w & 0x3F00U) << 4U | (w >> 10U & 0xFC0U) | w >> 24U;
    const Bytes b = reinterpret_cast<Bytes>(triples);
    const Bytes ordered =
        __builtin_shufflevector(b, b, 2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, 3, 3, 3, 3,  //
                                18, 17, 16, 22, 21, 20, 26, 25, 24, 30, 29, 28, 19, 19, 19, 19);
    const char* bytes = reinterpret_cast<const char*>(&ordered);
    std::memcpy(out, bytes, kHalf);
    std::memcpy(out + kHalfBytes, bytes + kHalf, kHalf);
    out += 2 * kHalfBytes;
    room -= 2 * kHalfBytes;
  }
  return done;
}

}  // namespace

std::size_t decodeBlocks(const char* text, std::size_t length, char* out, std::size_t room) {
  return machineHasBlocks() ? decodeWith(text, length, out, room) : 0;
}

#else

std::size_t decodeBlocks(const char* /*text*/, std::size_t /*length*/, char* /*out*/,
                         std::size_t /*room*/) {
  return 0;
}

#endif

}  // namespace macaron
