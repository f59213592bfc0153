#include "simulator/Deliveries.h"

#include <gmock/gmock.h>

#include <set>

namespace {

using nlohmann::json;
using velomar::Deliveries;

constexpr Deliveries::Time kNow{100000};

class FramesTest : public testing::Test {
 protected:
  // The kind of delivery for one more frame: "full N", "name N" or "".
  std::string show(const std::string& context, const std::string& bytes) {
    const auto message = deliveries.frame(context, bytes);
    if (!message) return "";
    EXPECT_EQ(message->at("Context"), context);
    const auto id = message->at("Image ID").get<std::uint32_t>();
    ids.insert(id);
    if (message->at("Message") == "Update Image ID") return "name " + std::to_string(id - kFirst);
    EXPECT_EQ(message->at("Message"), "Update Full Image ID");
    EXPECT_EQ(message->at("Base64"), bytes);
    return "full " + std::to_string(id - kFirst);
  }
  void heed(const char* name, const char* context = nullptr) {
    json message{{"Message", name}};
    if (context != nullptr) message["Context"] = context;
    deliveries.heed(message, kNow);
  }

  static constexpr std::uint32_t kFirst = Deliveries::kFirstFrameId;
  Deliveries deliveries;
  std::set<std::uint32_t> ids;
};

TEST_F(FramesTest, NewBytesGoWholeKnownOnesByNameAndTheSameOnesNotAtAll) {
  EXPECT_EQ(show("C", "on"), "full 0");
  EXPECT_EQ(show("C", "on"), "");
  EXPECT_EQ(show("C", "off"), "full 1");
  EXPECT_EQ(show("C", "on"), "name 0");
  EXPECT_EQ(show("C", "a"), "full 2");
  EXPECT_EQ(show("C", "on"), "name 0");
  EXPECT_EQ(show("C", "b"), "full 3");
  EXPECT_EQ(show("C", "on"), "name 0");
  EXPECT_EQ(show("C", "c"), "full 1") << "the oldest is on show";
  EXPECT_EQ(show("C", "off"), "full 2");
}

TEST_F(FramesTest, WhatTheContextDoesNotShowAnyMoreIsSentAgain) {
  show("C", "on");
  heed("Add Context", "C");
  EXPECT_EQ(show("C", "on"), "name 0") << "blanked, but kept at the panel's end";
  deliveries.image("C", 7, "other", kNow);
  EXPECT_EQ(show("C", "on"), "name 0");
  deliveries.changed("C");
  EXPECT_EQ(show("C", "on"), "name 0");
  heed("Add Context", "D");
  EXPECT_EQ(show("C", "on"), "");
  heed("Force Refresh");
  EXPECT_EQ(show("C", "on").substr(0, 4), "full");
  heed("Hide Context", "C");
  EXPECT_EQ(show("C", "on").substr(0, 4), "full");
}

// A dial may show what the host keeps under a file's name, so that the name on show must not come
// again for other bytes.
TEST_F(FramesTest, ANumberOnShowIsNeverGivenOtherBytes) {
  std::string last;
  for (int i = 0; i < 500; ++i) {
    const std::string bytes(1, static_cast<char>('a' + i * i % 7));
    if (i % 50 == 49) heed(i % 100 == 99 ? "Force Refresh" : "Hide Context", "C");
    const std::string sent = show("C", bytes);
    if (sent.substr(0, 4) == "full") {
      EXPECT_NE(sent.substr(5), last) << i;
    }
    if (!sent.empty()) last = sent.substr(5);
  }
  EXPECT_EQ(ids.size(), Deliveries::kFrameIds);
}

TEST_F(FramesTest, ContextsThatComeAndGoUseNoMoreNumbersThanAreOnShow) {
  for (int i = 0; i < 100; ++i) {
    const std::string context = "C" + std::to_string(i);
    for (const char* bytes : {"a", "b", "c", "d", "e"}) {
      show(context, bytes);
      show("stays", bytes + context);
    }
    if (i % 10 == 9) {
      heed("Force Refresh");  // what has gone unseen, while the link was down
    } else {
      heed("Hide Context", context.c_str());
    }
  }
  EXPECT_EQ(ids.size(), 2 * Deliveries::kFrameIds);
}

}  // namespace
