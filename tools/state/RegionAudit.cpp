#include "tools/state/RegionAudit.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "store/CncrHsh.h"
#include "store/RegionLayout.h"
#include "store/SharedMem.h"

namespace {

using store::u8;

constexpr std::align_val_t kPage{
    4096};  // a mapping begins on one, and the list's head relies on it

struct Release {
  void operator()(u8* page) const { ::operator delete(page, kPage); }
};
using Copy = std::unique_ptr<u8, Release>;

class File {
 public:
  // O_NONBLOCK, so that it doesn't wait for a writer if the name is a pipe's.
  explicit File(const std::string& path) : fd(open(path.c_str(), O_RDONLY | O_NONBLOCK)) {
    if (fd != -1 && (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode))) status.st_size = -1;
  }
  ~File() {
    if (fd != -1) (void)close(fd);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool isOpen() const { return fd != -1; }
  bool isRegular() const { return status.st_size >= 0; }
  u64 length() const { return static_cast<u64>(status.st_size); }

  // The file's first `bytes`. Null: it ends before.
  Copy read(u64 bytes) const {
    Copy copy(static_cast<u8*>(::operator new(bytes, kPage)));
    for (u64 done = 0; done < bytes;) {
      const auto piece = pread(fd, copy.get() + done, bytes - done, static_cast<off_t>(done));
      if (piece <= 0) return nullptr;
      done += static_cast<u64>(piece);
    }
    return copy;
  }

 private:
  int fd;
  struct stat status {};
};

// Walks a copy of a region whose numbers fit it.
class Census {
 public:
  Census(u8* region, RegionAudit& result)
      : audit(result),
        b(static_cast<u32>(audit.blockSize)),
        n(static_cast<u32>(audit.blockCount)),
        values(region + store::versionOffset(n), b, n, false),
        list(region + store::listOffset(n), n, false),
        index(region + store::kIndexOffset, n, &values, false),
        entries(reinterpret_cast<const BlkEntry*>(region + store::entriesOffset(n))),
        met(n, 0) {}

  void take() {
    for (u32 i = 0; i < n; ++i) visitSlot(index.load(i));
    audit.usedBlocks = static_cast<u64>(std::count(met.begin(), met.end(), 1));
    walkFreeList();
    audit.lost = static_cast<u64>(std::count(met.begin(), met.end(), 0));
    audit.twice = static_cast<u64>(std::count(met.begin(), met.end(), 2));
  }

 private:
  void meet(u32 block) { met[block] = met[block] == 0 ? 1 : 2; }

  void visitSlot(CncrStr::VerIdx slot) {
    if (slot == CncrHsh::deleted) ++audit.deletedSlots;
    if (!CncrHsh::isChain(slot)) return;
    ++audit.usedSlots;
    CncrStr::Lengths lengths{0, 0};
    if (!values.isBlock(slot.idx) || !values.lengths(slot, lengths) || !followChain(slot)) {
      ++audit.brokenSlots;
      return;
    }
    constexpr u32 kStateWithoutReaders = 3;  // at most: its two low bits are no count
    if (store::loadAcquire(entries[slot.idx].state) > kStateWithoutReaders) ++audit.pinnedChains;
    note(slot, lengths);
  }

  // False: the chain hasn't as many blocks as its size needs, or a block belongs to another chain.
  bool followChain(CncrStr::VerIdx chain) {
    const u64 size = store::loadAcquire(entries[chain.idx].len);
    u32 block = chain.idx;
    bool isWhole = !values.isDeleted(block);
    for (u64 left = (size + b - 1) / b; left > 0; --left) {
      if (!values.isBlock(block)) return false;
      meet(block);
      isWhole = isWhole && values.version(block) == chain.version;
      block = store::loadAcquire(entries[block].next);
    }
    return isWhole && block == CncrStr::LIST_END;
  }

  // Takes every block off the copy's list, at most as many as there are: a damaged list may go in a
  // circle.
  void walkFreeList() {
    for (u64 steps = 0; steps < n; ++steps) {
      const u32 block = list.nxt();
      if (block == CncrLst::LIST_END) return;
      if (met[block] == 0) ++audit.freeBlocks;
      meet(block);
    }
  }

  void note(CncrStr::VerIdx chain, CncrStr::Lengths lengths) {
    RegionAudit::Key key;
    key.keyBytes = lengths.klen;
    key.valueBytes = lengths.len - lengths.klen;
    key.text = firstBytes(chain, 0, lengths.klen);
    key.value = firstBytes(chain, lengths.klen, lengths.len);
    const auto before = [](const auto& x, const auto& y) { return x.text < y.text; };
    auto& keys = audit.keys;
    keys.insert(std::upper_bound(keys.begin(), keys.end(), key, before), key);
    if (keys.size() > RegionAudit::kShownKeys) keys.pop_back();
  }

  // The chain's bytes from `from` to `to`, as far as they lie in its first block, at most
  // kShownBytes.
  std::string firstBytes(CncrStr::VerIdx chain, u32 from, u32 to) {
    const u32 end = std::min(to, b);
    std::string text(from < end ? std::min(end - from, RegionAudit::kShownBytes) : 0, '\0');
    if (!text.empty()) {
      (void)values.readBlock(chain.idx, chain.version, text.data(), from,
                             static_cast<u32>(text.size()));
    }
    return text;
  }

  RegionAudit& audit;
  u32 b;
  u32 n;
  CncrStr values;
  CncrLst list;
  CncrHsh index;
  const BlkEntry* entries;
  std::vector<u8> met;  // 2: more than once
};

const char* readHeader(const File& file, RegionAudit& audit) {
  audit.fileBytes = file.length();
  const Copy header = file.read(store::kHeaderBytes);
  if (!header) return "the file is too short for a header";
  const auto word32 = [&](u64 at) {
    return store::loadAcquire(*store::wordAt<store::Word32>(header.get(), at));
  };
  const auto word64 = [&](u64 at) {
    return store::loadAcquire(*store::wordAt<store::Word64>(header.get(), at));
  };
  audit.flags = word32(store::kFlagsOffset);
  audit.attachments = word32(store::kCountOffset);
  audit.blockSize = word64(store::kBlockSizeOffset);
  audit.blockCount = word64(store::kBlockCountOffset);
  if (audit.blockSize == 0 && audit.blockCount == 0) return "the header is blank: not set up yet";
  if (!store::fits(audit.blockSize, audit.blockCount)) return "the header's numbers make no sense";
  const u64 bytes = store::regionSize(audit.blockSize, audit.blockCount);
  if (bytes > audit.fileBytes) return "the file is shorter than its header says";
  return bytes > RegionAudit::kMaxBytes ? "the region is too large to look into" : nullptr;
}

}  // namespace

std::optional<RegionAudit> RegionAudit::of(const std::string& name, std::string& problem) {
  const File file(SharedMem::kPrefix + name);
  problem = !file.isOpen() ? std::strerror(errno) : !file.isRegular() ? "not a regular file" : "";
  if (!problem.empty()) return {};
  RegionAudit audit;
  if (const char* fault = readHeader(file, audit)) {
    problem = fault;
    return {};
  }
  const Copy copy = file.read(store::regionSize(audit.blockSize, audit.blockCount));
  if (!copy) {
    problem = "the file was cut short while it was read";
    return {};
  }
  audit.writes = store::loadAcquire(
      *store::wordAt<store::Word64>(copy.get(), store::versionOffset(audit.blockCount)));
  Census(copy.get(), audit).take();
  return audit;
}
