#include "tools/common/Output.h"

#include <editline/readline.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace {

constexpr std::chrono::milliseconds kLongestWait{100};

using Clock = std::chrono::steady_clock;
using Lock = std::lock_guard<std::mutex>;

Clock::time_point sStart = Clock::now();

volatile std::sig_atomic_t sToldToEnd = 0;

// The state of the terminal's line, shared by the threads that print and the one that reads.
struct Terminal {
  std::mutex mutex;
  bool hasPrompt = false;  // the library shows it just now
  bool hasLine = false;    // the library has handed over a line, or the input's end
  bool isEnd = false;
  std::string line;
};

Terminal& terminal() {
  static Terminal only;
  return only;
}

// Called by the library, within a call of ours that holds the lock.
void onLine(char* text) {
  Terminal& self = terminal();
  self.hasLine = true;
  self.isEnd = text == nullptr;
  self.line = text == nullptr ? "" : text;
  free(text);
}

bool isTerminal() {
  const char* kind = std::getenv("TERM");
  return isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0 && kind != nullptr &&
         *kind != '\0' && std::string(kind) != "dumb";
}

void showPrompt(const std::string& prompt) {
  const Lock lock(terminal().mutex);
  if (terminal().hasPrompt) return;
  rl_callback_handler_install(prompt.c_str(), onLine);
  terminal().hasPrompt = true;
}

// REQUIRES: the lock.
void leavePrompt() {
  rl_callback_handler_remove();
  terminal().hasPrompt = false;
}

void catchSignal(int number) {
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) { sToldToEnd = 1; };
  sigaction(number, nullptr, &before);
  // Under nohup SIGHUP is ignored, and stays so: the program outlives its terminal.
  if (number != SIGHUP || before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
}

}  // namespace

void Output::setStart(const std::string& nanoseconds) {
  sStart = Clock::time_point(std::chrono::nanoseconds(std::atoll(nanoseconds.c_str())));
}

std::string Output::start() {
  return std::to_string(std::chrono::nanoseconds(sStart.time_since_epoch()).count());
}

double Output::now() {
  return std::chrono::duration<double>(Clock::now() - sStart).count();
}

void Output::line(const std::string& text) {
  char stamp[32];
  std::snprintf(stamp, sizeof stamp, "%8.4f  ", now());
  plain(stamp + text);
}

void Output::plain(const std::string& text) {
  static constexpr char kEraseLine[] = "\r\x1b[K";
  const Lock lock(terminal().mutex);
  std::printf("%s%s\n", terminal().hasPrompt ? kEraseLine : "", text.c_str());
  std::fflush(stdout);
  if (terminal().hasPrompt) rl_forced_update_display();
}

Input::Input(const std::string& wanted) : prompt(isTerminal() ? wanted : "") {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) catchSignal(number);
  // The reader of our output may end before us.
  std::signal(SIGPIPE, SIG_IGN);
  rl_catch_signals = 0;
}

Input::~Input() {
  hidePrompt();
}

void Input::hidePrompt() {
  const Lock lock(terminal().mutex);
  if (!terminal().hasPrompt) return;
  leavePrompt();
  std::puts("");
}

Input::Event Input::next(std::string& line, std::chrono::milliseconds patience) {
  if (takeLine(line)) return Event::Line;
  if (!prompt.empty()) showPrompt(prompt);
  // A signal that comes just before poll isn't seen by it, so no single wait is long.
  pollfd watched{STDIN_FILENO, POLLIN, 0};
  const int ready = poll(&watched, 1, static_cast<int>(std::min(patience, kLongestWait).count()));
  if (isToldToEnd()) return Event::End;
  if (ready <= 0) return Event::Nothing;
  if (!prompt.empty()) return edit(line);
  char bytes[4096];
  const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
  if (count <= 0) return Event::End;
  buffer.append(bytes, static_cast<std::size_t>(count));
  return takeLine(line) ? Event::Line : Event::Nothing;
}

// Lets the library take the typed characters. The prompt is hidden while a line is carried out, so
// that the answer appears below the line.
Input::Event Input::edit(std::string& line) {
  Terminal& self = terminal();
  const Lock lock(self.mutex);
  self.hasLine = false;
  rl_callback_read_char();
  if (!self.hasLine) return Event::Nothing;
  leavePrompt();
  if (self.isEnd) return Event::End;
  line = self.line;
  if (!line.empty()) add_history(line.c_str());
  return Event::Line;
}

bool Input::isToldToEnd() {
  return sToldToEnd != 0;
}

bool Input::takeLine(std::string& line) {
  const auto end = buffer.find('\n');
  if (end == std::string::npos) return false;
  line = buffer.substr(0, end);
  buffer.erase(0, end + 1);
  return true;
}
