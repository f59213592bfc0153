#include "tools/common/Output.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __APPLE__
#include <util.h>
#else
#include <pty.h>
#endif

#include <csignal>
#include <string>

using std::chrono::milliseconds;
using testing::HasSubstr;

namespace {

// A child that prompts at a terminal of its own, whose other end is here.
class PromptTest : public testing::Test {
 protected:
  void SetUp() override {
    child = forkpty(&terminal, nullptr, nullptr, nullptr);
    ASSERT_NE(child, -1);
    if (child == 0) runChild();
  }
  void TearDown() override {
    (void)kill(child, SIGKILL);
    (void)waitpid(child, nullptr, 0);
    (void)close(terminal);
  }

  // Takes what has come up to the end of `text`.
  std::string await(const std::string& text) {
    for (int tries = 0; tries < 600 && unread.find(text) == std::string::npos; ++tries) {
      pollfd watched{terminal, POLLIN, 0};
      char bytes[1024];
      if (poll(&watched, 1, 100) <= 0) continue;
      const ssize_t count = read(terminal, bytes, sizeof bytes);
      if (count <= 0) break;
      unread.append(bytes, static_cast<std::size_t>(count));
    }
    EXPECT_THAT(unread, HasSubstr(text));
    std::string taken = unread.substr(0, unread.find(text) + text.size());
    unread.erase(0, taken.size());
    return taken;
  }

  void type(const std::string& keys) {
    ASSERT_EQ(write(terminal, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }

  pid_t child = -1;

 private:
  [[noreturn]] static void runChild() {
    (void)setenv("TERM", "vt100", 1);
    {
      Input input("now> ");
      std::string line;
      for (auto event = Input::Event::Nothing; event != Input::Event::End;) {
        event = input.next(line, milliseconds(100));
        if (event == Input::Event::Line) Output::plain("got [" + line + "]");
        if (event == Input::Event::Nothing && line.empty()) Output::plain("news");
      }
      input.hidePrompt();
    }
    Output::plain("over");
    _exit(Input::isToldToEnd() ? 3 : 0);
  }

  int terminal = -1;
  std::string unread;
};

TEST_F(PromptTest, LinesComeAboveThePromptAndWhatIsTypedStays) {
  await("now> ");
  type("pre");
  await("news\r\n");
  EXPECT_THAT(await("now> pre"), testing::Not(HasSubstr("prenews")));
  type("ss A\r");
  await("got [press A]");
  await("now> ");
  type("\x04");
  await("over");
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(PromptTest, TheEndOfTheTerminalAndCtrlCAreSeen) {
  await("now> ");
  type("half\x03");
  await("over");
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 3);
}

}  // namespace
