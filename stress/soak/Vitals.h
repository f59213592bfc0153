// The memory and descriptors that a process holds.
#pragma once

#include <sys/types.h>

#include <cstddef>

struct Vitals {
  long resident = 0;   // KiB
  long anonymous = 0;  // KiB of it that no file backs
  std::size_t descriptors = 0;

  // Looks at another process. Returns the smallest count of descriptors in a few looks, because the
  // process may have a file open just for a moment. All zero: there is no such process.
  static Vitals of(pid_t pid);
};
