// The fast path of the Base64 decoder: whole blocks of well-formed text, many characters at a time.
// The algorithm is that of W. Mula and D. Lemire, "Faster Base64 Encoding and Decoding Using AVX2
// Instructions", ACM Transactions on the Web 12(3), 2018.
#pragma once

#include <cstddef>

namespace macaron {

constexpr std::size_t kBlockChars = 32;

// Decodes blocks of kBlockChars characters from `text` into `out`, as long as all characters of a
// block are of the alphabet and its output fits into `room` bytes. Returns the characters decoded:
// a multiple of kBlockChars, and 0 on a machine without such a path. A block writes 24 bytes that
// count, and 4 bytes after them that the next block overwrites. Any thread may call.
std::size_t decodeBlocks(const char* text, std::size_t length, char* out, std::size_t room);

}  // namespace macaron
