#include "StreamDeckSDK/EPLJSONUtils.h"

#include <gtest/gtest.h>

#include <sstream>

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

// By the library's own reading of a stream, which stops behind the first value.
TEST(EPLJSONUtils, TheFirstValueIsReadAsFromAStream) {
  const auto told = [](const auto& read) {
    try {
      return read().dump();
    } catch (const json::exception& e) {
      return std::string(e.what());
    }
  };
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
    EXPECT_EQ(told([&] { return EPLJSONUtils::ParseFirst(text); }), told([&] {
                json value;
                std::istringstream(text) >> value;
                return value;
              }))
        << text;
  }
}

}  // namespace
