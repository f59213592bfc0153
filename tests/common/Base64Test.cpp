#include "common/Base64.h"

#include <gtest/gtest.h>

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

}  // namespace
