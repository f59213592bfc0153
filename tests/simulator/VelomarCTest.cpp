// The C interface as the shared library exports it.
#include "simulator/velomar.h"

#include <gmock/gmock.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/simulator/PanelEnd.h"
#include "tests/support/Texts.h"
#include "tools/common/TemporaryPluginFolder.h"

namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kGroup[] =
    R"({"Message":"Group Message","Messages":{"0":{"Message":"API Version","Version":1},)"
    R"("1":{"Column":2,"Context":"C","KeyName":"GÉAR","Message":"Add Context"},)"
    R"("2":{"Message":"Force Refresh"}}})";

class VelomarCTest : public testing::Test {
 protected:
  void SetUp() override {
    link.reset(velomar_open(0));
    ASSERT_NE(link, nullptr) << velomar_last_error();
  }

  void bringUp() {
    panel.says("{Hello}");
    EXPECT_EQ(velomar_poll(link.get(), &message), 0);
    EXPECT_STREQ(velomar_last_error(), "nothing waits");
    panel.says(kGroup);
    while (velomar_poll(link.get(), &message) == 1) {
    }
    (void)panel.heard();
  }

  // A call that has to fail, and why.
  static void refuses(int result, const char* why) {
    EXPECT_EQ(result, -1);
    EXPECT_THAT(velomar_last_error(), HasSubstr(why));
  }

  struct Closer {
    void operator()(velomar_link* open) const { EXPECT_EQ(velomar_close(open), 1); }
  };

  const TemporaryPluginFolder stores;  // new ones
  PanelEnd panel;
  std::unique_ptr<velomar_link, Closer> link;
  const char* message = nullptr;
};

TEST_F(VelomarCTest, GroupsComeMessageByMessageAndMembersAsText) {
  EXPECT_EQ(velomar_poll(link.get(), &message), 0);
  EXPECT_EQ(message, nullptr);
  EXPECT_EQ(velomar_is_up(link.get()), 0);
  panel.says("{Hello}");
  (void)velomar_poll(link.get(), &message);
  EXPECT_EQ(velomar_is_up(link.get()), 1) << "a Hello that may have waited for days";
  EXPECT_EQ(velomar_is_anybody_there(link.get()), 0);
  panel.says(kGroup);
  ASSERT_EQ(velomar_poll(link.get(), &message), 1);
  EXPECT_STREQ(message, R"({"Message":"API Version","Version":1})");
  EXPECT_EQ(velomar_is_anybody_there(link.get()), 1);
  ASSERT_EQ(velomar_poll(link.get(), &message), 1);
  EXPECT_STREQ(velomar_member(link.get(), "KeyName"), "GÉAR");
  EXPECT_STREQ(velomar_member(link.get(), "Column"), "2");
  EXPECT_STREQ(velomar_last_error(), "");
  EXPECT_EQ(velomar_member(link.get(), "Row"), nullptr);
  EXPECT_STREQ(velomar_last_error(), "no such member");
  ASSERT_EQ(velomar_poll(link.get(), &message), 1);
  EXPECT_EQ(velomar_poll(link.get(), &message), 0);
}

TEST_F(VelomarCTest, EachSenderWritesTheMessageThatItsNameSays) {
  bringUp();
  const std::string png("\x89PNG\0", 5);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(velomar_title(link.get(), "C", "a\n\"b\""), 1);
    EXPECT_EQ(velomar_image(link.get(), "C", 7, png.data(), png.size()), 1);
    EXPECT_EQ(velomar_layout(link.get(), "C", "two", "{}"), 1);
    EXPECT_EQ(velomar_frame(link.get(), "C", png.data(), png.size()), 1);
    EXPECT_EQ(velomar_frame(link.get(), "C", png.data(), png.size()), 1) << "on show already";
  }
  EXPECT_EQ(velomar_layout(link.get(), "C", "", nullptr), 1);
  EXPECT_EQ(velomar_send(link.get(), R"({"Message":"Reset Context","Context":"C"})"), 1);
  EXPECT_EQ(velomar_frame(link.get(), "C", png.data(), png.size()), 1);
  EXPECT_THAT(
      panel.heard(),
      ElementsAre(
          R"({"Context":"C","Message":"Set Title","Title":"a\n\"b\""})",
          R"({"Base64":"iVBORwA=","Context":"C","Image ID":7,"Message":"Update Full Image ID"})",
          R"({"BASE64":"e30=","Context":"C","Message":"Set Layout Cache","UUID":"two"})",
          R"({"Base64":"iVBORwA=","Context":"C","Image ID":4000000000,"Message":"Update Full Image ID"})",
          R"({"Context":"C","Message":"Set Title","Title":"a\n\"b\""})",
          R"({"Context":"C","Image ID":7,"Message":"Update Image ID"})",
          R"({"Context":"C","Message":"Set Layout","UUID":"two"})",
          R"({"Context":"C","Image ID":4000000000,"Message":"Update Image ID"})",
          R"({"Context":"C","Message":"Set Layout","UUID":""})",
          R"({"Message":"Reset Context","Context":"C"})",
          R"({"Context":"C","Image ID":4000000000,"Message":"Update Image ID"})"));
}

TEST_F(VelomarCTest, MistakesAreRefusedInWordsAndNothingIsSent) {
  bringUp();
  velomar_link* open = link.get();
  refuses(velomar_poll(nullptr, &message), "the link is null");
  refuses(velomar_poll(open, nullptr), "null");
  refuses(velomar_is_up(nullptr), "the link is null");
  refuses(velomar_is_anybody_there(nullptr), "the link is null");
  refuses(velomar_send(open, nullptr), "the message is null");
  refuses(velomar_title(open, nullptr, "t"), "the context is null");
  refuses(velomar_title(open, "C", nullptr), "the title is null");
  refuses(velomar_title(open, "C", "\xC3("), "UTF-8");
  refuses(velomar_image(open, "C", 1, nullptr, 5), "the picture is null or empty");
  refuses(velomar_image(open, "C\xFF", 1, "x", 1), "UTF-8");
  refuses(velomar_image(open, "C", 4000000000U, "x", 1), "moving pictures");
  refuses(velomar_frame(open, "C", "x", 0), "the picture is null or empty");
  refuses(velomar_layout(open, "C", "l", nullptr), "the layout is null");
  refuses(velomar_layout(open, "C", "l", "{"), "the layout isn't JSON");
  for (const char* text : {"", "{", "{Hello}", "[]", "{}", R"({"Message":7})",
                           "{\"Message\":\"\xC3(\"}", "{\"Message\":\"M\"} x"}) {
    SCOPED_TRACE(text);
    refuses(velomar_send(open, text), "");
    EXPECT_STRNE(velomar_last_error(), "");
  }
  const std::string large = R"({"Message":")" + std::string(2048 * 4096, 'x') + "\"}";
  refuses(velomar_send(open, large.c_str()), "longer than the store");
  EXPECT_EQ(velomar_member(open, nullptr), nullptr);
  EXPECT_EQ(velomar_member(nullptr, "Context"), nullptr);
  EXPECT_EQ(velomar_open(8), nullptr);
  EXPECT_STREQ(velomar_last_error(), "unknown options");
  EXPECT_EQ(velomar_close(nullptr), 1);
  EXPECT_THAT(panel.heard(), IsEmpty());
}

TEST_F(VelomarCTest, WhatCannotGoNowIsNotCountedAsSent) {
  EXPECT_EQ(velomar_image(link.get(), "C", 7, "x", 1), 0);
  EXPECT_STREQ(velomar_last_error(), "the link is down");
  EXPECT_EQ(velomar_frame(link.get(), "C", "x", 1), 0);
  bringUp();
  ASSERT_TRUE(panel.fromXPlane.put("filler", std::string(2048 * 4096 - 6, 'x')));
  EXPECT_EQ(velomar_image(link.get(), "C", 7, "x", 1), 0);
  EXPECT_STREQ(velomar_last_error(), "the store has no room");
  EXPECT_EQ(velomar_frame(link.get(), "C", "x", 1), 0);
  (void)panel.heard();
  EXPECT_EQ(velomar_image(link.get(), "C", 7, "x", 1), 1);
  EXPECT_EQ(velomar_frame(link.get(), "C", "x", 1), 1);
  for (const auto& text : panel.heard()) EXPECT_THAT(text, HasSubstr("Update Full Image ID"));
}

TEST_F(VelomarCTest, ASecondThreadGetsAnErrorAndNothingIsLost) {
  bringUp();
  panel.expectAllPolledByTwoThreads([&] {
    const char* text = nullptr;
    const int result = velomar_poll(link.get(), &text);
    if (result == -1) {
      EXPECT_STREQ(velomar_last_error(), "the link is in use by another thread");
    }
    return result == 1 ? 1U : 0U;
  });
}

TEST(VelomarC, ExportsItsHeaderAndNothingElse) {
  const auto declared = found(contentOf(VELOMAR_HEADER), "VELOMAR_API [^;]*?(velomar_\\w+)\\(");
  const auto exported =
      found(outputOf("nm -D --defined-only " VELOMAR_C_LIBRARY).first, " [^A] ([^@\\s]+)");
  EXPECT_THAT(exported, testing::UnorderedElementsAreArray(declared));
  EXPECT_GT(declared.size(), 10U);
}

}  // namespace
