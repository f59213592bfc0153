#include "store/simdb.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "store/RegionLayout.h"
#include "store/RegionSetup.h"

namespace {

constexpr int kOpenTries = 100;
constexpr int kReadTries = 256;

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
  // The other side may be giving back the last attachment just now, and remove the file between
  // our opening and our attaching. Nobody else would ever meet us in a file without a name.
  for (int tries = 0; tries < kOpenTries; ++tries) {
    error = open(name, wantedSize, wantedCount, raw);
    if (mem.mapping == nullptr || mem.isNamed()) break;
    mem.abandon();
  }
  if (error == SIMDB_OK && mem.mapping == nullptr) error = SIMDB_MAP_FAILED;
  isOpen = error == SIMDB_OK;
  if (!isOpen) mem.abandon();
}

simdb::~simdb() {
  close();
}

simdb_error simdb::open(const char* name, u32 wantedSize, u32 wantedCount, bool raw) {
  simdb_error code = SIMDB_OK;
  mem = SharedMem::AllocAnon(name, store::regionSize(wantedSize, wantedCount), raw, &code);
  if (code != SIMDB_OK) return code;
  if (mem.mapping == nullptr) return SIMDB_NO_MAPPING;
  return mem.owner ? create(wantedSize, wantedCount) : attach(wantedSize, wantedCount);
}

// Sets the region up under the file lock, unless somebody else has done so before the lock was had.
simdb_error simdb::create(u64 wantedSize, u64 wantedCount) {
  const store::RegionLock lock(mem);
  if (!lock.isHeld()) return SIMDB_LOCK_FAILED;
  const auto state = store::examine(mem);
  if (state == store::RegionState::Unfit) return SIMDB_MAP_FAILED;
  if (state != store::RegionState::Unfinished) return adopt();
  if (!store::isAddressable(wantedSize, wantedCount)) return SIMDB_MAP_FAILED;
  const u64 bytes = store::regionSize(wantedSize, wantedCount);
  if (!lock.grow(bytes) || !mem.extend(bytes)) return SIMDB_RESIZE_FAILED;
  initialise(wantedSize, wantedCount);
  return SIMDB_OK;
}

simdb_error simdb::attach(u64 wantedSize, u64 wantedCount) {
  switch (store::awaitRegion(mem)) {
    case store::RegionState::Ready:
    case store::RegionState::Unflagged:
      return adopt();
    case store::RegionState::Unfinished:
      return create(wantedSize, wantedCount);
    case store::RegionState::Unfit:
      break;
  }
  return SIMDB_MAP_FAILED;
}

void simdb::initialise(u64 wantedSize, u64 wantedCount) {
  pointAtHeader();
  mem.owner = true;
  mem.size = store::regionSize(wantedSize, wantedCount);
  // What a dead creator left behind goes first. The data blocks carry nothing by themselves.
  store::clearWords(mem.region, store::dataOffset(wantedCount));
  store::save(*blockCount, wantedCount);
  store::save(*blockSize, wantedSize);
  store::save(*count, u32{1});
  layOver(wantedSize, wantedCount, true);
  store::save(*flags, u32{1});
}

// The header's numbers are read once and checked once: from then on it doesn't matter what becomes
// of the header.
simdb_error simdb::adopt() {
  pointAtHeader();
  const u64 b = store::load(*blockSize);
  const u64 n = store::load(*blockCount);
  if (!store::fits(b, n) || !mem.holds(store::regionSize(b, n))) return SIMDB_MAP_FAILED;
  mem.owner = false;
  store::add(*count, u32{1});
  mem.size = store::regionSize(b, n);
  layOver(b, n, false);
  return SIMDB_OK;
}

void simdb::pointAtHeader() {
  flags = store::wordAt<store::Word32>(mem.region, store::kFlagsOffset);
  count = store::wordAt<store::Word32>(mem.region, store::kCountOffset);
  blockSize = store::wordAt<store::Word64>(mem.region, store::kBlockSizeOffset);
  blockCount = store::wordAt<store::Word64>(mem.region, store::kBlockCountOffset);
}

void simdb::layOver(u64 b, u64 n, bool owner) {
  blkSz = b;
  blkCnt = n;
  u8* region = static_cast<u8*>(mem.region);
  const u32 slots = static_cast<u32>(n);
  values = CncrStr(region + store::versionOffset(n), static_cast<u32>(b), slots, owner);
  index = CncrHsh(region + store::kIndexOffset, slots, &values, owner);
}

void simdb::close() {
  if (!isOpen) return;
  isOpen = false;
  mem.detach();
}

bool simdb::put(const std::string& key, const std::string& value) {
  return index.put(key.data(), length32(key), value.data(), length32(value), nullptr);
}

bool simdb::get(const std::string& key, std::string* value) const {
  if (key.empty()) return false;
  const u32 hash = CncrHsh::recalledHashOf(key.data(), length32(key));
  const auto glance = index.glance(key.data(), length32(key), hash, [&](CncrStr::VerIdx chain) {
    value->clear();
    return values.appendValue(chain, *value);
  });
  if (glance != CncrHsh::Glance::Unsure) return glance == CncrHsh::Glance::Found;
  return getPinned(key, hash, *value);
}

// Size and bytes come from one chain: a value that is replaced meanwhile is seen whole, either the
// old or the new one.
bool simdb::getPinned(const std::string& key, u32 hash, std::string& value) const {
  bool found = false;
  bool whole = false;
  // A chain that still stands after it couldn't be read is damaged, and no try will make it whole.
  CncrStr::VerIdx last = CncrHsh::empty;
  CncrStr::VerIdx before = CncrHsh::deleted;
  const auto read = [&](CncrStr::VerIdx chain) {
    last = chain;
    value.clear();
    return values.appendValue(chain, value);
  };
  for (int tries = 0; !whole && last != before && tries < kReadTries; ++tries) {
    before = last;
    found = index.runMatch(key.data(), length32(key), hash, read, whole);
    if (!found) break;
  }
  if (!whole) value.clear();
  return found;
}

std::string simdb::get(const std::string& key) const {
  std::string value;
  return get(key, &value) ? value : std::string();
}

bool simdb::del(const void* key, u32 length) {
  return index.del(key, length);
}

CncrStr::VerIdx simdb::nxt() const {
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
  const CncrStr::VerIdx slot = index.load(i);
  if (!CncrHsh::isChain(slot) || slot.version != version || !values.isBlock(slot.idx)) return 0;
  CncrStr::Lengths lengths{0, 0};
  if (!values.lengths(slot, lengths)) return 0;
  *valueLength = lengths.len - lengths.klen;
  *keyLength = lengths.klen;
  return lengths.len;
}

bool simdb::getKey(u32 i, u32 version, void* out, u32 maxlen) const {
  if (maxlen == 0) return false;
  const CncrStr::VerIdx slot = index.load(i);
  if (!CncrHsh::isChain(slot) || slot.version != version) return false;
  if (values.getKey(slot.idx, version, out, maxlen) == 0) return false;
  // The copy may come from a chain that was taken again; the slot then names another.
  return index.load(i) == slot;
}

simdb::VerStr simdb::nxtKey(u64* searched) const {
  const i64 previous = cursor;
  const CncrStr::VerIdx slot = nxt();
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
  // Of a key that stands in two slots, or whose slot was passed twice, the first counts.
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
