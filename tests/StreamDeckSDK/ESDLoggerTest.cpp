#include "StreamDeckSDK/ESDLogger.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <csignal>

#include "tests/support/HostFixture.h"
#include "tests/support/Processes.h"
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

TEST_F(ESDLoggerTest, ALineIsTheFileNameAndTheMessageRepaired) {
  connectLog();
  const std::string bad = kRepaired;
  const std::vector<std::array<std::string, 3>> rows = {
      {"/home/a/Velomar.cpp", "hello", "Velomar.cpp: hello"},
      {"C:\\a\\b.cpp", "hello", "b.cpp: hello"},
      {"plain", "hello", "plain: hello"},
      {"folder/", "hello", ": hello"},
      {"a/{}.cpp", "{} %s %n {0} \"\\ \n", "{}.cpp: {} %s %n {0} \"\\ \n"},
      {"a/\xff.cpp", "\xff", bad + ".cpp: " + bad},
      {"a.cpp", "a\x80z", "a.cpp: a" + bad + "z"},
      {"a.cpp", "cut off \xc3", "a.cpp: cut off " + bad},
      {"a.cpp", "\xc3\xa9 \xe2\x82\xac \xf0\x9f\x9b\xa9",
       "a.cpp: \xc3\xa9 \xe2\x82\xac \xf0\x9f\x9b\xa9"}};
  for (const auto& [context, message, line] : rows) {
    ESDLogWithContext(context, message);
    EXPECT_EQ(nextLine(), line);
    ESDLogWithContext(context, "{}", message);
    EXPECT_EQ(nextLine(), line);
  }
  ESDLogWithContext("a.cpp", "{} instead of 9", 7);
  ESDLogWithContext("a.cpp", "{} - {}", std::string("one"), std::string("{}"));
  EXPECT_EQ(nextLine(), "a.cpp: 7 instead of 9");
  EXPECT_EQ(nextLine(), "a.cpp: one - {}");
}

TEST_F(ESDLoggerTest, TheSystemLogGetsEveryLineAndTheHostWhatItCan) {
  SKIP_WITHOUT_SYSTEM_LOG();
  ESDLogWithContext("a.cpp", "no one to send it to");
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
              ElementsAre("a.cpp: no one to send it to", "a.cpp: before the connection",
                          "a.cpp: 100 %s {}", "a.cpp: after the connection"));
  EXPECT_THAT(host.frames.rest(), IsEmpty());
}

// A pipe in place of standard error, for as long as the object lives.
class ErrorPipe {
 public:
  ErrorPipe() {
    EXPECT_EQ(pipe(ends), 0);
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
  }
  ~ErrorPipe() {
    dup2(before, STDERR_FILENO);
    close(before);
  }
  ErrorPipe(const ErrorPipe&) = delete;
  ErrorPipe& operator=(const ErrorPipe&) = delete;

  bool take() const {
    char bytes[4096];
    return read(ends[0], bytes, sizeof bytes) > 0;
  }
  void closeReader() const { close(ends[0]); }

 private:
  int ends[2] = {};
  const int before = dup(STDERR_FILENO);
};

TEST_F(ESDLoggerTest, AReaderThatSleepsOrHasGoneCostsNothing) {
  const ErrorPipe errors;
  {
    const Runner talking([] {
      for (int i = 0; i < 2000; ++i) ESDLogWithContext("a.cpp", std::string(5000, '.'));
    });
  }
  errors.closeReader();
  ESDLogWithContext("a.cpp", "into a broken pipe");
  ESDLogWithContext("a.cpp", "and again");
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
}

// A pipe with room for one line, whose reader takes one now and then: of two threads that have seen
// the same room, one would wait until the reader takes the next.
TEST_F(ESDLoggerTest, ThreadsThatLogAtOnceDontWaitForTheReader) {
  const ErrorPipe errors;
#ifdef F_SETPIPE_SZ
  ASSERT_GT(fcntl(STDERR_FILENO, F_SETPIPE_SZ, 4096), 0);
#endif
  std::atomic<bool> isOver{false};
  std::array<std::atomic<int>, 2> counts{};
  const auto talk = [&isOver](std::atomic<int>& count) {
    for (; !isOver; ++count) ESDLogger::LogToSystem(std::string(4000, '.'));
  };
  Runner one([&] { talk(counts[0]); });
  Runner two([&] { talk(counts[1]); });
  const auto goesOn = [](const std::atomic<int>& count) {
    return eventually([&count, wanted = count + 2] { return count >= wanted; });
  };
  for (int taken = 0; taken < 300 && !HasFailure(); ++taken) {
    EXPECT_TRUE(errors.take());
    EXPECT_TRUE(goesOn(counts[0]) && goesOn(counts[1])) << "after " << taken << " lines";
  }
  isOver = true;
  while (HasFailure() && !(one.ended() && two.ended())) (void)errors.take();
  EXPECT_TRUE(one.ended() && two.ended());
  errors.closeReader();
}

TEST_F(ESDLoggerTest, ALongLineIsCutForBothLogs) {
  SKIP_WITHOUT_SYSTEM_LOG();
  connectLog();
  ESDLogWithContext("a.cpp", "why: " + std::string(300000, '.'));
  const std::string beginning = "a.cpp: why: ";
  const std::string cut = beginning +
                          std::string(ESDLogger::kMaxLineBytes - beginning.size(), '.') +
                          "... (cut, 300012 bytes in all)";
  EXPECT_EQ(nextLine(), cut);
  EXPECT_THAT(log.lines(), ElementsAre(cut));
  // No cut leaves half a character.
  for (std::size_t before = 0; before < 4; ++before) {
    std::string text(before, '.');
    while (text.size() < 1000) text += "\xf0\x9f\x9b\xa9";
    ESDLogWithContext("a.cpp", text);
    const std::string line = nextLine();
    EXPECT_EQ(line.find(kRepaired), std::string::npos) << line;
    EXPECT_LT(line.size(), 1000U);
  }
  ESDLogWithContext("a.cpp", std::string(900, '\xff'));
  EXPECT_LT(nextLine().size(), 1000U) << "what replaces a byte is longer";
}

TEST_F(ESDLoggerTest, ATextThatDoesntFitItsArgumentsIsLoggedWithoutThem) {
  connectLog();
  for (const char* format : {"{} and {}", "{:d}", "{"}) {
    EXPECT_NO_THROW(ESDLogWithContext("a.cpp", fmt::runtime(format), std::string("x")));
    EXPECT_EQ(nextLine(), "a.cpp: " + std::string(format));
  }
}

}  // namespace
