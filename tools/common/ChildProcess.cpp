#include "tools/common/ChildProcess.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <system_error>
#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace {

struct Pipe {
  Pipe() {
    if (pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    for (const int end : ends) (void)fcntl(end, F_SETFD, FD_CLOEXEC);
  }
  int ends[2] = {-1, -1};
};

[[noreturn]] void runChild(const std::vector<std::string>& command, const std::string& folder,
                           const Pipe& in, const Pipe& out, bool withErrorOutput) {
  setpgid(0, 0);
#ifdef __linux__
  prctl(PR_SET_PDEATHSIG, SIGTERM);
#endif
  dup2(in.ends[0], STDIN_FILENO);
  dup2(out.ends[1], STDOUT_FILENO);
  if (withErrorOutput) dup2(out.ends[1], STDERR_FILENO);
  std::vector<char*> arguments;
  for (const auto& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  if (folder.empty() || chdir(folder.c_str()) == 0) execv(arguments[0], arguments.data());
  std::perror(arguments[0]);
  _exit(127);
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command, Options options) {
  const Pipe in;
  const Pipe out;
  child = fork();
  if (child == -1) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0) runChild(command, options.folder, in, out, options.withErrorOutput);
  close(in.ends[0]);
  close(out.ends[1]);
  input = in.ends[1];
  reader = std::thread(
      [this, fd = out.ends[0], onLine = std::move(options.onLine)] { readOutput(fd, onLine); });
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
  // A child that has gone is found out by its end, not by a signal to us.
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
  if (!changed.wait_for(lock, patience, found)) return std::nullopt;
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
}
