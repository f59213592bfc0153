#include "StreamDeckSDK/EPLJSONUtils.h"

#include <gtest/gtest.h>

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

}  // namespace
