// What a process holds of the machine.
#pragma once

#include <sys/types.h>

#include <cstddef>

struct Vitals {
  long resident = 0;   // KiB
  long anonymous = 0;  // KiB of it that no file backs
  std::size_t descriptors = 0;

  // Looks at another process, which may just have a file open for a moment: the smallest count of
  // descriptors in a few looks counts. All zero if there is no such process.
  static Vitals of(pid_t pid);
};
