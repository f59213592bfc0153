#include "StreamDeckSDK/ESDLogger.h"

#include <gmock/gmock.h>

#include <csignal>

#include "tests/support/HostFixture.h"
#include "tests/support/SystemLog.h"

using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// U+FFFD
constexpr char kRepaired[] = "\xef\xbf\xbd";

class ESDLoggerTest : public HostFixture {
 protected:
  // The line that reaches the application's log.
  std::string nextLine() {
    const json frame = json::parse(host.frames.next());
    EXPECT_EQ(frame.value("event", ""), "logMessage");
    return frame.value("/payload/message"_json_pointer, "");
  }

  void connectLog() { ESDLogger::SetConnectionManager(&connect(nullptr)); }

  SystemLog log;
};

TEST_F(ESDLoggerTest, ALineIsTheFileNameAndTheMessage) {
  connectLog();
  const char* const contexts[][2] = {{"/home/a/Velomar.cpp", "Velomar.cpp"},
                                     {"C:\\a\\b.cpp", "b.cpp"},
                                     {"plain", "plain"},
                                     {"folder/", ""},
                                     {"a/{}.cpp", "{}.cpp"}};
  for (const auto& [context, name] : contexts) {
    ESDLogWithContext(context, "hello");
    EXPECT_EQ(nextLine(), std::string(name) + ": hello");
  }
  ESDLogWithContext("a.cpp", std::string("{} %s %n {0} \"\\ \n"));
  EXPECT_EQ(nextLine(), "a.cpp: {} %s %n {0} \"\\ \n");

  const char* text = "{} of a text";
  ESDLogWithContext("a.cpp", "{} instead of 9", 7);
  ESDLogWithContext("a.cpp", "because: {}", text);
  ESDLogWithContext("a.cpp", "{} - {}", std::string("one"), std::string("{}"));
  EXPECT_EQ(nextLine(), "a.cpp: 7 instead of 9");
  EXPECT_EQ(nextLine(), "a.cpp: because: {} of a text");
  EXPECT_EQ(nextLine(), "a.cpp: one - {}");
}

TEST_F(ESDLoggerTest, TheSystemLogGetsEveryLineAndTheHostWhatItCan) {
  SKIP_WITHOUT_SYSTEM_LOG();
  ESDLogWithContext("a.cpp", "nobody to send it to");
  ESDConnectionManager& manager = make(nullptr, host.port());
  ESDLogger::SetConnectionManager(&manager);
  ESDLogWithContext("a.cpp", "before the connection");
  run(manager);
  EXPECT_EQ(host.frames.next(), kRegistration);
  ESDLogWithContext("a.cpp", "100 %s {}");
  EXPECT_EQ(host.frames.next(), logFrame("a.cpp: 100 %s {}"));
  host.close("");
  ASSERT_TRUE(ended());
  ESDLogWithContext("a.cpp", "after the connection");
  ESDLogger::LogToStreamDeckSoftware("the host only");
  EXPECT_THAT(log.lines(),
              ElementsAre("a.cpp: nobody to send it to", "a.cpp: before the connection",
                          "a.cpp: 100 %s {}", "a.cpp: after the connection"));
  EXPECT_THAT(host.frames.rest(), IsEmpty());
}

TEST_F(ESDLoggerTest, AReaderThatSleepsOrHasGoneCostsNothing) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const int before = dup(STDERR_FILENO);
  dup2(ends[1], STDERR_FILENO);
  close(ends[1]);
  {
    const Runner talking([] {
      for (int i = 0; i < 2000; ++i) ESDLogWithContext("a.cpp", std::string(5000, '.'));
    });
  }
  close(ends[0]);
  ESDLogWithContext("a.cpp", "into a broken pipe");
  ESDLogWithContext("a.cpp", "and again");
  dup2(before, STDERR_FILENO);
  close(before);
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

TEST_F(ESDLoggerTest, BytesThatAreNotTextAreReplaced) {
  connectLog();
  const std::string bad = kRepaired;
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"\xff", bad},
      {"a\x80z", "a" + bad + "z"},
      {"cut off \xc3", "cut off " + bad},
      {"\xc3\xa9 \xe2\x82\xac \xf0\x9f\x9b\xa9", "\xc3\xa9 \xe2\x82\xac \xf0\x9f\x9b\xa9"}};
  for (const auto& [message, repaired] : rows) {
    ESDLogWithContext("a.cpp", message);
    EXPECT_EQ(nextLine(), "a.cpp: " + repaired);
    ESDLogWithContext("a/" + message + ".cpp", "{}", message);
    EXPECT_EQ(nextLine(), repaired + ".cpp: " + repaired);
  }
}

}  // namespace
