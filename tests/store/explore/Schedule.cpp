#include "tests/store/explore/Schedule.h"

#include <ucontext.h>

#include <cstdio>
#include <memory>

namespace explore {
namespace {

constexpr std::size_t kStack = 128 * 1024;
constexpr std::size_t kMaxThreads = 8;
constexpr std::uint64_t kMaxSteps = 100000;
constexpr int kStall = 110;  // naps in a row: more than anything in the store waits

struct Choice {
  std::uint8_t taken;
  std::uint8_t options;
};

struct Coroutine {
  ucontext_t context{};
  std::unique_ptr<char[]> stack{new char[kStack]};
  Body body;
  bool isDone = true;
  bool isDying = false;
};

// One run at a time, so that all of this exists once.
struct Run {
  Coroutine threads[kMaxThreads];
  ucontext_t main{};
  std::size_t count = 0;
  int running = -1;
  int victim = -1;
  int budget = 0;
  std::uint64_t steps = 0;
  std::chrono::nanoseconds time{0};
  bool overslept = false;
  int stall = 0;  // naps for which the others still do nothing
  bool traced = false;
  std::vector<Choice> trail;
  std::size_t at = 0;  // the next choice
  std::string fault;
};

Run& run() {
  static Run instance;
  return instance;
}

std::size_t pick(std::size_t options) {
  Run& r = run();
  if (options <= 1) return 0;
  if (r.at == r.trail.size()) r.trail.push_back({0, static_cast<std::uint8_t>(options)});
  return r.trail[r.at++].taken;
}

void enter() {
  Run& r = run();
  Coroutine& self = r.threads[r.running];
  try {
    self.body();
  } catch (const Killed&) {
    trace("is killed");
  }
  self.isDone = true;
}

// The threads that can go on, other than the running one.
class Others {
 public:
  Others() {
    const Run& r = run();
    for (int i = 0; i < static_cast<int>(r.count); ++i) {
      if (i != r.running && !r.threads[i].isDone) able[count++] = i;
    }
  }
  std::size_t size() const { return count; }
  int operator[](std::size_t i) const { return able[i]; }

 private:
  int able[kMaxThreads] = {};
  std::size_t count = 0;
};

void switchTo(int next) {
  Run& r = run();
  const int self = r.running;
  r.stall = 0;
  r.running = next;
  (void)swapcontext(&r.threads[self].context, &r.threads[next].context);
}

[[noreturn]] void die() {
  run().threads[run().running].isDying = true;
  throw Killed();
}

void start(std::size_t i) {
  Run& r = run();
  Coroutine& thread = r.threads[i];
  (void)getcontext(&thread.context);
  thread.context.uc_stack.ss_sp = thread.stack.get();
  thread.context.uc_stack.ss_size = kStack;
  thread.context.uc_link = &r.main;
  makecontext(&thread.context, enter, 0);
}

}  // namespace

void step(const char* what, const void* address) {
  Run& r = run();
  if (r.running < 0 || r.threads[r.running].isDying) return;
  if (++r.steps > kMaxSteps) {
    r.fault = "a thread doesn't come to an end";
    die();
  }
  if (r.budget > 0) {
    const Others able;
    const bool killable = r.running == r.victim;
    const std::size_t taken = pick(1 + able.size() + (killable ? 1 : 0));
    if (taken > 0) --r.budget;
    if (taken > able.size()) {
      r.victim = -1;
      die();
    }
    if (taken > 0) switchTo(able[taken - 1]);
  }
  if (r.traced) trace(what + (" " + describe(address)));
}

std::size_t choose(std::size_t options) {
  Run& r = run();
  if (r.budget == 0 || r.threads[r.running].isDying) return 0;
  const std::size_t taken = pick(options);
  if (taken > 0) --r.budget;
  return taken;
}

void sleep() {
  Run& r = run();
  if (r.running < 0) return;
  r.time += kNap;
  if (++r.steps > kMaxSteps) {
    r.fault = "a thread sleeps for ever";
    die();
  }
  const Others able;
  if (able.size() == 0) return;
  if (r.stall > 0) {
    --r.stall;
    return;
  }
  // A thread that wakes up before the others have gone on means that they did nothing for so long.
  const std::size_t taken = pick(able.size() + (r.budget > 0 ? 1 : 0));
  if (taken < able.size()) return switchTo(able[taken]);
  --r.budget;
  r.overslept = true;
  r.stall = kStall;
}

std::chrono::nanoseconds now() {
  return run().time;
}

int current() {
  return run().running;
}

bool anyoneOverslept() {
  return run().overslept;
}

bool isTraced() {
  return run().traced && run().running >= 0;
}

void trace(const std::string& line) {
  if (isTraced()) std::printf("    %d  %s\n", run().running, line.c_str());
}

void traceValue(std::uint64_t bits) {
  if (!isTraced()) return;
  char line[40];
  (void)std::snprintf(line, sizeof line, "  %llx", static_cast<unsigned long long>(bits));
  trace(line);
}

std::string (*describe)(const void* address) = nullptr;

void runOnce(const Program& program, int preemptions) {
  Run& r = run();
  r.count = program.threads.size();
  r.victim = program.victim;
  r.budget = preemptions;
  r.steps = 0;
  r.at = 0;
  r.time = std::chrono::nanoseconds(0);
  r.overslept = false;
  r.stall = 0;
  r.fault.clear();
  for (std::size_t i = 0; i < r.count; ++i) {
    r.threads[i].body = program.threads[i];
    r.threads[i].isDone = r.threads[i].isDying = false;
    start(i);
  }
  r.running = -1;
  while (const std::size_t able = Others().size()) {
    r.running = Others()[pick(able)];
    (void)swapcontext(&r.main, &r.threads[r.running].context);
    r.running = -1;
  }
}

bool advance() {
  auto& trail = run().trail;
  while (!trail.empty() && trail.back().taken + 1 == trail.back().options) trail.pop_back();
  if (trail.empty()) return false;
  ++trail.back().taken;
  return true;
}

Choices choices() {
  Choices taken;
  for (const Choice& choice : run().trail) taken.push_back(choice.taken);
  while (!taken.empty() && taken.back() == 0) taken.pop_back();
  return taken;
}

void setChoices(const Choices& taken) {
  run().trail.clear();
  for (const auto choice : taken) run().trail.push_back({choice, 0});
}

void setTraced(bool traced) {
  run().traced = traced;
}

const std::string& fault() {
  return run().fault;
}

}  // namespace explore
