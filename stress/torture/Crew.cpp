#include "stress/torture/Crew.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include "store/simdb.h"
#include "stress/torture/Worker.h"

namespace {

// The status of a process that this one started, once it has ended.
int reap(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) == -1 && errno == EINTR) {
  }
  return status;
}

}  // namespace

Crew::Crew(const std::string& storeName, const TortureSettings& torture, Board& sharedBoard)
    : name(storeName),
      settings(torture),
      board(sharedBoard),
      processes(torture.processes, -1),
      watched(torture.workers()) {}

Crew::~Crew() {
  for (const pid_t process : processes) {
    if (process == -1) continue;
    (void)::kill(process, SIGKILL);
    (void)reap(process);
  }
}

void Crew::start(u32 place, u64 operations) {
  for (u32 worker = first(place); worker < first(place + 1); ++worker) {
    board.progress[worker].operations = 0;
    board.progress[worker].isDone = 0;
  }
  ++started;
  const pid_t parent = getpid();
  const pid_t process = fork();
  if (process == -1) throw std::system_error(errno, std::generic_category(), "fork");
  if (process == 0) runChild(place, operations, parent);
  processes[place] = process;
}

void Crew::runChild(u32 place, u64 operations, pid_t parent) {
  int code = EXIT_FAILURE;
  {
    simdb store(name.c_str(), settings.blockSize, settings.blocks, false);
    if (store.openError() != SIMDB_OK) _exit(code);
    std::vector<std::thread> threads;
    for (u32 id = first(place); id < first(place + 1); ++id) {
      threads.emplace_back([&, id] {
        Worker::Options options;
        options.id = id;
        options.seed = settings.seed + started;
        options.workers = settings.workers();
        options.blockSize = settings.blockSize;
        options.slots = settings.blocks;
        options.walks = id == first(place);
        options.measuresWaits = settings.kills > 0;
        Worker(store, board, options).work(operations, parent);
      });
    }
    for (auto& thread : threads) thread.join();
    code = EXIT_SUCCESS;
  }
  _exit(code);
}

void Crew::kill(u32 place) {
  (void)::kill(processes[place], SIGKILL);
  (void)reap(processes[place]);
  processes[place] = -1;
}

bool Crew::join() {
  bool isWell = true;
  for (pid_t& process : processes) {
    if (process == -1) continue;
    const int status = reap(process);
    process = -1;
    isWell = isWell && WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
  }
  return isWell;
}

void Crew::watchFromNow() {
  for (auto& worker : watched) worker.since = Clock::now();
}

void Crew::watch() {
  const auto now = Clock::now();
  for (u32 id = 0; id < watched.size(); ++id) {
    const bool runs = processes[id / settings.threads] != -1 && board.progress[id].isDone == 0;
    if (!runs || watched[id].operations != operations(id)) watched[id] = {operations(id), now};
    if (now - watched[id].since < settings.patience) continue;
    throw std::runtime_error("a hang: worker " + std::to_string(id) + " makes no progress after " +
                             std::to_string(operations(id)) + " operations");
  }
}
