// Finds processes by /proc.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tools/state/Processes.h"

namespace fs = std::filesystem;

namespace {

constexpr char kDeleted[] = " (deleted)";
constexpr std::size_t kDeletedLength = sizeof kDeleted - 1;

// Cuts off the mark that the system appends to the path of a removed file. True: there was one.
bool takeDeleted(std::string& path) {
  const bool isDeleted = path.size() > kDeletedLength &&
                         path.compare(path.size() - kDeletedLength, kDeletedLength, kDeleted) == 0;
  if (isDeleted) path.erase(path.size() - kDeletedLength);
  return isDeleted;
}

bool isSameFile(const std::string& a, const std::string& b) {
  struct stat first {};
  struct stat second {};
  return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

// Tells the files apart by the file that the process would open under the path. The device and
// inode numbers of a mapping can't be compared with the file's: on some file systems they come from
// different layers.
Hold holdOf(const fs::path& process, const std::string& path, bool isDeleted) {
  if (isDeleted) return Hold::RemovedFile;
  return isSameFile((process / "root").string() + path, path) ? Hold::ThisFile : Hold::OtherFile;
}

// False: it is another user's process, or has just ended.
bool readMappings(const fs::path& process, std::map<std::string, Hold>& holds) {
  std::ifstream maps(process / "maps");
  if (!maps) return false;
  for (std::string line; std::getline(maps, line);) {
    const auto at = line.find('/');
    if (at == std::string::npos) continue;
    std::string path = line.substr(at);
    const bool isDeleted = takeDeleted(path);
    const std::string store = storeOfPath(path);
    if (!store.empty()) holds[store] = holdOf(process, path, isDeleted);
  }
  return maps.eof();
}

std::time_t bootTime() {
  std::ifstream stream("/proc/stat");
  for (std::string word; stream >> word;) {
    if (word != "btime") continue;
    std::time_t time = 0;
    stream >> time;
    return time;
  }
  return 0;
}

// The program's name is in parentheses and may hold any character, so the fields are counted from
// the last parenthesis.
bool readStatus(const fs::path& folder, Process& process) {
  constexpr int kStartField = 22;
  std::ifstream stream(folder / "stat");
  std::string line;
  std::getline(stream, line);
  const auto open = line.find('(');
  const auto close = line.rfind(')');
  if (open == std::string::npos || close == std::string::npos || close < open) return false;
  process.program = line.substr(open + 1, close - open - 1);
  std::istringstream fields(line.substr(close + 1));
  std::string field;
  fields >> field;
  process.isStopped = field == "T" || field == "t";
  for (int number = 3; number < kStartField; ++number) fields >> field;
  process.since = bootTime() + std::atoll(field.c_str()) / sysconf(_SC_CLK_TCK);
  return true;
}

// False: the process has ended.
bool read(const fs::path& folder, Process& process) {
  struct stat status {};
  if (stat(folder.c_str(), &status) != 0 || !readStatus(folder, process)) return false;
  process.pid = std::atoi(folder.filename().c_str());
  process.user = nameOfUser(status.st_uid);
  std::error_code error;
  std::string program = fs::read_symlink(folder / "exe", error).string();
  (void)takeDeleted(program);  // there is a mark if the program was replaced while it ran
  if (!error) process.program = program;
  return true;
}

bool isProcess(const fs::path& folder) {
  const std::string name = folder.filename().string();
  return std::all_of(name.begin(), name.end(),
                     [](unsigned char c) { return std::isdigit(c) != 0; });
}

// Returns whether a process is one of the kernel's: these have no memory of their own.
bool isKernels(const fs::path& folder) {
  std::ifstream stream(folder / "cmdline");
  return stream.peek() == std::ifstream::traits_type::eof();
}

}  // namespace

Processes findProcesses() {
  Processes processes;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator("/proc", error)) {
    if (!isProcess(entry.path()) || isKernels(entry.path())) continue;
    Process process;
    const bool isOpen = readMappings(entry.path(), process.holds);
    if (!read(entry.path(), process)) continue;
    if (!isOpen && geteuid() != 0) ++processes.hidden;
    if (!process.holds.empty() || process.isPanel()) processes.found.push_back(process);
  }
  std::sort(processes.found.begin(), processes.found.end(),
            [](const Process& a, const Process& b) { return a.pid < b.pid; });
  return processes;
}
