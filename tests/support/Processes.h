// Processes of a test's own, and waiting for what they do.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

// Waits for a condition; false: it hasn't come true within a minute.
template <typename Condition>
bool eventually(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  return true;
}

// Runs `body` in a process of its own, which ends with the code that it returns.
template <typename Body>
pid_t startProcess(Body body) {
  const pid_t pid = fork();
  if (pid == 0) _exit(static_cast<int>(body()));
  return pid;
}

// The code that a process ended with, or minus the signal.
inline int endOf(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) == -1 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}
