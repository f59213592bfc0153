// Finds processes by libproc.
#include <libproc.h>
#include <sys/proc_info.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "tools/state/Processes.h"

namespace {

constexpr std::uint32_t kStopped = 4;  // SSTOP of <sys/proc.h>, which the kernel keeps to itself

std::vector<pid_t> allIds() {
  // Leaves room for processes that start between the two calls.
  constexpr std::size_t kSpare = 64;
  std::vector<pid_t> ids(static_cast<std::size_t>(std::max(proc_listallpids(nullptr, 0), 0)) +
                         kSpare);
  const int count = proc_listallpids(ids.data(), static_cast<int>(ids.size() * sizeof ids[0]));
  ids.resize(static_cast<std::size_t>(std::max(count, 0)));
  std::sort(ids.begin(), ids.end());
  return ids;
}

Hold holdOf(const vinfo_stat& mapped, const char* path) {
  struct stat status {};
  const bool isThis = stat(path, &status) == 0 && status.st_ino == mapped.vst_ino &&
                      static_cast<std::uint32_t>(status.st_dev) == mapped.vst_dev;
  return isThis ? Hold::ThisFile : Hold::RemovedFile;
}

// False: it is another user's process, or has just ended.
bool readMappings(pid_t pid, std::map<std::string, Hold>& holds) {
  bool isOpen = false;
  proc_regionwithpathinfo region{};
  for (std::uint64_t address = 0;
       proc_pidinfo(pid, PROC_PIDREGIONPATHINFO, address, &region, sizeof region) > 0;
       address = region.prp_prinfo.pri_address + region.prp_prinfo.pri_size) {
    isOpen = true;
    const char* path = region.prp_vip.vip_path;
    const std::string store = storeOfPath(path);
    if (!store.empty()) holds[store] = holdOf(region.prp_vip.vip_vi.vi_stat, path);
  }
  return isOpen;
}

// False: the process has ended, or is the kernel.
bool read(pid_t pid, Process& process) {
  proc_bsdshortinfo status{};
  if (proc_pidinfo(pid, PROC_PIDT_SHORTBSDINFO, 0, &status, sizeof status) <= 0) return false;
  process.pid = pid;
  process.user = nameOfUser(status.pbsi_uid);
  process.isStopped = status.pbsi_status == kStopped;
  char path[PROC_PIDPATHINFO_MAXSIZE] = {};
  process.program = proc_pidpath(pid, path, sizeof path) > 0 ? path : status.pbsi_comm;
  proc_bsdinfo start{};  // only for the user's own processes
  if (proc_pidinfo(pid, PROC_PIDTBSDINFO, 0, &start, sizeof start) > 0) {
    process.since = static_cast<std::time_t>(start.pbi_start_tvsec);
  }
  return true;
}

}  // namespace

Processes findProcesses() {
  Processes processes;
  for (const pid_t pid : allIds()) {
    Process process;
    if (pid == 0 || !read(pid, process)) continue;
    if (!readMappings(pid, process.holds) && geteuid() != 0) ++processes.hidden;
    if (!process.holds.empty() || process.isPanel()) processes.found.push_back(process);
  }
  return processes;
}
