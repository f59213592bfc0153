// The peers that a user could take instead of the store, each with the same three operations, and
// the limit that none of them can beat.
//
// Every class opens or creates the map `name` under /var/tmp; `remove(name)` takes its file away. A
// second process opens it by the same name. One thread uses an object. Any error ends the program:
// a benchmark has no use for half a peer.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "store/simdb.h"

#ifdef VELOMAR_BENCH_LMDB
#include <lmdb.h>
#endif
#ifdef VELOMAR_BENCH_BOOST
#include <boost/interprocess/allocators/allocator.hpp>
#include <boost/interprocess/containers/string.hpp>
#include <boost/interprocess/managed_mapped_file.hpp>
#include <boost/interprocess/sync/interprocess_mutex.hpp>
#include <boost/interprocess/sync/scoped_lock.hpp>
#include <boost/unordered_map.hpp>
#endif

namespace bench {

using store::u32;
using store::u64;

constexpr u32 kBlockSize = 2048;  // of the program's own stores
constexpr u32 kBlockCount = 4096;
constexpr std::size_t kPeerBytes = std::size_t{64} << 20U;  // of a peer's file

[[noreturn]] inline void fail(const char* what) {
  std::fprintf(stderr, "benchmark: %s failed\n", what);
  std::abort();
}

inline std::string pathOf(const std::string& name) {
  return "/var/tmp/" + name;
}

class SimdbMap {
 public:
  explicit SimdbMap(const std::string& name, u32 blockCount = kBlockCount)
      : db(name.c_str(), kBlockSize, blockCount, false) {
    if (db.openError() != SIMDB_OK) fail("opening the store");
  }

  static void remove(const std::string& name) { std::remove(pathOf("simdb_" + name).c_str()); }

  void put(const std::string& key, const std::string& value) {
    if (!db.put(key, value)) fail("put");
  }
  bool get(const std::string& key, std::string& value) const { return db.get(key, &value); }
  bool del(const std::string& key) { return db.del(key.data(), static_cast<u32>(key.size())); }

  simdb db;
};

// The same, read as the program reads its messages.
class SimdbByValue : public SimdbMap {
 public:
  using SimdbMap::SimdbMap;
  bool get(const std::string& key, std::string& value) const {
    value = db.get(key);
    return !value.empty();
  }
};

#ifdef VELOMAR_BENCH_BOOST
// An unordered map with its mutex, both in a mapped file.
class BoostMap {
 public:
  explicit BoostMap(const std::string& name)
      : file(boost::interprocess::open_or_create, pathOf(name).c_str(), kPeerBytes),
        shared(file.find_or_construct<Shared>("map")(file.get_segment_manager())) {}

  static void remove(const std::string& name) { std::remove(pathOf(name).c_str()); }

  void put(const std::string& key, const std::string& value) {
    const Lock lock(shared->mutex);
    const auto found = shared->map.find(key, Hash(), Same());
    if (found != shared->map.end()) {
      found->second.assign(value.data(), value.size());
      return;
    }
    shared->map.emplace(Text(key.data(), key.size(), file.get_segment_manager()),
                        Text(value.data(), value.size(), file.get_segment_manager()));
  }

  bool get(const std::string& key, std::string& value) const {
    const Lock lock(shared->mutex);
    const auto found = shared->map.find(key, Hash(), Same());
    if (found == shared->map.end()) return false;
    value.assign(found->second.data(), found->second.size());
    return true;
  }

  bool del(const std::string& key) {
    const Lock lock(shared->mutex);
    const auto found = shared->map.find(key, Hash(), Same());
    if (found == shared->map.end()) return false;
    shared->map.erase(found);
    return true;
  }

 private:
  using Manager = boost::interprocess::managed_mapped_file::segment_manager;
  using Text = boost::interprocess::basic_string<char, std::char_traits<char>,
                                                 boost::interprocess::allocator<char, Manager>>;
  using Lock = boost::interprocess::scoped_lock<boost::interprocess::interprocess_mutex>;

  struct Hash {
    template <typename String>
    std::size_t operator()(const String& text) const {
      return boost::hash_range(text.begin(), text.end());
    }
  };
  struct Same {
    template <typename A, typename B>
    bool operator()(const A& a, const B& b) const {
      return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size()) == 0;
    }
  };
  using Map =
      boost::unordered_map<Text, Text, Hash, Same,
                           boost::interprocess::allocator<std::pair<const Text, Text>, Manager>>;

  struct Shared {
    explicit Shared(Manager* manager) : map(16, Hash(), Same(), manager) {}
    boost::interprocess::interprocess_mutex mutex;
    Map map;
  };

  boost::interprocess::managed_mapped_file file;
  Shared* shared;
};
#endif

#ifdef VELOMAR_BENCH_LMDB
// Each operation is a transaction, because a message has to be seen at once. A reader's transaction
// is kept and renewed, as LMDB's documentation advises.
class LmdbMap {
 public:
  explicit LmdbMap(const std::string& name) {
    check(mdb_env_create(&environment));
    check(mdb_env_set_mapsize(environment, kPeerBytes));
    check(mdb_env_open(environment, pathOf(name).c_str(), MDB_NOSUBDIR | MDB_NOSYNC | MDB_WRITEMAP,
                       0600));
    MDB_txn* txn = begin(0);
    check(mdb_dbi_open(txn, nullptr, 0, &table));
    check(mdb_txn_commit(txn));
    reader = begin(MDB_RDONLY);
    mdb_txn_reset(reader);
  }
  ~LmdbMap() {
    mdb_txn_abort(reader);
    mdb_env_close(environment);
  }
  LmdbMap(const LmdbMap&) = delete;
  LmdbMap& operator=(const LmdbMap&) = delete;

  static void remove(const std::string& name) {
    std::remove(pathOf(name).c_str());
    std::remove(pathOf(name + "-lock").c_str());
  }

  void put(const std::string& key, const std::string& value) {
    MDB_txn* txn = begin(0);
    MDB_val k = slice(key);
    MDB_val v = slice(value);
    check(mdb_put(txn, table, &k, &v, 0));
    check(mdb_txn_commit(txn));
  }

  bool get(const std::string& key, std::string& value) const {
    check(mdb_txn_renew(reader));
    MDB_val k = slice(key);
    MDB_val v;
    const bool found = mdb_get(reader, table, &k, &v) == MDB_SUCCESS;
    if (found) value.assign(static_cast<const char*>(v.mv_data), v.mv_size);
    mdb_txn_reset(reader);
    return found;
  }

  bool del(const std::string& key) {
    MDB_txn* txn = begin(0);
    MDB_val k = slice(key);
    const bool found = mdb_del(txn, table, &k, nullptr) == MDB_SUCCESS;
    check(mdb_txn_commit(txn));
    return found;
  }

 private:
  static void check(int code) {
    if (code != MDB_SUCCESS) fail(mdb_strerror(code));
  }
  static MDB_val slice(const std::string& text) {
    return {text.size(), const_cast<char*>(text.data())};
  }
  MDB_txn* begin(unsigned flags) const {
    MDB_txn* txn = nullptr;
    check(mdb_txn_begin(environment, nullptr, flags, &txn));
    return txn;
  }

  MDB_env* environment = nullptr;
  MDB_txn* reader = nullptr;
  MDB_dbi table = 0;
};
#endif

// The limit: copies a message's bytes into mapped memory and out again into a string, and does
// nothing else. It is no map, and holds one message.
class CopyOnly {
 public:
  explicit CopyOnly(const std::string& /*name*/) : memory(std::size_t{kBlockSize} * kBlockCount) {}

  static void remove(const std::string& /*name*/) {}

  void put(const std::string& key, const std::string& value) {
    std::memcpy(memory.data(), key.data(), key.size());
    std::memcpy(memory.data() + key.size(), value.data(), value.size());
    size = value.size();
  }
  bool get(const std::string& key, std::string& value) const {
    value.assign(memory.data() + key.size(), size);
    return true;
  }
  bool del(const std::string& /*key*/) { return true; }

 private:
  std::vector<char> memory;
  std::size_t size = 0;
};

// Ten digits that rise, as the link's keys do.
class RisingKey {
 public:
  const std::string& next() {
    for (std::size_t i = key.size(); ++key[--i] > '9';) key[i] = '0';
    return key;
  }
  const std::string& now() const { return key; }

 private:
  std::string key = "0000000000";
};

}  // namespace bench
