#include "StreamDeckSDK/ESDLogger.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <new>

#include "tests/support/HostFixture.h"
#include "tests/support/SystemLog.h"

using nlohmann::json;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// The race detector has operators of its own, which can't be replaced.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define VELOMAR_GIVEN_OPERATORS
#endif
#endif

#ifndef VELOMAR_GIVEN_OPERATORS
namespace {

// Of this thread's allocations that can hold a long line, the one that brings it to 0 fails. Short
// ones never do: JSON objects need them to go.
thread_local int longAllocationsLeft = 0;
constexpr std::size_t kLong = 900;

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
  const bool fails = size >= kLong && longAllocationsLeft > 0 && --longAllocationsLeft == 0;
  void* made = fails ? nullptr : std::malloc(size);
  if (made == nullptr) throw std::bad_alloc();
  return made;
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*unused*/) noexcept {
  return std::malloc(size);
}
[[gnu::noinline]] void operator delete(void* made) noexcept {
  std::free(made);
}
[[gnu::noinline]] void operator delete(void* made, std::size_t /*size*/) noexcept {
  std::free(made);
}
#endif

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

#ifndef VELOMAR_GIVEN_OPERATORS
// The memory for a line runs out at each step on its way in turn.
TEST_F(ESDLoggerTest, ALineThatOneLogCantTakeReachesTheOther) {
  SKIP_WITHOUT_SYSTEM_LOG();
  connectLog();
  const std::string dots(kLong, '.');
  std::string text;
  for (int step = 1; longAllocationsLeft == 0; ++step) {
    text = std::to_string(step) + dots;
    longAllocationsLeft = step;
    ESDLogWithContext("a.cpp", text);
  }
  longAllocationsLeft = 0;
  std::vector<std::string> atHost;
  do {
    atHost.push_back(nextLine());
  } while (atHost.back() != "a.cpp: " + text);
  const std::vector<std::string> atSystem = log.lines();
  ASSERT_THAT(atSystem, Contains(atHost.back()));
  EXPECT_THAT(atHost, Not(Contains(atSystem.front()))) << "the host's log failed";
  EXPECT_THAT(atSystem, Not(Contains(atHost.front()))) << "the system's log failed";
}
#endif

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

// A pipe with room for one line, whose reader takes one now and then and at last none: threads that
// have seen the same room would block for ever.
TEST_F(ESDLoggerTest, ThreadsThatLogAtOnceDontWaitForTheReader) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
#ifdef F_SETPIPE_SZ
  ASSERT_GT(fcntl(ends[1], F_SETPIPE_SZ, 4096), 0);
#endif
  const int before = dup(STDERR_FILENO);
  dup2(ends[1], STDERR_FILENO);
  close(ends[1]);
  for (int round = 0; round < 100 && !HasFailure(); ++round) {
    std::atomic<bool> isOver{false};
    const auto talk = [&] {
      while (!isOver) ESDLogger::LogToSystem(std::string(4000, '.'));
    };
    Runner one(talk);
    Runner two(talk);
    char bytes[4096];
    for (int taken = 0; taken < 20; ++taken) EXPECT_GT(read(ends[0], bytes, sizeof bytes), 0);
    isOver = true;
    if (one.ended() && two.ended()) continue;
    ADD_FAILURE() << "round " << round;
    while (!one.ended() || !two.ended()) (void)!read(ends[0], bytes, sizeof bytes);
  }
  close(ends[0]);
  dup2(before, STDERR_FILENO);
  close(before);
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
