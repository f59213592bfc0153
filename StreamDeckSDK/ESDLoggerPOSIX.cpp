// The system log of systems without os_log. Lines go to standard error as well, for a user who
// starts the program by hand.
#include <poll.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <ctime>
#include <mutex>

#include "StreamDeckSDK/ESDLogger.h"

namespace {

// The reader of our standard error may have gone, and writing there then raises SIGPIPE, which ends
// the process. This object blocks the signal in its thread and takes it back if it came.
class PipeSignalHeld {
 public:
  PipeSignalHeld() {
    sigemptyset(&mPipe);
    sigaddset(&mPipe, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    mWasPending = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &mPipe, &mBefore);
  }
  ~PipeSignalHeld() {
    const timespec atOnce{0, 0};
    if (!mWasPending) (void)sigtimedwait(&mPipe, nullptr, &atOnce);
    pthread_sigmask(SIG_SETMASK, &mBefore, nullptr);
  }
  PipeSignalHeld(const PipeSignalHeld&) = delete;
  PipeSignalHeld& operator=(const PipeSignalHeld&) = delete;

 private:
  sigset_t mPipe{};
  sigset_t mBefore{};
  bool mWasPending = false;
};

// The process that started us may hold the other end of a pipe and never read it, so a line that
// would have to wait is left out. A pipe that is ready takes this many bytes without waiting, but
// only once: another thread must not see the same room.
void CopyToStandardError(const std::string& line) {
  static std::mutex sOneAtATime;
  const std::lock_guard<std::mutex> lock(sOneAtATime);
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
