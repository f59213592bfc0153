#include "tools/common/Output.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr std::chrono::milliseconds kLongestWait{100};

using Clock = std::chrono::steady_clock;

Clock::time_point sStart = Clock::now();

volatile std::sig_atomic_t sToldToEnd = 0;

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
  std::printf("%8.4f  %s\n", now(), text.c_str());
  std::fflush(stdout);
}

Input::Input() {
  struct sigaction action {};
  action.sa_handler = [](int) { sToldToEnd = 1; };
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

Input::Event Input::next(std::string& line, std::chrono::milliseconds patience) {
  if (takeLine(line)) return Event::Line;
  // A signal that comes just before poll isn't seen by it, so no single wait is long.
  pollfd watched{STDIN_FILENO, POLLIN, 0};
  const int ready = poll(&watched, 1, static_cast<int>(std::min(patience, kLongestWait).count()));
  if (isToldToEnd()) return Event::End;
  if (ready <= 0) return Event::Nothing;
  char bytes[4096];
  const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
  if (count <= 0) return Event::End;
  buffer.append(bytes, static_cast<std::size_t>(count));
  return takeLine(line) ? Event::Line : Event::Nothing;
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
