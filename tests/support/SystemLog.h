// The system log read back: where there is no os_log, it also goes to standard error.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

// Catches standard error while it lives.
class SystemLog {
 public:
  SystemLog() {
    std::fflush(stderr);
    dup2(fileno(caught), STDERR_FILENO);
  }

  ~SystemLog() {
    std::fflush(stderr);
    dup2(before, STDERR_FILENO);
    close(before);
    std::fclose(caught);
  }

  SystemLog(const SystemLog&) = delete;
  SystemLog& operator=(const SystemLog&) = delete;

  // All lines so far, without the program's name that the system puts in front of each.
  std::vector<std::string> lines() const {
    std::vector<std::string> all;
    std::istringstream in(text());
    for (std::string line; std::getline(in, line);) {
      const auto colon = line.find(": ");
      all.push_back(colon == std::string::npos ? line : line.substr(colon + 2));
    }
    return all;
  }

 private:
  std::string text() const {
    std::string all;
    char part[4096];
    for (ssize_t n;
         (n = pread(fileno(caught), part, sizeof part, static_cast<off_t>(all.size()))) > 0;) {
      all.append(part, static_cast<std::size_t>(n));
    }
    return all;
  }

  std::FILE* caught = std::tmpfile();
  int before = dup(STDERR_FILENO);
};

// For tests that need it.
#ifdef __APPLE__
#define SKIP_WITHOUT_SYSTEM_LOG() GTEST_SKIP() << "what os_log takes can't be read back"
#else
#define SKIP_WITHOUT_SYSTEM_LOG() static_cast<void>(0)
#endif
