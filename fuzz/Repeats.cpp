// A mutation for the targets that read texts: a piece of the input again and again, up to the
// longest input allowed. A cost above the length shows in long texts of one kind, which the
// fuzzer's own mutations hardly ever make.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t most, unsigned seed) {
  constexpr unsigned kOneIn = 500;  // long texts are slow to run
  constexpr std::size_t kLongestPiece = 8;
  std::minstd_rand random(seed);
  const auto below = [&](std::size_t limit) { return static_cast<std::size_t>(random()) % limit; };
  if (size == 0 || below(kOneIn) != 0) return LLVMFuzzerMutate(data, size, most);
  const std::size_t begin = below(size);
  const std::size_t end = begin + 1 + below(std::min(size - begin, kLongestPiece));
  const std::size_t copies = (most - size) / (end - begin);
  const std::size_t added = copies * (end - begin);
  std::memmove(data + end + added, data + end, size - end);
  for (std::size_t i = 0; i < added; ++i) data[end + i] = data[begin + i % (end - begin)];
  return size + added;
}
