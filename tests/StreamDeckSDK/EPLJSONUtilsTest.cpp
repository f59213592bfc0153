#include "StreamDeckSDK/EPLJSONUtils.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using nlohmann::json;

namespace {

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

// How deep the JSON parser gets before it has read the text or found it wrong.
int parsedDepth(const std::string& text) {
  int deepest = 0;
  const auto note = [&](int depth, json::parse_event_t event, json&) {
    const bool opens =
        event == json::parse_event_t::object_start || event == json::parse_event_t::array_start;
    if (opens) deepest = std::max(deepest, depth + 1);
    return true;
  };
  const json ignored = json::parse(text, note, false);
  return deepest;
}

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
  EXPECT_EQ(EPLJSONUtils::GetStringByName(document, "object", "en"), "en");
  EXPECT_FALSE(EPLJSONUtils::GetObjectByName(document, "text", output));
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

// Whatever is let in must not nest deeper than it may, whether it is JSON or not.
TEST(EPLJSONUtils, NothingDeepSlipsThrough) {
  const std::string pieces[] = {
      "[", "{\"a\":", "]",     "}",        "\"", "\\",           ",", ":", "1",
      " ", "\\\"",    "\"[\"", "\"\\\\\"", "/*", "\xef\xbb\xbf", "\n"};
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  std::uniform_int_distribution<std::size_t> pick(0, std::size(pieces) - 1);
  int deep = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string text = repeated("[", EPLJSONUtils::kMaxDepth - 1);
    for (int i = 0; i < 12; ++i) text += pieces[pick(random)];
    if (parsedDepth(text) <= EPLJSONUtils::kMaxDepth) continue;
    ++deep;
    EXPECT_TRUE(EPLJSONUtils::IsTooDeep(text)) << text;
  }
  EXPECT_GT(deep, 0);
}

}  // namespace
