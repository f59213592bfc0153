// Measures the store and the helpers that a message passes, beside those that could replace them.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "bench/Peers.h"
#include "common/Base64.h"
#include "common/ThreadSafeQueue.h"
#include "store/KeyHash.h"
#include "store/simdb.h"

#ifdef VELOMAR_BENCH_OPENSSL
#include <openssl/evp.h>
#endif

namespace {

using namespace bench;

std::string ownName() {
  return "bench_" + std::to_string(getpid());
}

std::string numbered(u32 i) {
  return "key " + std::to_string(i);
}

// A map that only this process uses. Its file is removed with the object.
template <typename Map>
struct Own {
  template <typename... Arguments>
  explicit Own(Arguments... arguments) : map(ownName(), arguments...) {}
  ~Own() { Map::remove(ownName()); }
  Own(const Own&) = delete;
  Own& operator=(const Own&) = delete;

  void fill(u32 keys, const std::string& value) {
    for (u32 i = 0; i < keys; ++i) map.put(numbered(i), value);
  }

  Map map;
};

// A message: written under a fresh key, read and deleted.
template <typename Map>
void message(benchmark::State& state) {
  Own<Map> own;
  const std::string value(static_cast<std::size_t>(state.range(0)), 'x');
  RisingKey key;
  for (auto _ : state) {
    const std::string& name = key.next();
    own.map.put(name, value);
    std::string read;
    if (!own.map.get(name, read) || read.size() != value.size()) fail("get");
    benchmark::DoNotOptimize(read);
    if (!own.map.del(name)) fail("del");
  }
}

template <typename Map>
void getPresent(benchmark::State& state) {
  Own<Map> own;
  own.fill(10, std::string(200, 'x'));
  u32 i = 0;
  std::vector<std::string> names;
  for (u32 k = 0; k < 10; ++k) names.push_back(numbered(k));
  for (auto _ : state) {
    std::string value;
    benchmark::DoNotOptimize(own.map.get(names[i], value));
    i = i == 9 ? 0 : i + 1;
  }
}

// A store of `range(1)` blocks with `range(0)` keys in it.
void getAbsent(benchmark::State& state) {
  Own<SimdbMap> own(static_cast<u32>(state.range(1)));
  own.fill(static_cast<u32>(state.range(0)), "value");
  std::string value;
  for (auto _ : state) benchmark::DoNotOptimize(own.map.get("absent", value));
}

void listKeys(benchmark::State& state) {
  Own<SimdbMap> own(static_cast<u32>(state.range(1)));
  own.fill(static_cast<u32>(state.range(0)), "value");
  for (auto _ : state) benchmark::DoNotOptimize(own.map.db.getKeyStrs());
}

// The limit of a lookup of an absent key, which no unused slot ends: it looks at every slot, and at
// one word of the entry of each slot in use.
void bareWalk(benchmark::State& state) {
  struct Entry {
    store::Word32 words[6];
  };
  const auto used = static_cast<u32>(state.range(0));
  const auto n = static_cast<u32>(state.range(1));
  std::vector<store::Word64> slots(n);
  std::vector<Entry> entries(n);
  for (auto& slot : slots) slot = ~u64{0};
  for (u32 i = 0; i < used; ++i) {
    const u32 home = store::hashOf(numbered(i).data(), static_cast<u32>(numbered(i).size())) % n;
    u32 at = home;
    while (store::loadSeqCst(slots[at]) != ~u64{0}) at = at + 1 == n ? 0 : at + 1;
    slots[at] = i;
  }
  for (auto _ : state) {
    u32 found = 0;
    for (const auto& slot : slots) {
      const u64 chain = store::loadSeqCst(slot);
      if (chain < n && store::loadAcquire(entries[chain].words[5]) == 1) ++found;
    }
    benchmark::DoNotOptimize(found);
  }
}

void handOver(benchmark::State& state) {
  ThreadSafeQueue<std::string> queue;
  for (auto _ : state) {
    queue.push("a message of some length, as they are");
    benchmark::DoNotOptimize(queue.front());
    queue.pop();
  }
}

void decodeBase64(benchmark::State& state) {
  const std::string text(static_cast<std::size_t>(state.range(0)), 'Q');
  std::string bytes;
  for (auto _ : state) {
    macaron::Base64::Decode(text, bytes);
    benchmark::DoNotOptimize(bytes.data());
  }
}

#ifdef VELOMAR_BENCH_OPENSSL
void decodeBase64OpenSsl(benchmark::State& state) {
  const std::string text(static_cast<std::size_t>(state.range(0)), 'Q');
  std::string bytes(text.size() / 4 * 3, '\0');
  for (auto _ : state) {
    EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                    reinterpret_cast<const unsigned char*>(text.data()),
                    static_cast<int>(text.size()));
    benchmark::DoNotOptimize(bytes.data());
  }
}
#endif

template <typename Function>
benchmark::internal::Benchmark* add(const char* name, Function function) {
  return benchmark::RegisterBenchmark(name, function);
}

// Works that are compared are registered next to each other, so that they run close in time.
void addMessages() {
  for (int size : {1, 200, 2048, 20 * 1024, 200 * 1024, 1024 * 1024, 8 * 1024 * 1024 - 10}) {
    add("message<SimdbMap>", message<SimdbMap>)->Arg(size);
    if (size == 1 || size > 200 * 1024) continue;
    add("message<SimdbByValue>", message<SimdbByValue>)->Arg(size);
    add("message<CopyOnly>", message<CopyOnly>)->Arg(size);
#ifdef VELOMAR_BENCH_BOOST
    add("message<BoostMap>", message<BoostMap>)->Arg(size);
#endif
#ifdef VELOMAR_BENCH_LMDB
    add("message<LmdbMap>", message<LmdbMap>)->Arg(size);
#endif
  }
}

void addPresent() {
  add("getPresent<SimdbMap>", getPresent<SimdbMap>);
#ifdef VELOMAR_BENCH_BOOST
  add("getPresent<BoostMap>", getPresent<BoostMap>);
#endif
#ifdef VELOMAR_BENCH_LMDB
  add("getPresent<LmdbMap>", getPresent<LmdbMap>);
#endif
}

void addWalks(int keys, int slots) {
  add("getAbsent", getAbsent)->Args({keys, slots});
  add("bareWalk", bareWalk)->Args({keys, slots});
  add("listKeys", listKeys)->Args({keys, slots});
}

void addDecoding() {
  for (int size : {16 * 1024, 1024 * 1024}) {
    add("decodeBase64", decodeBase64)->Arg(size);
#ifdef VELOMAR_BENCH_OPENSSL
    add("decodeBase64OpenSsl", decodeBase64OpenSsl)->Arg(size);
#endif
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  addMessages();
  addPresent();
  // None, few, many and nearly all slots of the program's own stores in use, and ten in others.
  for (int keys : {0, 10, 1000, 4000}) addWalks(keys, kBlockCount);
  for (int slots : {64, 512, 16384, 65536}) addWalks(10, slots);
  addDecoding();
  add("handOver", handOver);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
