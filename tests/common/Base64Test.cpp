#include "common/Base64.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

using macaron::Base64;
using namespace std::string_literals;

std::string decoded(const std::string& text) {
  std::string output = "left over from before";
  EXPECT_EQ(Base64::Decode(text, output), "") << text;
  return output;
}

TEST(Base64, PaddingDecidesTheLengthAndEveryByteSurvives) {
  EXPECT_EQ(decoded(""), "");
  EXPECT_EQ(decoded("Zg=="), "f");
  EXPECT_EQ(decoded("Zm8="), "fo");
  EXPECT_EQ(decoded("Zm9v"), "foo");
  EXPECT_EQ(decoded("AP8QgAA="), "\0\xff\x10\x80\0"s);
  EXPECT_EQ(decoded("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"),
            "\x00\x10\x83\x10\x51\x87\x20\x92\x8b\x30\xd3\x8f\x41\x14\x93\x51"
            "\x55\x97\x61\x96\x9b\x71\xd7\x9f\x82\x18\xa3\x92\x59\xa7\xa2\x9a"
            "\xab\xb2\xdb\xaf\xc3\x1c\xb3\xd3\x5d\xb7\xe3\x9e\xbb\xf3\xdf\xbf"s);
}

TEST(Base64, OnlyTheLengthIsChecked) {
  for (const char* text : {"Z", "Zm", "Zm9", "Zm9vYm", "Zm9v\n"}) {
    std::string output = "untouched";
    EXPECT_EQ(Base64::Decode(text, output), "Input data size is not a multiple of 4") << text;
    EXPECT_EQ(output, "untouched") << text;
  }
  EXPECT_EQ(decoded("Z=9v"), "\x64\x0f\x6f") << "'=' in the middle counts as 0";
  EXPECT_EQ(decoded("Zm\n9"), "\x66\x70\x3d") << "64 carries into the neighbour's bits";
  EXPECT_EQ(decoded("\xff\xff\xff\xff"), "\x04\x10\x40") << "and is cut at 24 bits";
}

// Decodes group by group, which needs no more than the table. Long texts take another path.
std::string decodedByTheRules(const std::string& text) {
  std::string all;
  for (std::size_t i = 0; i < text.size(); i += 4) {
    std::string group = text.substr(i, 4);
    // Only at the end of the text does '=' shorten the output. Elsewhere it is a 0 like 'A'.
    if (i + 4 < text.size()) std::replace(group.begin(), group.end(), '=', 'A');
    all += decoded(group);
  }
  return all;
}

TEST(Base64, LongTextsDecodeLikeTheirGroups) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (std::size_t length = 4; length <= 200; length += 4) {
    std::string text;
    for (std::size_t i = 0; i < length; ++i) text += alphabet[(i * 7 + length) % 64];
    ASSERT_EQ(decoded(text), decodedByTheRules(text)) << length;
    // Every byte comes to every place in two of the fast path's blocks, each time one place
    // further.
    const std::size_t step = length <= 72 ? 1 : length;
    for (std::size_t c = 0; c < 256; ++c) {
      for (std::size_t at = (length * 5 + c * 3) % step; at < length; at += step) {
        std::string odd = text;
        odd[at] = static_cast<char>(c);
        ASSERT_EQ(decoded(odd), decodedByTheRules(odd)) << length << " with " << c << " at " << at;
      }
    }
  }
}

}  // namespace
