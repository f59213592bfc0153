#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

#include "tests/support/JsonTexts.h"
#include "tests/support/Texts.h"

namespace {

void expectReadAsByTheLibrary(const std::string& text) {
  EXPECT_TRUE(isReadAsByTheLibrary(text)) << text;
  EXPECT_NE(told(ESDJSONText::ReadFirst, text), kTooDeep) << text;
}

// L is the content of a long plain string: as member name and value, side by side, beside strings
// that aren't plain, and in texts that aren't valid.
TEST(ESDJSONText, ValuesAndErrorsAreTheLibrarys) {
  for (const char* pattern :
       {R"({"a":1})",
        " \n[1,{\"b\":\"}\"}] rest",
        R"({"a":"\"}"}{)",
        "[\"\\",
        R"(["\x"])",
        "[\"open",
        "\"a\" {",
        "null [",
        "",
        "\xef\xbb\xbf{}",
        "[\"\xff\"]",
        "nul [1]",
        "{\"a\":\"\n\"}",
        R"({"a":"L","b":[1,-2,1e3,true,false,null,{},[],"L"],"c":{"L":"x","d":"L"}} "L)",
        R"(["x","L","\"L","L\\",{"L":"L","L":"x"},"é","L"])",
        R"({"a":"L","a":{"b":"L"},"a":"y"})",
        R"({"a":"L)",
        R"({"a":"L\)",
        R"({"a":"L\")",
        R"(["L",])",
        R"(["L",1e999])",
        R"({"a":"L","b":"\x"})",
        "[\"L\n\"]",
        "[\"L\",\"L\xff\"]",
        R"("L" {)",
        R"(L["L"])",
        R"("L")",
        R"(["L)"}) {
    std::string text;
    for (const char* c = pattern; *c != '\0'; ++c) {
      text += *c == 'L' ? repeated("0123456789abcdef", 40) : std::string(1, *c);
    }
    expectReadAsByTheLibrary(text);
  }
}

// A plain string is read in pieces, so the first character that isn't plain may be anywhere.
TEST(ESDJSONText, AStringOfAnyLengthEndsWhereItDoes) {
  for (const char* part : {"", "\\\"", "\\\\", "\xc3\xa9", "\\u0041", "\x7f", "\\"}) {
    for (int before : {0, 31, 32, 33, 63, 64, 65}) {
      for (int after : {0, 1, 31, 32, 33}) {
        expectReadAsByTheLibrary("[\"" + repeated("x", before) + part + repeated("y", after) +
                                 "\",\"" + repeated("z", 40) + "\"]");
      }
    }
  }
}

TEST(ESDJSONText, OnlyNestingCountsAsDepth) {
  constexpr int kMost = ESDJSONText::kMaxDepth;
  const auto isTooDeep = [](const std::string& text) {
    return told(ESDJSONText::ReadFirst, text) == kTooDeep;
  };
  const std::string list = repeated("[", kMost) + repeated("]", kMost);
  EXPECT_TRUE(isTooDeep("[" + list + "]"));
  EXPECT_TRUE(isTooDeep(R"({"a":)" + list + "}"));
  EXPECT_TRUE(isTooDeep(repeated(R"({"a":)", kMost + 1)));
  EXPECT_TRUE(isTooDeep(R"(["\"",")" + std::string(R"(\\",)") + list));
  EXPECT_TRUE(isTooDeep("[\"" + repeated("x", 100) + "\"," + list));
  for (const std::string& text :
       {list, "[" + repeated("[],{},", kMost) + "1]", R"({"a":"\")" + repeated("[{", kMost) + "\"}",
        "null " + repeated("[", kMost + 1), "1 " + repeated("[", kMost + 1)}) {
    expectReadAsByTheLibrary(text);
  }
}

// The thread's own time, in seconds: the least of some runs, which other processes can't lessen.
double leastTime(const std::string& text) {
  const auto now = [] {
    timespec time{};
    (void)clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
  };
  double least = 1e9;
  for (int run = 0; run < 5; ++run) {
    const double start = now();
    try {
      (void)ESDJSONText::ReadFirst(text);
    } catch (const std::exception&) {
      // One of the texts is cut short, which has to cost no more.
    }
    least = std::min(least, now() - start);
  }
  return least;
}

// Eight times the text is some eight times the work, where squares would be sixty-four.
TEST(ESDJSONText, WorkGrowsWithTheLengthWhateverTheTextHolds) {
  constexpr std::size_t kBytes = std::size_t{1} << 17U;
  for (const auto& [kind, make] : JsonTexts::all()) {
    EXPECT_LT(leastTime(make(8 * kBytes)), 24 * leastTime(make(kBytes))) << kind;
  }
}

}  // namespace
