#include "tests/plugin/LinkHarness.h"
#include "tests/support/Texts.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string kBadMember = "[json.exception.type_error.302] type must be ";
const std::string kNoMembers =
    "[json.exception.type_error.305] cannot use operator[] with a string argument with ";

json groupWith(const json& members) {
  return {{"Message", "Group Message"}, {"Messages", members}};
}

json nested(int levels, const json& innermost) {
  json message = innermost;
  while (levels-- > 0) message = groupWith({{"0", message}});
  return message;
}

}  // namespace

// The link's state has no part in what a message does, so it stays down here, and each pass is one
// message.
class XPlaneManagerMessagesTest : public LinkFixture {
 protected:
  void SetUp() override {
    LinkFixture::SetUp();
    startLink();
    happens(appear("C1"));
    happens(appearAsDial("E1"));
    pass();
    (void)shown();
  }

  // The host's view of a bad message: the frames before it failed, and the log line.
  template <typename Message>
  Texts failing(const Message& message) {
    return after(message, 5000);
  }
  static std::string error(const std::string& text) {
    return linkLine("Got some error, disconnecting. Msg: " + text);
  }
};

TEST_F(XPlaneManagerMessagesTest, EachMessageMakesItsCall) {
  const auto message = [](const char* name, json members) {
    members["Message"] = name;
    members["Context"] = "C1";
    return members;
  };
  const auto sign = [](const char* name) {
    return std::string(R"({"context":"C1","event":")") + name + "\"}";
  };
  EXPECT_THAT(after(message("Ident Context", {})), ElementsAre(sign("showOk")));
  EXPECT_THAT(after(message("Alert Context", {})), ElementsAre(sign("showAlert")));
  (void)after(message("Update Full Image ID", {{"Image ID", 7}, {"Base64", "AAAA"}}));
  EXPECT_THAT(after(message("Update Full Image ID", {{"Image ID", 7}, {"Base64", ""}})),
              ElementsAre(imageOn("C1", "AAAA")));
  EXPECT_THAT(after(message("Set Title", {{"Title", ""}, {"Row", "ignored"}})),
              ElementsAre(titleOn("C1", "")));
  EXPECT_THAT(after(R"( { "Title" : "spaced" ,"Context":"C1", "Message":"Set Title"} {{ no more)"),
              ElementsAre(titleOn("C1", "spaced")));

  for (const char* ignored :
       {"null", "{}", "{} trailing", R"({"Message":5,"Context":"C1"})",
        R"({"Message":"set title","Context":"C1","Title":"x"})", R"({"Message":"{Welcome}"})",
        R"({"Message":"Alert Context","Context":"gone"})"}) {
    EXPECT_THAT(after(ignored), IsEmpty()) << ignored;
  }
  EXPECT_FALSE(XPlaneManager::isConnected());
}

// The member that is read first decides the error, and none is read after the call.
TEST_F(XPlaneManagerMessagesTest, MembersAreReadInOrderAndAllBeforeTheCall) {
  const json good = {{"Context", "C1"}, {"Image ID", 7}, {"Base64", "AAAA"},
                     {"Title", "x"},    {"UUID", "u"},   {"BASE64", "AAAA"}};
  const std::vector<std::pair<std::string, Texts>> rows = {
      {"Alert Context", {"Context"}},
      {"Update Image ID", {"Context", "Image ID"}},
      {"Update Full Image ID", {"Context", "Image ID", "Base64"}},
      {"Set Title", {"Context", "Title"}},
      {"Set Layout Cache", {"Context", "UUID", "BASE64"}},
      {"Set Layout", {"Context", "UUID"}},
  };
  for (const auto& [name, members] : rows) {
    for (std::size_t bad = 0; bad < members.size(); ++bad) {
      SCOPED_TRACE(name + ": " + members[bad]);
      json message = {{"Message", name}};
      for (std::size_t i = 0; i < members.size(); ++i) {
        message[members[i]] = i < bad ? good[members[i]] : json::object();
      }
      const std::string type = members[bad] == "Image ID" ? "number" : "string";
      EXPECT_THAT(failing(message), ElementsAre(error(kBadMember + type + ", but is object")));
      message.erase(members[bad]);
      EXPECT_THAT(failing(message), ElementsAre(error(kBadMember + type + ", but is null")));
    }
  }
  EXPECT_EQ(filesIn("images"), 0U);
  EXPECT_EQ(filesIn("layouts"), 0U);
  const json known = {{"Message", "Update Image ID"}, {"Context", "C1"}, {"Image ID", 7}};
  EXPECT_THAT(after(known), ElementsAre(panelLine("Image is mising base64")));
}

TEST_F(XPlaneManagerMessagesTest, WhatIsNoObjectFailsByItsType) {
  EXPECT_THAT(failing("[]"), ElementsAre(error(kNoMembers + "array")));
  EXPECT_THAT(failing("5"), ElementsAre(error(kNoMembers + "number")));
  EXPECT_THAT(failing(R"("{Welcome}")"), ElementsAre(error(kNoMembers + "string")));
  EXPECT_THAT(failing("true"), ElementsAre(error(kNoMembers + "boolean")));
  for (const char* noJson : {"", "{Welcome} ", " {Hello}", R"({"Message")"}) {
    const Texts frames = failing(noJson);
    ASSERT_EQ(frames.size(), 1U) << noJson;
    EXPECT_THAT(frames[0], testing::HasSubstr("[json.exception.parse_error.101]")) << noJson;
  }
  // The library quotes only the first byte that it doesn't understand.
  EXPECT_THAT(failing("\xC3\xA9"), ElementsAre(testing::HasSubstr("last read: '\xEF\xBF\xBD'")));
  EXPECT_THAT(after(titleFor("C1", "unharmed")), ElementsAre(titleOn("C1", "unharmed")));
}

TEST_F(XPlaneManagerMessagesTest, AnImageIdIsA32BitNumberOfWhateverKindItWas) {
  const auto icon = [this](const char* id) {
    return after(R"({"Message":"Update Full Image ID","Context":"E1","Base64":"AAAA","Image ID":)" +
                 std::string(id) + "}");
  };
  const std::pair<const char*, const char*> cases[] = {{"-1", "4294967295"},
                                                       {"4294967295", "4294967295"},
                                                       {"2147483648", "2147483648"},
                                                       {"4294967298", "2"},
                                                       {"7.9", "7"},
                                                       {"true", "1"}};
  for (const auto& [id, file] : cases) {
    const std::string path = std::string("images/") + file + ".png";
    EXPECT_THAT(icon(id), ElementsAre(itemOn("E1", "icon", path))) << id;
    EXPECT_TRUE(std::filesystem::exists(path)) << id;
  }
  EXPECT_EQ(filesIn("images"), 5U) << "one number under two names";
  EXPECT_EQ(icon("1e300").size(), 1U);
}

TEST_F(XPlaneManagerMessagesTest, AGroupIsWalkedByNumber) {
  json twelve = json::object();
  Texts frames;
  for (int i = 0; i < 12; ++i) {
    twelve[std::to_string(i)] = titleFor("C1", std::to_string(i));
    frames.push_back(titleOn("C1", std::to_string(i)));
  }
  EXPECT_EQ(after(groupWith(twelve)), frames);

  const json one = titleFor("C1", "one");
  const json two = titleFor("C1", "two");
  EXPECT_THAT(after(groupWith({{"0", one}})), ElementsAre(titleOn("C1", "one")));
  EXPECT_THAT(after(groupWith({{"0", one}, {"2", two}})), ElementsAre(titleOn("C1", "one")))
      << "a gap hides the members after it";
  EXPECT_THAT(after(groupWith({{"0", nullptr}, {"1", two}, {"2", {{"Message", "unknown"}}}})),
              ElementsAre(titleOn("C1", "two")));
  EXPECT_THAT(
      after(groupWith({{"0", one}, {"1", groupWith({{"0", two}, {"1", two}})}, {"2", one}})),
      ElementsAre(titleOn("C1", "one"), titleOn("C1", "two"), titleOn("C1", "two"),
                  titleOn("C1", "one")));

  EXPECT_THAT(after(R"({"Message":"Group Message"})"), IsEmpty());
  for (const json& nothing : {json(), json::object(), json::array()}) {
    EXPECT_THAT(after(groupWith(nothing)), IsEmpty());
  }
}

TEST_F(XPlaneManagerMessagesTest, ABadMemberEndsItsGroupOnAllLevels) {
  const json one = titleFor("C1", "one");
  const json bad = {{"Message", "Set Title"}, {"Context", "C1"}};
  EXPECT_THAT(failing(groupWith({{"0", one}, {"1", bad}, {"2", one}})),
              ElementsAre(titleOn("C1", "one"), error(kBadMember + "string, but is null")));
  EXPECT_THAT(failing(groupWith({{"0", groupWith({{"0", one}, {"1", 5}})}, {"1", one}})),
              ElementsAre(titleOn("C1", "one"), error(kNoMembers + "number")));
  EXPECT_THAT(failing(groupWith({{"0", "{Welcome}"}})), ElementsAre(error(kNoMembers + "string")));

  EXPECT_THAT(failing(groupWith(json::array({one}))), ElementsAre(error(kNoMembers + "array")));
  EXPECT_THAT(failing(groupWith(5)), ElementsAre(error(kNoMembers + "number")));
}

// A message that is too deep would use up the stack of the link's thread.
TEST_F(XPlaneManagerMessagesTest, DepthIsLimited) {
  const json one = titleFor("C1", "one");
  EXPECT_THAT(after(nested(64, one)), ElementsAre(titleOn("C1", "one")));
  json tooDeep = nested(65, one);
  tooDeep["Messages"]["0"] = groupWith({{"0", one}, {"1", tooDeep["Messages"]["0"]}});
  EXPECT_THAT(failing(tooDeep), ElementsAre(titleOn("C1", "one"), error("groups nest too deeply")));

  EXPECT_THAT(failing(repeated("[", 100000)), ElementsAre(error("the JSON nests too deeply")));
  EXPECT_THAT(after("null " + repeated("[", 100000)), IsEmpty());
}
