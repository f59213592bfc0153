// Finds the processes that have to do with stores: those that map the file of any of them, and
// every panel, whether it maps one or not. A process keeps no descriptor of a store's file, so its
// mappings are looked at.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <map>
#include <string>
#include <vector>

// The panel's two stores.
constexpr char kToSimulator[] = "ToXPlane";
constexpr char kToPanel[] = "FromXPlane";

// The file of a store's name that a process maps.
enum class Hold {
  ThisFile,     // the file that a process would open now
  RemovedFile,  // a file that has been removed since
  OtherFile,    // a file of the same name in a sandbox's view of the file system
};

struct Process {
  pid_t pid = 0;
  std::string program;  // its file's path, or its name alone where the path can't be seen
  std::string user;
  std::time_t since = 0;
  bool isStopped = false;             // by a signal, or a debugger
  std::map<std::string, Hold> holds;  // by store

  bool isPanel() const;
  bool has(const std::string& store) const;  // maps its present file
  bool isOfLink() const;                     // maps a file of one of the panel's two stores
  bool isElsewhere() const;                  // maps one of them as a sandbox sees it
};

struct Processes {
  std::vector<Process> found;  // in the order of their ids
  std::size_t hidden = 0;      // other users' processes, which only root may look into
};

// Looks through all processes on the machine. Those that end while it looks are left out.
Processes findProcesses();

// The store whose file has this path. Empty: it is no store's file.
std::string storeOfPath(const std::string& path);

// The name of a user, or the number if there is none.
std::string nameOfUser(uid_t user);
