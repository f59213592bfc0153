// A region full of anything under all operations of the store, and under the audit: none may leave
// the memory, go round in a circle or stop the process.
//
// The input chooses the region's shape, what is damaged or fills it, and the operations, between
// which more is damaged. One half of the inputs runs on heap memory of exactly the region's size,
// whose ends AddressSanitizer guards; the other half through a store's file, header included.
#include <fuzzer/FuzzedDataProvider.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <memory>
#include <string>

#include "store/PendingKeys.h"
#include "store/RegionLayout.h"
#include "store/simdb.h"
#include "tests/store/HeapRegion.h"
#include "tools/state/RegionAudit.h"

// Both functions take the library's place. Each look at the clock makes time pass, so that a wait
// for a process that never comes is over after a few looks.
extern "C" int nanosleep(const timespec* /*duration*/, timespec* /*rest*/) {
  return 0;
}

std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept {
  static std::chrono::milliseconds time{0};
  return time_point(time += std::chrono::milliseconds(250));
}

namespace {

constexpr int kOperations = 24;

struct Input : FuzzedDataProvider {
  using FuzzedDataProvider::FuzzedDataProvider;

  u32 below(u32 limit) { return ConsumeIntegralInRange<u32>(0, limit - 1); }
  // Small numbers pass for indices, versions and lengths, the largest ones for ends.
  u32 word() {
    const u32 kind = below(4);
    if (kind == 0) return ConsumeIntegral<u32>();
    return kind == 1 ? ~below(4) : below(80);
  }
  // Few, so that operations meet: some short, some longer than a block.
  std::string key() {
    const u32 length = below(4) == 0 ? below(150) + 1 : 2;
    return std::string(length, static_cast<char>('a' + below(4)));
  }
  std::string value() { return std::string(below(300), 'v'); }
};

class Region {
 public:
  explicit Region(Input& in)
      : n(in.below(40) + 1), b(in.below(60) + 5), bytes(store::regionSize(b, n)), heap(n, b) {
    heap.set(store::kFlagsOffset, u32{1});
    heap.set(store::kBlockSizeOffset, b);
    heap.set(store::kBlockCountOffset, n);
    for (u32 puts = in.below(8); puts > 0; --puts) put(in);
    if (in.below(4) == 0) {
      const std::string fill = in.ConsumeRandomLengthString(bytes - store::kSlotsOffset);
      std::memcpy(heap.at(store::kSlotsOffset), fill.data(), fill.size());
    }
    for (u32 damages = in.below(16); damages > 0; --damages) damage(in);
  }

  u64 place(Input& in) const { return in.below(static_cast<u32>(bytes / 4)) * u64{4}; }
  void damage(Input& in) {
    const u64 offset = place(in);
    heap.set(offset, in.word());
  }

  void operate(Input& in) {
    char out[400];
    u32 got = 0;
    const std::string key = in.key();
    const u32 klen = static_cast<u32>(key.size());
    switch (in.below(8)) {
      case 0:
      case 1:
        return damage(in);
      case 2:
        return put(in);
      case 3:
        return (void)heap.index.get(key.data(), klen, out, in.below(sizeof out), &got);
      case 4:
        return (void)heap.index.len(key.data(), klen, &got, nullptr);
      case 5:
        return (void)heap.values.getKey(in.word(), in.word(), out, in.below(sizeof out));
      case 6:
        return (void)heap.values.get(in.word(), in.word(), out, in.below(sizeof out), &got);
      default:
        return (void)heap.index.del(key.data(), klen);
    }
  }

  std::string content() const { return heap.image().bytes; }

 private:
  void put(Input& in) {
    const std::string key = in.key();
    const std::string value = in.value();
    (void)heap.index.put(key.data(), static_cast<u32>(key.size()), value.data(),
                         static_cast<u32>(value.size()), nullptr);
  }

  const u32 n, b;
  const u64 bytes;
  HeapRegion heap;
};

// A store in a file, as others would find it.
class FileStore {
 public:
  FileStore(Input& in, Region& source) : region(source) {
    std::string content = region.content();
    // No other process is attached, or the mapping would stay when this attachment is given back.
    std::memset(&content[store::kCountOffset], 0, sizeof(u32));
    if (in.below(64) == 63) content.resize(in.below(static_cast<u32>(content.size())));
    std::ofstream(path, std::ios::binary) << content;
    db = std::make_unique<simdb>(name.c_str(), 16, 8, false);
  }
  ~FileStore() {
    std::string problem;
    (void)RegionAudit::of(name, problem);
    db.reset();
    (void)std::remove(path.c_str());
  }
  FileStore(const FileStore&) = delete;
  FileStore& operator=(const FileStore&) = delete;

  bool isOpen() const { return db->openError() == SIMDB_OK; }

  void operate(Input& in) {
    std::string out(200, '\0');
    u32 a = 0;
    u32 b = 0;
    const std::string key = in.key();
    switch (in.below(8)) {
      case 0:
      case 1:
        return damage(in);
      case 2:
        return (void)db->put(key, in.value());
      case 3:
        return (void)db->get(key);
      case 4: {
        PendingKeys keys(*db);
        keys.list();
        for (int taken = 0; taken < 3 && !keys.empty(); ++taken) (void)keys.take();
        return keys.list();
      }
      case 5:
        return (void)db->len(in.below(static_cast<u32>(db->slots())), in.word(), &a, &b);
      case 6:
        return (void)db->getKey(in.below(static_cast<u32>(db->slots())), in.word(), out.data(),
                                in.below(200));
      default:
        return (void)db->del(key.data(), static_cast<u32>(key.size()));
    }
  }

 private:
  void damage(Input& in) {
    const u64 offset = region.place(in);
    const u32 word = in.word();
    if (offset == store::kCountOffset) return;
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(offset));
    file.write(reinterpret_cast<const char*>(&word), sizeof word);
  }

  Region& region;
  const std::string name = "fuzz." + std::to_string(getpid());
  const std::string path = SharedMem::kPrefix + name;
  std::unique_ptr<simdb> db;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input in(data, size);
  const bool throughFile = in.ConsumeBool();
  Region region(in);
  if (!throughFile) {
    for (int i = 0; i < kOperations && in.remaining_bytes() > 0; ++i) region.operate(in);
    return 0;
  }
  FileStore file(in, region);
  for (int i = 0; file.isOpen() && i < kOperations && in.remaining_bytes() > 0; ++i) {
    file.operate(in);
  }
  return 0;
}
