// Measures the whole program between a host and a simulator that this process plays: how long a
// start, an answer, a press and a face take, how much goes through in a second, and the idle share
// of the processor.
//
//   velomar-bench-program PROGRAM BARE_CLIENT [--short]
//
// Prints a line of JSON for every figure. It uses the program's own two stores: no simulator
// plug-in may run at the same time. `--short` makes it quick and its figures worthless.
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>
#include <thread>

#include "bench/Host.h"
#include "bench/Peers.h"
#include "bench/Program.h"
#include "bench/Rounds.h"
#include "simulator/SimulatorLink.h"

namespace {

using namespace bench;

constexpr std::chrono::seconds kPatience{30};
constexpr std::chrono::microseconds kLook{50};  // between two looks into a store

double median(std::vector<double> figures) {
  std::nth_element(figures.begin(), figures.begin() + figures.size() / 2, figures.end());
  return figures[figures.size() / 2];
}

// Keeps this thread, and the threads and processes that it starts while the object lives, on one
// CPU.
class OneCpu {
 public:
  explicit OneCpu(int cpu) {
    sched_getaffinity(0, sizeof before, &before);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(cpu, &one);
    sched_setaffinity(0, sizeof one, &one);
  }
  ~OneCpu() { sched_setaffinity(0, sizeof before, &before); }
  OneCpu(const OneCpu&) = delete;
  OneCpu& operator=(const OneCpu&) = delete;

 private:
  cpu_set_t before{};
};

// Seconds from a key that appears to its three blank-state frames, the link being down.
double answerTime(const std::string& file, int times) {
  const OneCpu pinned(0);
  Started program(file);
  std::vector<double> figures;
  std::uint64_t seen = program.host.count();
  for (int i = 0; i < times; ++i) {
    const auto start = Clock::now();
    program.host.send(appear("C" + std::to_string(i)));
    program.host.awaitCount(seen += 3);
    figures.push_back(secondsSince(start));
  }
  return median(figures);
}

// The program with the link up and some keys on show. The link is polled by its own thread.
class Linked : public Started {
 public:
  Linked(const std::string& file, int contexts) : Started(file) {
    for (int i = 0; i < contexts; ++i) host.send(appear("C" + std::to_string(i)));
    while (!link.isUp()) {
      for (const std::string& message : link.poll()) (void)message;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    settle(std::chrono::milliseconds(200));
  }

  // Polls without acting until everything is quiet.
  void settle(std::chrono::milliseconds time) {
    for (const auto end = Clock::now() + time; Clock::now() < end;) {
      (void)link.poll();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

  // Polls until a message with this in it is there.
  void awaitMessage(const char* part) {
    for (const auto end = Clock::now() + kPatience; Clock::now() < end;) {
      for (const std::string& message : link.poll()) {
        if (message.find(part) != std::string::npos) return;
      }
      std::this_thread::sleep_for(kLook);
    }
    fail("the program");
  }

  velomar::SimulatorLink link;
};

// Pauses of random length, so that they end anywhere between two polls of the program.
class Pauses {
 public:
  void next(Linked& linked) {
    const std::chrono::microseconds pause(std::uniform_int_distribution<int>(15000, 35000)(random));
    linked.settle(std::chrono::duration_cast<std::chrono::milliseconds>(pause));
    std::this_thread::sleep_for(pause % std::chrono::milliseconds(1));
  }

 private:
  std::mt19937 random{7};
};

void pressTimes(Linked& linked, int times) {
  std::vector<double> figures;
  Pauses pauses;
  for (int i = 0; i < times; ++i) {
    pauses.next(linked);
    const auto start = Clock::now();
    linked.host.send(R"({"event":"keyDown","context":"C0","device":"D1","payload":{}})");
    linked.awaitMessage("Key Down");
    figures.push_back(secondsSince(start));
  }
  reportSpread("press", std::move(figures));
}

std::string title(const std::string& text) {
  return R"({"Context":"C0","Message":"Set Title","Title":")" + text + R"("})";
}

void frameTimes(Linked& linked, int times) {
  std::vector<double> figures;
  Pauses pauses;
  for (int i = 0; i < times; ++i) {
    pauses.next(linked);
    const std::uint64_t before = linked.host.count();
    const auto start = Clock::now();
    linked.link.send(title("GEAR"));
    linked.host.awaitCount(before + 1);
    figures.push_back(secondsSince(start));
  }
  reportSpread("frame", std::move(figures));
}

// Seconds from a title of 256 KB of line breaks, each of them two characters in JSON, to its frame.
double longTitleTime(Linked& linked) {
  std::string breaks;
  while (breaks.size() < std::size_t{256} * 1024) breaks += "\\n";
  const std::uint64_t wanted = linked.host.count() + 1;
  const auto start = Clock::now();
  linked.link.send(title(breaks));
  linked.host.awaitCount(wanted);
  return secondsSince(start);
}

constexpr char kTurn[] =
    R"({"event":"dialRotate","context":"C0","device":"D1","payload":{"ticks":1,"pressed":false}})";
constexpr std::uint64_t kCommands = 8;  // that answer a turn

// The pauses between events while a hand turns a dial, and after it. A host that sends soon after
// it has received delays its acknowledgements from then on, by up to 40 ms, to join them with an
// event.
constexpr std::chrono::milliseconds kWhileTurning{10};
constexpr std::chrono::milliseconds kAfterTurning{50};

// Waits until there are so many frames or the time is over, while the host sends events that mean
// nothing.
void keepSending(Host& host, std::uint64_t wanted, std::chrono::microseconds time,
                 std::chrono::milliseconds between) {
  const auto end = Clock::now() + time;
  for (auto next = Clock::now() + between; Clock::now() < end && host.count() < wanted;) {
    std::this_thread::sleep_for(kLook);
    if (Clock::now() < next) continue;
    host.send(R"({"event":"nothing known"})");
    next += between;
  }
}

// Seconds from the answer to a turn, written as eight titles, to the last of their frames. The time
// of the turn itself to the simulator is left out, as it is the same as a press's.
double turnTime(Linked& linked, std::chrono::microseconds pause) {
  const std::uint64_t wanted = linked.host.count() + kCommands;
  keepSending(linked.host, wanted, pause, kWhileTurning);
  linked.host.send(kTurn);
  linked.awaitMessage("Encoder Rotate");
  std::this_thread::sleep_for(pause %
                              std::chrono::milliseconds(10));  // ends anywhere between two polls
  const auto start = Clock::now();
  for (std::uint64_t n = 0; n < kCommands; ++n) linked.link.send(title("GEAR"));
  keepSending(linked.host, wanted, kPatience, kAfterTurning);
  return secondsSince(start);
}

// The same for a bare client, which answers the turn itself.
double bareTurnTime(Started& client, std::chrono::microseconds pause) {
  const std::uint64_t wanted = client.host.count() + kCommands;
  keepSending(client.host, wanted, pause, kWhileTurning);
  const auto start = Clock::now();
  client.host.send(kTurn);
  keepSending(client.host, wanted, kPatience, kAfterTurning);
  return secondsSince(start);
}

template <typename Measure>
void turnTimes(const char* who, int times, Measure measure) {
  std::mt19937 random{7};
  std::uniform_int_distribution<int> pause(55000, 75000);
  std::vector<double> figures;
  for (int i = 0; i < times; ++i) {
    figures.push_back(measure(std::chrono::microseconds(pause(random))));
  }
  reportSpread("turn", std::move(figures), who);
}

// Writes messages under keys that sort after those of the link, and counts those that still wait.
class Writer {
 public:
  Writer() : first(wallClock() + kAnHour), store("FromXPlane") {}

  void send(const std::string& message) { store.put(key(first + sent++), message); }
  std::uint64_t count() const { return sent; }

  // Returns whether fewer than `waiting` of the messages are still there. They are taken in order.
  bool waitFewerThan(std::uint64_t waiting) {
    return sent < waiting || !store.get(key(first + sent - waiting), ignored);
  }

 private:
  static constexpr std::uint64_t kAnHour = 3'600'000'000;  // us

  static std::uint64_t wallClock() {
    using std::chrono::microseconds;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<microseconds>(now).count());
  }
  static std::string key(std::uint64_t number) {
    std::string digits = std::to_string(number);
    return std::string(20 - digits.size(), '0') + digits;
  }

  std::uint64_t first;
  std::uint64_t sent = 0;
  SimdbMap store;
  std::string ignored;
};

// Messages that reach the host in a second, one frame each, while the writer keeps `waiting` of
// them in the store.
template <typename Make>
double throughput(Linked& linked, std::uint64_t waiting, double seconds, Make make) {
  const std::uint64_t before = linked.host.count();
  Writer writer;
  const auto start = Clock::now();
  auto polled = start;
  while (secondsSince(start) < seconds) {
    if (writer.waitFewerThan(waiting)) {
      writer.send(make(writer.count()));
    } else {
      std::this_thread::yield();
    }
    if (Clock::now() - polled > std::chrono::milliseconds(100)) {
      (void)linked.link.poll();
      polled = Clock::now();
    }
  }
  linked.host.awaitCount(before + writer.count());
  return static_cast<double>(writer.count()) / secondsSince(start);
}

double titles(Linked& linked, std::uint64_t waiting, double seconds) {
  const std::string message = title(std::string(50, 'x'));
  return throughput(linked, waiting, seconds,
                    [&](std::uint64_t) -> const std::string& { return message; });
}

double images(Linked& linked, double seconds) {
  constexpr std::size_t kBase64 = std::size_t{20} * 1024 / 3 * 4;  // of an image of 20 KB
  const std::string rest =
      R"(,"Message":"Update Full Image ID","Base64":")" + std::string(kBase64, 'Q') + R"("})";
  return throughput(linked, 100, seconds, [&](std::uint64_t i) {
    return R"({"Context":"C0","Image ID":)" + std::to_string(i % 64) + rest;
  });
}

// The share of a CPU that a process takes while the link is up.
double idleShare(Linked& linked, pid_t pid, std::chrono::seconds time) {
  const double before = cpuTime(pid);
  const auto start = Clock::now();
  linked.settle(time);
  return (cpuTime(pid) - before) / 1e9 / secondsSince(start);
}

// The same for a process that sleeps as the link does and does nothing else.
double bareShare(Linked& linked, std::chrono::seconds time) {
  const pid_t sleeper = fork();
  if (sleeper < 0) fail("fork");
  if (sleeper == 0) {
    for (;;) usleep(10000);
  }
  const double share = idleShare(linked, sleeper, time);
  (void)kill(sleeper, SIGKILL);
  (void)waitpid(sleeper, nullptr, 0);
  return share;
}

void idle(Linked& linked, int rounds, std::chrono::seconds time) {
  inTurn("idle cpu", "share", rounds,
         {{"velomar", [&] { return idleShare(linked, linked.child->pid(), time); }},
          {"bare sleep", [&] { return bareShare(linked, time); }}});
  report("idle memory", "velomar", "B", residentBytes(linked.child->pid()));
}

// Seconds from a welcome to the group that lists everything that is on show.
double replayTime(const std::string& file, int contexts) {
  Linked linked(file, contexts);
  std::vector<double> figures;
  for (int i = 0; i < 9; ++i) {
    linked.settle(std::chrono::milliseconds(30));
    const auto start = Clock::now();
    linked.link.send("{Welcome}");
    linked.awaitMessage("Group Message");
    figures.push_back(secondsSince(start));
  }
  return median(figures);
}

// The command line: what to measure, and how long.
struct Run {
  std::string program;
  std::string bare;
  std::string only;  // the one work to measure; empty: all
  bool isShort = false;

  bool wants(const char* work) const { return only.empty() || only == work; }
  int rounds() const { return isShort ? 1 : 9; }
  int samples() const { return isShort ? 20 : 500; }
  double seconds() const { return isShort ? 0.2 : 2; }
};

Run readArguments(int argc, char** argv) {
  if (argc < 3) fail("the command line");
  Run run{fs::absolute(argv[1]), fs::absolute(argv[2]), "", false};
  run.isShort = argc > 3 && std::strcmp(argv[3], "--short") == 0;
  if (argc > 3 && !run.isShort) run.only = argv[3];
  return run;
}

void measureBesideBareClient(const Run& run) {
  if (run.wants("start")) {
    inTurn("start", "s", run.isShort ? 1 : 15,
           {{"velomar", [&] { return Started(run.program).toRegistration; }},
            {"bare client", [&] { return Started(run.bare).toRegistration; }}});
  }
  if (run.wants("answer")) {
    inTurn("answer", "s", run.rounds(),
           {{"velomar", [&] { return answerTime(run.program, run.samples()); }},
            {"bare client", [&] { return answerTime(run.bare, run.samples()); }}});
  }
}

void measureLink(const Run& run) {
  const auto linked = [&run] { return std::make_unique<Linked>(run.program, 1); };
  if (run.wants("idle")) {
    idle(*linked(), run.rounds(), std::chrono::seconds(run.isShort ? 1 : 5));
  }
  if (run.wants("press")) pressTimes(*linked(), run.samples());
  if (run.wants("frame")) frameTimes(*linked(), run.samples());
  if (run.wants("long title")) {
    const auto own = linked();
    inTurn("long title", "s", run.rounds(), {{"velomar", [&] { return longTitleTime(*own); }}});
  }
}

void measureTurns(const Run& run) {
  if (!run.wants("turn")) return;
  const auto linked = std::make_unique<Linked>(run.program, 1);
  turnTimes("velomar", run.samples(), [&](auto pause) { return turnTime(*linked, pause); });
  for (const auto& [mode, who] :
       {std::pair("turns", "bare client"), std::pair("turns-nodelay", "bare client, no delay")}) {
    Started client(run.bare, mode);
    turnTimes(who, run.samples(), [&](auto pause) { return bareTurnTime(client, pause); });
  }
}

void measureThroughput(const Run& run) {
  if (run.wants("titles")) {
    // The simulator gets a CPU of its own. If it had to wait for the program's, the store would be
    // empty for a moment, and the program would sleep.
    auto others = std::make_unique<OneCpu>(0);
    Linked linked(run.program, 1);
    others.reset();
    const OneCpu writers(1);
    for (const std::uint64_t waiting : {1U, 10U, 100U, 1000U, 4000U}) {
      inTurn("titles/" + std::to_string(waiting), "1/s", run.rounds(),
             {{"velomar", [&] { return titles(linked, waiting, run.seconds()); }}});
    }
  }
  if (run.wants("images")) {
    Linked linked(run.program, 1);
    inTurn("images", "1/s", run.rounds(),
           {{"velomar", [&] { return images(linked, run.seconds()); }}});
  }
}

void measureReplay(const Run& run) {
  if (!run.wants("replay")) return;
  for (int contexts : run.isShort ? std::vector<int>{1} : std::vector<int>{1, 10, 100, 500}) {
    report("replay/" + std::to_string(contexts), "velomar", "s", replayTime(run.program, contexts));
  }
}

}  // namespace

int main(int argc, char** argv) {
  const Run run = readArguments(argc, argv);
  measureBesideBareClient(run);
  measureLink(run);
  measureTurns(run);
  measureThroughput(run);
  measureReplay(run);
}
