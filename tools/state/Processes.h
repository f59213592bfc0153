// The processes that have to do with the two stores: those that have one of the files in memory,
// and every panel, whether it has or not. A process keeps no descriptor of a store's file, so its
// mappings are looked at.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <map>
#include <string>
#include <vector>

// How a process has a store's file in memory.
enum class Hold {
  ThisFile,     // the one that a process which starts now would open
  RemovedFile,  // one that has lost its name since
  OtherFile,    // one of the same name in another view of the file system, that of a sandbox
};

struct Process {
  pid_t pid = 0;
  std::string program;  // its file's path, or its name alone where the path can't be seen
  std::string user;
  std::time_t since = 0;
  bool isStopped = false;             // by a signal, or a debugger
  std::map<std::string, Hold> holds;  // store: how

  bool isPanel() const;
  bool has(const std::string& store) const;  // the file that counts
};

struct Processes {
  std::vector<Process> found;  // in the order of their ids
  std::size_t hidden = 0;      // those of other users, which root could look into
};

// Looks through all processes on the machine. Those that end while it looks are left out.
Processes findProcesses();

// The store whose file has this path. Empty: it is no store's.
std::string storeOfPath(const std::string& path);

// The name of a user, or the number if there is none.
std::string nameOfUser(uid_t user);
