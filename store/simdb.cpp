#include "store/simdb.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "store/KeyHash.h"
#include "store/RegionLayout.h"
#include "store/RegionSetup.h"

namespace store {

namespace {

constexpr int kOpenTries = 100;
constexpr std::chrono::milliseconds kOpenPause{1};

constexpr std::size_t kKeysExpected = 16;  // most of the time; an empty store costs no memory

// At rest a pass meets no slot more than three times, and all keys together fit into the store.
constexpr u64 kCapacitiesPerPass = 4;

bool isSameKey(const simdb::VerStr& a, const simdb::VerStr& b) {
  return a.str == b.str;
}

u32 length32(const std::string& text) {
  return static_cast<u32>(text.size());
}

}  // namespace

bool simdb::VerStr::operator<(const VerStr& other) const {
  const int order =
      std::memcmp(str.data(), other.str.data(), std::min(str.size(), other.str.size()));
  return order != 0 ? order < 0 : str.size() < other.str.size();
}

simdb::simdb(const char* name, u32 wantedSize, u32 wantedCount, bool raw) {
  // The other side may be giving back the last attachment just now, and about to remove the file.
  // No other process can open a file that has lost its name, so another one is opened then.
  for (int tries = 1; tries <= kOpenTries; ++tries) {
    if (open(name, wantedSize, wantedCount, raw, tries == kOpenTries)) break;
    mem.abandon();
    error = SIMDB_LOCK_FAILED;
    std::this_thread::sleep_for(kOpenPause);
  }
  isOpen = error == SIMDB_OK;
  if (!isOpen) mem.abandon();
}

simdb::~simdb() {
  close();
}

// Tries once, and puts the outcome into `error`. False: the file is losing its name, or has lost
// it. `takesOver`: a file that no process holds or removes may be used.
bool simdb::open(const char* name, u32 wantedSize, u32 wantedCount, bool raw, bool takesOver) {
  mem = SharedMem::AllocAnon(name, regionSize(wantedSize, wantedCount), raw, &error);
  if (error == SIMDB_OK && mem.mapping == nullptr) error = SIMDB_NO_MAPPING;
  if (error != SIMDB_OK) return mem.mapping == nullptr || mem.isNamed();
  const auto state = mem.owner ? RegionState::Unfinished : awaitRegion(mem);
  error = state == RegionState::Unfit        ? SIMDB_MAP_FAILED
          : state == RegionState::Unfinished ? create(wantedSize, wantedCount)
                                             : SIMDB_OK;
  if (error == SIMDB_OK && !mem.owner && !adopt(takesOver)) return false;
  return mem.isNamed();
}

// Sets the region up under the file lock, unless another process did so while this one waited for
// the lock: `owner` tells.
simdb_error simdb::create(u64 wantedSize, u64 wantedCount) {
  mem.owner = false;
  const RegionLock lock(mem);
  if (!lock.isHeld()) return SIMDB_LOCK_FAILED;
  const auto state = examine(mem);
  if (state == RegionState::Unfit) return SIMDB_MAP_FAILED;
  if (state != RegionState::Unfinished) return SIMDB_OK;
  if (!isAddressable(wantedSize, wantedCount)) return SIMDB_MAP_FAILED;
  const u64 bytes = regionSize(wantedSize, wantedCount);
  if (!lock.grow(bytes)) {
    mem.systemError = errno;
    return SIMDB_RESIZE_FAILED;
  }
  if (!mem.extend(bytes)) return SIMDB_RESIZE_FAILED;
  initialise(wantedSize, wantedCount);
  return SIMDB_OK;
}

void simdb::initialise(u64 wantedSize, u64 wantedCount) {
  pointAtHeader();
  mem.owner = true;
  mem.size = regionSize(wantedSize, wantedCount);
  // A dead creator's words are cleared first. The data blocks carry nothing by themselves.
  clearWords(mem.region, dataOffset(wantedCount));
  storeSeqCst(*blockCount, wantedCount);
  storeSeqCst(*blockSize, wantedSize);
  storeSeqCst(*count, u32{1});
  layOver(wantedSize, wantedCount, true);
  storeSeqCst(*flags, u32{1});
}

// The header's numbers are read once and checked once, so that a later change of the header can't
// lead out of the mapping. False: no process holds the region.
bool simdb::adopt(bool takesOver) {
  pointAtHeader();
  const u64 b = loadSeqCst(*blockSize);
  const u64 n = loadSeqCst(*blockCount);
  if (!fits(b, n) || !mem.holds(regionSize(b, n))) {
    error = SIMDB_MAP_FAILED;
    return true;
  }
  if (!attach(false) && !(takesOver && takeOver())) return false;
  mem.size = regionSize(b, n);
  layOver(b, n, false);
  return true;
}

// Counts this attachment. Never up from 0, unless `fromNone`: the process that gave back the last
// is about to remove the file.
bool simdb::attach(bool fromNone) {
  u32 seen = loadSeqCst(*count);
  do {
    if (seen == 0 && !fromNone) return false;
  } while (!compareAndSwap(*count, seen, seen + 1));
  return true;
}

// Counts up from 0 under the lock that is also held to remove a file: the process that removes it
// looks at the count again once it has the lock.
bool simdb::takeOver() {
  const RegionLock lock(mem);
  return lock.isHeld() && attach(true);
}

void simdb::pointAtHeader() {
  flags = wordAt<Word32>(mem.region, kFlagsOffset);
  count = wordAt<Word32>(mem.region, kCountOffset);
  blockSize = wordAt<Word64>(mem.region, kBlockSizeOffset);
  blockCount = wordAt<Word64>(mem.region, kBlockCountOffset);
}

void simdb::layOver(u64 b, u64 n, bool owner) {
  blkSz = b;
  blkCnt = n;
  u8* region = static_cast<u8*>(mem.region);
  const u32 slots = static_cast<u32>(n);
  values = CncrStr(region + versionOffset(n), static_cast<u32>(b), slots, owner);
  index = CncrHsh(region + kIndexOffset, slots, &values, owner);
}

std::string simdb::openFault() const {
  const std::string file = std::string(mem.path) + ": ";
  if (mem.systemError != 0) return file + std::strerror(mem.systemError);
  switch (error) {
    case SIMDB_MAP_FAILED:
      return file + "its content is no store's";
    case SIMDB_RESIZE_FAILED:
      return file + "it can't be given its length";
    case SIMDB_LOCK_FAILED:
      return file + "another process has it locked";
    case SIMDB_NAME_TOO_LONG:
      return "the store's name is too long";
    default:
      return file + "unknown";
  }
}

void simdb::close() {
  if (!isOpen) return;
  isOpen = false;
  mem.detach();
}

bool simdb::put(const std::string& key, const std::string& value) {
  return index.put(key.data(), length32(key), value.data(), length32(value), nullptr);
}

// Size and bytes come from one chain: a value that is replaced during the call is seen whole,
// either the old or the new one.
bool simdb::get(const std::string& key, std::string* value) const {
  value->clear();
  if (key.empty()) return false;
  const u32 hash = recalledHashOf(key.data(), length32(key));
  bool isWhole = false;
  const bool found = index.find(key.data(), length32(key), hash, [&](VerIdx chain) {
    value->clear();
    isWhole = values.appendValue(chain, *value);
    return isWhole;
  });
  if (!isWhole) value->clear();
  return found;
}

std::string simdb::get(const std::string& key) const {
  std::string value;
  (void)get(key, &value);
  return value;
}

bool simdb::del(const void* key, u32 length) {
  return index.del(key, length);
}

VerIdx simdb::nxt() const {
  const u32 n = index.slots();
  const u32 start = cursor;
  u32 i = index.nextChain(start, n);
  visited += std::min(i + 1, n) - start;
  bool found = i < n;
  if (!found) {
    i = index.nextChain(0, start);
    visited += std::min(i + 1, start);
    found = i < start;
  }
  const u32 seen = found ? i : start;
  cursor = seen + 1 == n ? 0 : seen + 1;
  return found ? index.load(i) : CncrHsh::empty;
}

u32 simdb::len(u32 i, u32 version, u32* keyLength, u32* valueLength) const {
  const VerIdx slot = index.load(i);
  if (!CncrHsh::isChain(slot) || slot.version != version || !values.isBlock(slot.idx)) return 0;
  CncrStr::Lengths lengths{0, 0};
  if (!values.lengths(slot, lengths)) return 0;
  *valueLength = lengths.len - lengths.klen;
  *keyLength = lengths.klen;
  return lengths.len;
}

bool simdb::getKey(u32 i, u32 version, void* out, u32 maxlen) const {
  if (maxlen == 0) return false;
  const VerIdx slot = index.load(i);
  if (!CncrHsh::isChain(slot) || slot.version != version) return false;
  return values.isBlock(slot.idx) && values.copyKey(slot, out, maxlen);
}

simdb::VerStr simdb::nxtKey(u64* searched) const {
  const i64 previous = cursor;
  const VerIdx slot = nxt();
  const u32 i = (cursor == 0 ? index.slots() : cursor) - 1;
  if (searched != nullptr) {
    const i64 distance = i64{cursor} - previous;
    *searched = static_cast<u64>(distance > 1 ? distance - 1 : distance + static_cast<i64>(blkCnt));
  }
  VerStr none;
  none.ver = slot.version;
  if (!CncrHsh::isChain(slot)) return none;

  u32 keyLength = 0;
  u32 valueLength = 0;
  if (len(i, slot.version, &keyLength, &valueLength) == 0) return none;
  VerStr key;
  key.ver = slot.version;
  key.str.assign(keyLength, '\0');
  listed += keyLength;
  if (!getKey(i, slot.version, key.str.data(), keyLength)) return none;
  // Keys are text: one that holds a NUL isn't listed.
  return key.str.find('\0') == std::string::npos ? key : none;
}

std::vector<simdb::VerStr> simdb::getKeyStrs() const {
  std::vector<VerStr> keys;
  // In a damaged region every slot can name a key as long as the whole store.
  const u64 limit = listed + kCapacitiesPerPass * capacity();
  for (u64 total = 0; total < blkCnt && listed < limit;) {
    u64 searched = 0;
    VerStr key = nxtKey(&searched);
    if (!key.str.empty()) {
      if (keys.empty()) keys.reserve(kKeysExpected);
      keys.push_back(std::move(key));
    }
    total += searched;
  }
  // If a key is in two slots, or its slot was passed twice, the first counts.
  std::stable_sort(keys.begin(), keys.end());
  keys.erase(std::unique(keys.begin(), keys.end(), isSameKey), keys.end());
  return keys;
}

std::vector<std::string> simdb_listDBs(simdb_error* error) {
  static constexpr char kFilePrefix[] = "simdb_";
  simdb_error ignored = SIMDB_OK;
  simdb_error& code = error != nullptr ? *error : ignored;
  std::vector<std::string> names;

  // readdir tells its end from a failure by errno alone, so errno starts from a known value.
  errno = ENOENT;
  DIR* folder = opendir("/var/tmp/");
  if (folder == nullptr || errno != ENOENT) {
    if (folder != nullptr) (void)closedir(folder);
    code = SIMDB_DIR_OPEN_FAILED;
    return names;
  }
  code = SIMDB_OK;
  for (const dirent* entry = readdir(folder); entry != nullptr; entry = readdir(folder)) {
    if (errno != ENOENT) {
      code = SIMDB_DIR_READ_FAILED;
      break;
    }
    const std::string name = entry->d_name;
    if (name.rfind(kFilePrefix, 0) == 0) names.push_back(name.substr(sizeof kFilePrefix - 1));
  }
  (void)closedir(folder);
  return names;
}

}  // namespace store
