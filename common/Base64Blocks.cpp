// Tables of 16, looked up by the halves of a character, tell whether it is of the alphabet and how
// far it is from its value; four values then become three bytes by multiplying and adding within
// 32-bit lanes, and a shuffle. Written in the compilers' vector types: three steps alone differ
// between x86 and ARM.
#include "common/Base64Blocks.h"

#include <array>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__) && !defined(__APPLE__)
#include <immintrin.h>
#define VELOMAR_HAS_BLOCKS 1
#define VELOMAR_BLOCKS_TARGET __attribute__((target("avx2")))
#elif defined(__aarch64__)
#include <arm_neon.h>
#define VELOMAR_HAS_BLOCKS 1
#define VELOMAR_BLOCKS_TARGET
#endif

namespace macaron {

#ifdef VELOMAR_HAS_BLOCKS
namespace {

constexpr std::size_t kHalf = 16;       // bytes of a shuffle's lane
constexpr std::size_t kHalfBytes = 12;  // that a lane yields
constexpr std::size_t kWritten = 28;    // bytes, by a block

using Table = std::array<std::uint8_t, 16>;
using Bytes = std::uint8_t __attribute__((vector_size(kBlockChars)));
using Words = std::uint32_t __attribute__((vector_size(kBlockChars)));

// The steps that each kind of machine has its own instructions for:
// - lookUp(): the entries of `table` at indices below 16.
// - disjoint(): no bit is set in both.
// - triplesOf(): four values of six bits become the low 24 bits of their word, the first on top.
#ifdef __x86_64__

bool machineHasBlocks() {
  static const bool has = __builtin_cpu_supports("avx2") != 0;
  return has;
}

VELOMAR_BLOCKS_TARGET
Bytes lookUp(const Table& table, Bytes index) {
  const __m128i half = _mm_loadu_si128(reinterpret_cast<const __m128i*>(table.data()));
  return reinterpret_cast<Bytes>(
      _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(half), reinterpret_cast<__m256i>(index)));
}

VELOMAR_BLOCKS_TARGET
bool disjoint(Bytes a, Bytes b) {
  return _mm256_testz_si256(reinterpret_cast<__m256i>(a), reinterpret_cast<__m256i>(b)) != 0;
}

VELOMAR_BLOCKS_TARGET
Words triplesOf(Bytes values) {
  const __m256i pairs = _mm256_maddubs_epi16(reinterpret_cast<__m256i>(values),  //
                                             _mm256_set1_epi16(1 << 8 | 1 << 6));
  return reinterpret_cast<Words>(_mm256_madd_epi16(pairs, _mm256_set1_epi32(1 << 16 | 1 << 12)));
}

#else

constexpr bool machineHasBlocks() {
  return true;
}

Bytes lookUp(const Table& table, Bytes index) {
  uint8x16x2_t halves;
  std::memcpy(&halves, &index, sizeof halves);
  for (uint8x16_t& half : halves.val) half = vqtbl1q_u8(vld1q_u8(table.data()), half);
  std::memcpy(&index, &halves, sizeof index);
  return index;
}

bool disjoint(Bytes a, Bytes b) {
  using Quads = std::uint64_t __attribute__((vector_size(kBlockChars)));
  const Quads common = reinterpret_cast<Quads>(a & b);
  return (common[0] | common[1] | common[2] | common[3]) == 0;
}

Words triplesOf(Bytes values) {
  const Words w = reinterpret_cast<Words>(values);
  return (w & 0x3FU) << 18U | (w & 0x3F00U) << 4U | (w >> 10U & 0xFC0U) | w >> 24U;
}

#endif

// The alphabet by a character's high half: '+' and '/' at 2, the digits at 3, A to O and a to o at
// 4 and 6, P to Z and p to z at 5 and 7. These rows have the bits 1, 2, 4 and 8, all others have
// 16. A low half has the bits of the rows in which that column is outside of the alphabet.
constexpr Table kRow = {16, 16, 1, 2, 4, 8, 4, 8, 16, 16, 16, 16, 16, 16, 16, 16};
constexpr Table kNotInRow = {21, 17, 17, 17, 17, 17, 17, 17, 17, 17, 19, 26, 27, 27, 27, 26};
// Turns a character into its value when added, in bytes that wrap. '/' looks one row lower, at 1.
constexpr Table kToValue = {0,         63 - '/',  62 - '+',       52 - '0',
                            256 - 'A', 256 - 'A', 256 + 26 - 'a', 256 + 26 - 'a'};

VELOMAR_BLOCKS_TARGET
std::size_t decodeWith(const char* text, std::size_t length, char* out, std::size_t room) {
  std::size_t done = 0;
  for (; length - done >= kBlockChars && room >= kWritten; done += kBlockChars) {
    Bytes c;
    std::memcpy(&c, text + done, sizeof c);
    const Bytes high = c >> 4U;
    if (!disjoint(lookUp(kRow, high), lookUp(kNotInRow, c & 0xFU))) break;

    const Bytes values = c + lookUp(kToValue, high + reinterpret_cast<Bytes>(c == '/'));
    const Bytes b = reinterpret_cast<Bytes>(triplesOf(values));
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
