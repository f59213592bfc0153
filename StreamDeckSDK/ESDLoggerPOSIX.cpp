// The system log of systems without os_log. Whoever starts the program by hand sees the lines on
// standard error as well.
#include <poll.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <ctime>

#include "StreamDeckSDK/ESDLogger.h"

namespace {

// Whoever read our standard error may have gone, and writing there then raises SIGPIPE, which ends
// the process. Held off in this thread while the object lives, and taken back if it came.
class PipeSignalHeld {
 public:
  PipeSignalHeld() {
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    wasPending = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipe, &before);
  }
  ~PipeSignalHeld() {
    const timespec atOnce{0, 0};
    if (!wasPending) (void)sigtimedwait(&pipe, nullptr, &atOnce);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }
  PipeSignalHeld(const PipeSignalHeld&) = delete;
  PipeSignalHeld& operator=(const PipeSignalHeld&) = delete;

 private:
  sigset_t pipe{};
  sigset_t before{};
  bool wasPending = false;
};

// Whoever started us may hold the other end of a pipe and never read it, so a line that would have
// to wait is left out. A pipe that takes anything takes this many bytes at once.
void CopyToStandardError(const std::string& line) {
  pollfd error{STDERR_FILENO, POLLOUT, 0};
  if (poll(&error, 1, 0) != 1 || (error.revents & POLLOUT) == 0) return;
  std::string text = std::string(program_invocation_short_name) + ": " + line;
  text.resize(std::min<std::size_t>(text.size(), PIPE_BUF - 1));
  text += '\n';
  (void)!write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

void ESDLogger::LogToSystem(const std::string& line) {
  const PipeSignalHeld held;
  syslog(LOG_USER | LOG_NOTICE, "%s", line.c_str());
  CopyToStandardError(line);
}
