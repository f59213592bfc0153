// A region's memory as the explorer runs it. Each call is one step of the running thread.
//
// Outside a run, and for memory of no region, these are plain accesses. In a run under weak memory,
// each word and each byte of a block keeps all the values written to it, in their order, each with
// what its writer had seen when it wrote it (a view, as in Kang, Hur, Lahav, Vafeiadis, Dreyer: "A
// promising semantics for relaxed-memory concurrency", POPL 2017, without its promises). A load may
// get any value that isn't older than those that its thread has seen. An acquiring load then adds
// the value's view to its thread's: the writer's own view if the value was released, otherwise the
// writer's view at its last release fence. Swaps and sequentially consistent loads get the newest
// value. So no store takes effect before a load that precedes it in the program; every other order
// that C++ allows can occur.
#pragma once

#include <cstddef>
#include <cstdint>

namespace explore {

enum class Order { Relaxed, Acquire, Release, SeqCst };

std::uint64_t load(const void* word, std::size_t bytes, Order order);
void store(void* word, std::size_t bytes, std::uint64_t value, Order order);

// Both sequentially consistent. On failure `seen` becomes the value found.
bool compareAndSwap(void* word, std::size_t bytes, std::uint64_t& seen, std::uint64_t desired);
std::uint64_t fetchAdd(void* word, std::size_t bytes, std::uint64_t amount);

void fence(Order order);

// Bytes of a block, in two steps, so that a copy can be torn.
void read(void* to, const void* region, std::size_t count);
void write(void* region, const void* from, std::size_t count);

// Gives the words and bytes of `size` bytes at `region` their histories; called before a run.
void beginWeakMemory(void* region, std::size_t size, std::size_t threads);
void endWeakMemory();

}  // namespace explore
