// The system log of systems without os_log. Whoever starts the program by hand sees the lines on
// standard error as well.
#include <syslog.h>

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

}  // namespace

void ESDLogger::LogToSystem(const std::string& line) {
  static const bool opened = [] {
    openlog(nullptr, LOG_PERROR, LOG_USER);
    return true;
  }();
  (void)opened;
  const PipeSignalHeld held;
  syslog(LOG_NOTICE, "%s", line.c_str());
}
