// What the store and the helpers on the road of a message cost.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <string>

#include "common/Base64.h"
#include "common/ThreadSafeQueue.h"
#include "store/simdb.h"

namespace {

constexpr u32 kBlockSize = 2048;
constexpr u32 kBlockCount = 4096;

// The sizes of the program's own stores, under a name of this process.
class Store {
 public:
  Store() : db(name().c_str(), kBlockSize, kBlockCount, false) {}

  void fill(int keys, const std::string& value) {
    for (int i = 0; i < keys; ++i) db.put("key " + std::to_string(i), value);
  }

  simdb db;

 private:
  static std::string name() { return "bench_" + std::to_string(getpid()); }
};

void putGetDel(benchmark::State& state) {
  Store store;
  const std::string value(static_cast<std::size_t>(state.range(0)), 'x');
  std::uint64_t number = 0;
  for (auto _ : state) {
    const std::string key = std::to_string(1000000000 + ++number);
    store.db.put(key, value);
    benchmark::DoNotOptimize(store.db.get(key));
    store.db.del(key.data(), static_cast<u32>(key.size()));
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(putGetDel)->Arg(64)->Arg(200)->Arg(2048)->Arg(40 * 1024);

void getAbsent(benchmark::State& state) {
  Store store;
  store.fill(static_cast<int>(state.range(0)), "value");
  for (auto _ : state) benchmark::DoNotOptimize(store.db.get("absent"));
}
BENCHMARK(getAbsent)->Arg(10)->Arg(1000)->Arg(4000);

void listKeys(benchmark::State& state) {
  Store store;
  store.fill(static_cast<int>(state.range(0)), "value");
  for (auto _ : state) benchmark::DoNotOptimize(store.db.getKeyStrs());
}
BENCHMARK(listKeys)->Arg(0)->Arg(10);

void handOver(benchmark::State& state) {
  ThreadSafeQueue<std::string> queue;
  for (auto _ : state) {
    queue.push("a message of some length, as they are");
    benchmark::DoNotOptimize(queue.front());
    queue.pop();
  }
}
BENCHMARK(handOver);

void decodeBase64(benchmark::State& state) {
  const std::string text(static_cast<std::size_t>(state.range(0)), 'Q');
  for (auto _ : state) {
    std::string bytes;
    macaron::Base64::Decode(text, bytes);
    benchmark::DoNotOptimize(bytes);
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(decodeBase64)->Arg(16 * 1024)->Arg(1024 * 1024);

}  // namespace

BENCHMARK_MAIN();
