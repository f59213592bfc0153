// Runs small programs of several threads under every schedule up to a bound of preemptions.
//
// The threads are coroutines on one thread of the system. Each step of one of them is a place where
// another may go on instead: that costs a preemption, as do a value older than the newest, under
// weak memory, and a kill. A thread that has ended or sleeps gives way for nothing. All schedules
// that cost at most the bound are run, those of fewer preemptions first (iterative context
// bounding: M. Musuvathi, S. Qadeer, PLDI 2007), and each is a list of choices that can be run
// again.
//
// Time is the explorer's, too: it moves on by kNap whenever a thread sleeps, and at no other time.
// It costs a preemption if a thread wakes up before the others have gone on, and the others may
// then do nothing for as long as the thread waits for anything.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace explore {

using Choices = std::vector<std::uint8_t>;
using Body = std::function<void()>;

constexpr std::chrono::milliseconds kNap{25};

// Unwinds a thread that is killed.
struct Killed {};

// Makes a step. `what` and the address that it touches are for the trace.
void step(const char* what, const void* address);

// A choice among `options` within a step. 0 is free, any other costs a preemption.
std::size_t choose(std::size_t options);

// Lets the others go on, and lets time pass.
void sleep();
std::chrono::nanoseconds now();

// The thread that runs, from 0; -1 outside a run.
int current();

// Whether a sleep has ever ended while other threads still had something to do.
bool anyoneOverslept();

// Returns whether this run is traced.
bool isTraced();
void trace(const std::string& line);
void traceValue(std::uint64_t bits);

// Names an address for the trace.
extern std::string (*describe)(const void* address);

struct Program {
  std::vector<Body> threads;
  int victim = -1;  // a thread that may be killed at any of its steps, or -1
};

// Runs the program under the present choices, and with the free choice at every later step.
void runOnce(const Program& program, int preemptions);

// Goes on to the next schedule: the last choice that has another option takes it, and those after
// it begin again. False: there is no next schedule, and the choices are empty again.
bool advance();

// The choices of the last run, without the free ones at its end, and those of the next run.
Choices choices();
void setChoices(const Choices& taken);
void setTraced(bool traced);

// Says why the last run didn't come to an end, or "".
const std::string& fault();

}  // namespace explore
