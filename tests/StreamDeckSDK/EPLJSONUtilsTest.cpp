#include "StreamDeckSDK/EPLJSONUtils.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>

#include "tests/support/Repeated.h"

using nlohmann::json;

namespace {

TEST(EPLJSONUtils, LookupsNeverThrowAndFallBack) {
  const json document = json::parse(R"({"text":"de","empty":"","number":7,"null":null,"flag":true,
      "list":["de"],"object":{"inner":{"text":"fr"}},"none":{}})");
  EXPECT_EQ(EPLJSONUtils::GetStringByName(document, "text", "en"), "de");
  EXPECT_EQ(EPLJSONUtils::GetStringByName(document, "empty", "en"), "");
  EXPECT_EQ(EPLJSONUtils::GetStringByName(document, "missing"), "");

  json output = "untouched";
  for (const char* name : {"number", "null", "flag", "list", "missing", ""}) {
    EXPECT_EQ(EPLJSONUtils::GetStringByName(document, name, "en"), "en") << name;
    EXPECT_FALSE(EPLJSONUtils::GetObjectByName(document, name, output)) << name;
  }
  for (const json& noObject : {json(), json(7), json("text"), json(true), json::array({"text"})}) {
    EXPECT_EQ(EPLJSONUtils::GetStringByName(noObject, "text", "en"), "en") << noObject;
    EXPECT_FALSE(EPLJSONUtils::GetObjectByName(noObject, "text", output)) << noObject;
  }
  EXPECT_EQ(output, "untouched");

  EXPECT_TRUE(EPLJSONUtils::GetObjectByName(document, "none", output));
  EXPECT_EQ(output, json::object());
  output = document;  // what is found may lie inside the value that it replaces
  EXPECT_TRUE(EPLJSONUtils::GetObjectByName(output, "object", output));
  EXPECT_TRUE(EPLJSONUtils::GetObjectByName(output, "inner", output));
  EXPECT_EQ(output, json::parse(R"({"text":"fr"})"));
}

TEST(EPLJSONUtils, OnlyNestingCountsAsDepth) {
  constexpr int kMost = EPLJSONUtils::kMaxDepth;
  const std::string list = repeated("[", kMost) + repeated("]", kMost);
  EXPECT_FALSE(EPLJSONUtils::IsTooDeep(""));
  EXPECT_FALSE(EPLJSONUtils::IsTooDeep(list));
  EXPECT_TRUE(EPLJSONUtils::IsTooDeep("[" + list + "]"));
  EXPECT_TRUE(EPLJSONUtils::IsTooDeep(R"({"a":)" + list + "}"));
  EXPECT_TRUE(EPLJSONUtils::IsTooDeep(repeated(R"({"a":)", kMost + 1)));
  EXPECT_TRUE(EPLJSONUtils::IsTooDeep(R"(["\"",")" + std::string(R"(\\",)") + list));
  EXPECT_FALSE(EPLJSONUtils::IsTooDeep("[" + repeated("[],{},", kMost) + "1]"));
  EXPECT_FALSE(EPLJSONUtils::IsTooDeep(R"({"a":"\")" + repeated("[{", kMost) + R"("})"));
}

// What a call yields, or the error that it raises.
template <typename Call>
std::string told(Call call) {
  try {
    return call();
  } catch (const json::exception& e) {
    return e.what();
  }
}

// By the library's own reading of a stream, which stops behind the first value.
void expectReadAsFromAStream(const std::string& text) {
  EXPECT_EQ(told([&] { return EPLJSONUtils::ParseFirst(text).dump(); }), told([&] {
              json value;
              std::istringstream(text) >> value;
              return value.dump();
            }))
      << text;
}

TEST(EPLJSONUtils, TheFirstValueIsReadAsFromAStream) {
  for (const char* text : {"{\"a\":1}",
                           " \n[1,{\"b\":\"}\"}] rest",
                           "{\"a\":\"\\\"}\"}{",
                           "{\"a\":1",
                           "{\"a\":]}",
                           "{]}",
                           "[\"\\",
                           "[\"\\x\"]",
                           "[\"open",
                           "7 8",
                           "\"a\" {",
                           "null",
                           "",
                           "  ",
                           "}",
                           "\xef\xbb\xbf{}",
                           "{}}",
                           "[1}",
                           "[\"\xff\"]",
                           "nul [1]",
                           "{\"a\":\"\n\"}"}) {
    expectReadAsFromAStream(text);
  }
}

// L stands for a long plain string's content: as member name and value, side by side, beside what
// isn't plain, and in texts that aren't valid.
TEST(EPLJSONUtils, LongStringsAreReadLikeAnyOther) {
  for (const char* pattern :
       {R"({"a":"L","b":[1,-2,1e3,true,false,null,{},[],"L"],"c":{"L":"x","d":"L"}} "L)",
        R"(["x","L","\"L","L\\",{"L":"L","L":"x"},"é","L"])", R"({"a":"L","a":{"b":"L"},"a":"y"})",
        R"({"a":"L)", R"({"a":"L\)", R"({"a":"L\")", R"(["L" "L"])", R"(["L",])", R"(["L",1e999])",
        R"({"L"})", R"({"a":"L","b":"\x"})", R"(["L"]])", "[\"L\n\"]", "[\"L\",\"L\xff\"]",
        R"("L" {)", R"(L["L"])"}) {
    std::string text;
    for (const char* c = pattern; *c != '\0'; ++c) {
      text += *c == 'L' ? repeated("0123456789abcdef", 40) : std::string(1, *c);
    }
    expectReadAsFromAStream(text);
  }
}

TEST(EPLJSONUtils, DumpWritesWhatTheLibraryWrites) {
  const json document = json::parse(
      R"({"a":[],"b":{},"c":["x",{"d e":"é\n\"\\/\u007f\u0001"}],"é\"":[1,-2,0.5,1e300,true,null],"":""})");
  const json number = std::uint64_t{18446744073709551615U};
  const json cut = {{"a", "text"}, {"b", {"ok", "\xe2\x82"}}};
  for (const json& value : {document, number, cut, json("\xff"), json(), json({{"\xc3", 1}}),
                            json({{"a", repeated("QUJD", 500)}, {"b", 7}})}) {
    EXPECT_EQ(told([&] { return EPLJSONUtils::Dump(value); }), told([&] { return value.dump(); }));
  }
}

}  // namespace
