#include "tools/common/ChildProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <system_error>
#include <utility>

extern char** environ;

namespace {

void require(int error, const std::string& what) {
  if (error != 0) throw std::system_error(error, std::generic_category(), what);
}

// Moves a descriptor above the standard ones, to be closed at exec, and closes the old one. In a
// process that was started without some of the standard streams, a pipe may have got their numbers,
// which the child needs for its own.
int aboveStandard(int fd) {
  const int moved = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  require(moved == -1 ? errno : 0, "fcntl");
  (void)close(fd);
  return moved;
}

struct Pipe {
  Pipe() {
#ifdef __linux__
    require(pipe2(ends, O_CLOEXEC) == 0 ? 0 : errno, "pipe");
#else
    require(pipe(ends) == 0 ? 0 : errno, "pipe");
#endif
    for (int& end : ends) end = aboveStandard(end);
  }
  ~Pipe() {
    for (const int end : ends) {
      if (end != -1) (void)close(end);
    }
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;

  // Hands one end over to the caller, which has to close it.
  int take(int end) {
    return std::exchange(ends[end], -1);
  }

  int ends[2] = {-1, -1};
};

// The steps of the child before its program runs. The system takes them from these lists, so that
// no code of ours runs in the copy of a process with several threads.
class Birth {
 public:
  Birth() {
    require(posix_spawn_file_actions_init(&actions), "posix_spawn");
    require(posix_spawnattr_init(&attributes), "posix_spawn");
    short flags = POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF;
#ifdef POSIX_SPAWN_CLOEXEC_DEFAULT
    // On a system that can't make a pipe that is closed at exec, all descriptors but the standard
    // ones are closed in the child.
    flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
    if (fcntl(STDERR_FILENO, F_GETFD) != -1) {
      require(posix_spawn_file_actions_addinherit_np(&actions, STDERR_FILENO), "posix_spawn");
    }
#endif
    require(posix_spawnattr_setflags(&attributes, flags), "posix_spawn");
    require(posix_spawnattr_setpgroup(&attributes, 0), "posix_spawn");
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    require(posix_spawnattr_setsigdefault(&attributes, &defaults), "posix_spawn");
  }
  ~Birth() {
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
  }
  Birth(const Birth&) = delete;
  Birth& operator=(const Birth&) = delete;

  void changeFolder(const std::string& folder) {
    require(posix_spawn_file_actions_addchdir_np(&actions, folder.c_str()), "posix_spawn");
  }

  void connect(int fd, int standard) {
    require(posix_spawn_file_actions_adddup2(&actions, fd, standard), "posix_spawn");
  }

  // To be called last.
  pid_t start(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const auto& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    closeOthers();
    pid_t child = -1;
    require(posix_spawn(&child, arguments[0], &actions, &attributes, arguments.data(), environ),
            command.front());
    return child;
  }

 private:
  // Closes all descriptors but the standard ones in the child, because a library's sockets may not
  // be closed at exec, and one that listens would hold its port for as long as the child lives.
  void closeOthers() {
#ifdef __linux__
    require(posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1), "posix_spawn");
#endif
  }

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
};

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command, Options options) {
  Pipe in;
  Pipe out;
  Birth birth;
  if (!options.folder.empty()) birth.changeFolder(options.folder);
  birth.connect(in.ends[0], STDIN_FILENO);
  birth.connect(out.ends[1], STDOUT_FILENO);
  if (options.withErrorOutput) birth.connect(out.ends[1], STDERR_FILENO);
  child = birth.start(command);
  input = in.take(1);
  reader = std::thread(
      [this, fd = out.take(0), onLine = std::move(options.onLine)] { readOutput(fd, onLine); });
}

ChildProcess::~ChildProcess() {
  closeInput();
  if (!result) {
    signal(SIGKILL);
    (void)waitForEnd(std::chrono::seconds(10));
  }
  reader.join();
}

void ChildProcess::writeLine(const std::string& line) {
  const std::string text = line + '\n';
  // The end of a child is noticed elsewhere, so a write to one that has ended must not raise a
  // signal.
  std::signal(SIGPIPE, SIG_IGN);
  (void)!write(input, text.data(), text.size());
}

void ChildProcess::closeInput() {
  if (input != -1) close(input);
  input = -1;
}

void ChildProcess::signal(int number) const {
  (void)kill(child, number);
}

std::optional<int> ChildProcess::waitForEnd(std::chrono::milliseconds patience) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!result) {
    int status = 0;
    const pid_t ended = waitpid(child, &status, WNOHANG);
    if (ended == child) {
      result = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    } else if (std::chrono::steady_clock::now() >= deadline) {
      break;
    } else {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
  }
  return result;
}

std::optional<std::size_t> ChildProcess::waitForLine(const std::string& text,
                                                     std::chrono::milliseconds patience,
                                                     std::size_t from) {
  std::unique_lock<std::mutex> lock(mutex);
  std::size_t next = from;
  const auto found = [&] {
    for (; next < output.size(); ++next) {
      if (output[next].find(text) != std::string::npos) return true;
    }
    return false;
  };
  (void)changed.wait_for(lock, patience, [&] { return found() || hasEnded; });
  if (next >= output.size()) return std::nullopt;
  return next + 1;
}

std::vector<std::string> ChildProcess::lines() const {
  const std::lock_guard<std::mutex> lock(mutex);
  return output;
}

void ChildProcess::readOutput(int fd, const LineHandler& onLine) {
  FILE* stream = fdopen(fd, "r");
  char* buffer = nullptr;
  std::size_t capacity = 0;
  for (ssize_t length; (length = getline(&buffer, &capacity, stream)) > 0;) {
    std::string line(buffer, static_cast<std::size_t>(length));
    if (line.back() == '\n') line.pop_back();
    if (onLine) onLine(line);
    {
      const std::lock_guard<std::mutex> lock(mutex);
      output.push_back(std::move(line));
    }
    changed.notify_all();
  }
  free(buffer);
  fclose(stream);
  const std::lock_guard<std::mutex> lock(mutex);
  hasEnded = true;
  changed.notify_all();
}
