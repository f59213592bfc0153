// The fast path of the Base64 decoder: whole blocks of well-formed text, many characters at a time.
// The algorithm is that of W. Mula and D. Lemire, "Faster Base64 Encoding and Decoding Using AVX2
// Instructions", ACM Transactions on the Web 12(3), 2018.
#pragma once

#include <cstddef>

namespace macaron {

constexpr std::size_t kBlockChars = 32;

// Decodes blocks of kBlockChars characters from `text` into `out` for as long as every character of
// a block is of the alphabet and `room` bytes have room for what is written. Returns the characters
// decoded: a multiple of kBlockChars, 0 where the machine has no such path. A block writes 24 bytes
// that count, and 4 bytes behind them that the next one writes over. Any thread may call.
std::size_t decodeBlocks(const char* text, std::size_t length, char* out, std::size_t room);

}  // namespace macaron
