// Measures two processes at once: messages that one writes and the other takes, and maps that both
// work on. Prints a line of JSON for every figure. `--short` makes it quick and its figures
// worthless.
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "bench/Peers.h"
#include "bench/Rounds.h"

#ifdef VELOMAR_BENCH_BOOST
#include <boost/interprocess/ipc/message_queue.hpp>
#endif

namespace {

using namespace bench;

constexpr std::uint64_t kBacklog = 64;
constexpr std::size_t kMessageBytes = 200;
constexpr std::chrono::seconds kPatience{60};

// The progress of one measurement, shared by its processes.
struct Progress {
  std::atomic<std::uint64_t> taken{0};
  std::atomic<int> ready{0};
};

class SharedProgress {
 public:
  SharedProgress() {
    void* page =
        mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED) fail("mmap");
    progress = new (page) Progress;
  }
  ~SharedProgress() { munmap(progress, sizeof(Progress)); }
  SharedProgress(const SharedProgress&) = delete;
  SharedProgress& operator=(const SharedProgress&) = delete;
  Progress* operator->() const { return progress; }

 private:
  Progress* progress;
};

// Spins for a while, since the other process has a CPU of its own, and then makes room.
template <typename Condition>
void await(Condition condition) {
  constexpr int kSpins = 2000;
  for (int i = 0; i < kSpins; ++i) {
    if (condition()) return;
  }
  const auto end = Clock::now() + kPatience;
  while (!condition()) {
    std::this_thread::yield();
    if (Clock::now() > end) fail("waiting for the other process");
  }
}

// Runs `work` in a process of its own.
class Child {
 public:
  template <typename Work>
  explicit Child(Work work) : pid(fork()) {
    if (pid < 0) fail("fork");
    if (pid == 0) {
      work();
      _exit(0);
    }
  }
  ~Child() {
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || status != 0) fail("the other process");
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

 private:
  pid_t pid;
};

std::string ownName() {
  return "bench_" + std::to_string(getpid());
}

// The store's reader lists the waiting messages and takes them, as the program does.
void takeAll(SimdbMap& map, RisingKey& /*next*/, std::uint64_t& taken, SharedProgress& progress) {
  std::string value;
  for (const auto& key : map.db.getKeyStrs()) {
    if (!map.get(key.str, value) || !map.del(key.str)) fail("taking a message");
    progress->taken = ++taken;
  }
}

#ifdef VELOMAR_BENCH_LMDB
void takeAll(LmdbMap& map, RisingKey& next, std::uint64_t& taken, SharedProgress& progress) {
  std::string value;
  while (map.get(next.now(), value)) {
    if (!map.del(next.now())) fail("taking a message");
    next.next();
    progress->taken = ++taken;
  }
}
#endif

// Messages a second through a map, at most kBacklog of them waiting.
template <typename Map>
double throughMap(std::uint64_t messages) {
  const std::string name = ownName();
  double seconds = 0;
  {
    Map map(name);
    SharedProgress progress;
    const Child reader([&] {
      Map other(name);
      RisingKey next;
      next.next();
      progress->ready = 1;
      std::uint64_t taken = 0;
      while (taken < messages) takeAll(other, next, taken, progress);
    });
    await([&] { return progress->ready == 1; });
    const std::string value(kMessageBytes, 'x');
    RisingKey key;
    const auto start = Clock::now();
    for (std::uint64_t sent = 0; sent < messages; ++sent) {
      await([&] { return sent - progress->taken < kBacklog; });
      map.put(key.next(), value);
    }
    await([&] { return progress->taken == messages; });
    seconds = secondsSince(start);
  }
  Map::remove(name);
  return static_cast<double>(messages) / seconds;
}

#ifdef VELOMAR_BENCH_BOOST
double throughMessageQueue(std::uint64_t messages) {
  using Queue = boost::interprocess::message_queue;
  const std::string name = ownName();
  Queue::remove(name.c_str());
  Queue queue(boost::interprocess::create_only, name.c_str(), kBacklog, kMessageBytes);
  double seconds = 0;
  {
    const auto start = Clock::now();
    {
      const Child reader([&] {
        char message[kMessageBytes];
        for (std::uint64_t i = 0; i < messages; ++i) {
          Queue::size_type size = 0;
          unsigned priority = 0;
          queue.receive(message, sizeof message, size, priority);
        }
      });
      const std::string value(kMessageBytes, 'x');
      for (std::uint64_t i = 0; i < messages; ++i) queue.send(value.data(), value.size(), 0);
    }
    seconds = secondsSince(start);
  }
  Queue::remove(name.c_str());
  return static_cast<double>(messages) / seconds;
}
#endif

double throughSeqpacket(std::uint64_t messages) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) fail("socketpair");
  const auto start = Clock::now();
  {
    const Child reader([&] {
      char message[kMessageBytes];
      for (std::uint64_t i = 0; i < messages; ++i) {
        if (recv(ends[1], message, sizeof message, 0) != ssize_t{kMessageBytes}) _exit(1);
      }
    });
    const std::string value(kMessageBytes, 'x');
    for (std::uint64_t i = 0; i < messages; ++i) {
      if (send(ends[0], value.data(), value.size(), 0) < 0) fail("send");
    }
  }
  const double seconds = secondsSince(start);
  close(ends[0]);
  close(ends[1]);
  return static_cast<double>(messages) / seconds;
}

// Replaces and reads 64 keys in turn.
template <typename Map>
void churn(Map& map, std::uint64_t operations) {
  const std::string value(kMessageBytes, 'x');
  std::vector<std::string> keys;
  for (int i = 0; i < 64; ++i) keys.push_back("key " + std::to_string(i));
  std::string read;
  for (std::uint64_t i = 0; i < operations / 2; ++i) {
    map.put(keys[i * 29 % 64], value);
    if (!map.get(keys[i * 37 % 64], read) && i >= 64) fail("get");
  }
}

// Operations a second of `processes` with `threads` each, all on the same 64 keys.
template <typename Map>
double onOneMap(std::uint64_t operations, int processes, int threads) {
  const std::string name = ownName();
  double seconds = 0;
  {
    Map first(name);
    churn(first, 128);
    SharedProgress progress;
    const auto work = [&](Map& map) {
      ++progress->ready;
      await([&] { return progress->ready == processes * threads; });
      churn(map, operations);
    };
    const auto start = Clock::now();
    {
      std::vector<std::unique_ptr<Child>> children;
      for (int p = 0; p < processes; ++p) {
        children.push_back(std::make_unique<Child>([&] {
          std::vector<std::thread> others;
          Map map(name);
          for (int t = 0; t < threads; ++t) others.emplace_back([&] { work(map); });
          for (auto& other : others) other.join();
        }));
      }
    }
    seconds = secondsSince(start);
  }
  Map::remove(name);
  return static_cast<double>(operations) * processes * threads / seconds;
}

}  // namespace

int main(int argc, char** argv) {
  const bool quick = argc > 1 && std::strcmp(argv[1], "--short") == 0;
  const int rounds = quick ? 1 : 7;
  const std::uint64_t messages = quick ? 2000 : 200000;

  std::vector<Contender> queues{{"velomar", [=] { return throughMap<SimdbMap>(messages); }},
                                {"seqpacket", [=] { return throughSeqpacket(messages); }}};
  std::vector<Contender> maps{{"velomar", [=] { return onOneMap<SimdbMap>(messages, 2, 1); }}};
#ifdef VELOMAR_BENCH_BOOST
  queues.push_back({"message_queue", [=] { return throughMessageQueue(messages); }});
  maps.push_back({"Boost map", [=] { return onOneMap<BoostMap>(messages, 2, 1); }});
#endif
#ifdef VELOMAR_BENCH_LMDB
  const std::uint64_t slow = messages / 4;  // the length of a round of a slow peer
  queues.push_back({"LMDB", [=] { return throughMap<LmdbMap>(slow); }});
  maps.push_back({"LMDB", [=] { return onOneMap<LmdbMap>(slow, 2, 1); }});
#endif
  inTurn("exchange", "1/s", rounds, queues);
  inTurn("replace and read", "1/s", rounds, maps);

  for (int processes : {1, 2, 4}) {
    for (int threads : {1, 2, 4}) {
      const std::string work = "churn/" + std::to_string(processes) + "/" + std::to_string(threads);
      inTurn(work, "1/s", quick ? 1 : 3,
             {{"velomar", [=] { return onOneMap<SimdbMap>(messages / 2, processes, threads); }}});
    }
  }
}
