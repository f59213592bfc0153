// The keys seen in a store and not yet taken, in byte-wise order: for the reader of a store that
// another process writes messages to, under keys that sort in the order of writing. One thread.
//
// Messages are to be taken in key order, and one walk over the store is neither complete nor a
// snapshot: it lists only some of the keys once used slots are side by side, and a key written to a
// slot that it has passed is missed while a later one, written ahead of it, is seen. But whatever
// sorts before a key was written before it. So a key is safe to take once the walk has
// gone a full round that began after the key was first seen. Keys that were seen in the same round
// are safe together: a thousand of them cost two rounds.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>

#include "store/simdb.h"

class PendingKeys {
 public:
  // `reader` is not owned, is open, and outlives the object.
  explicit PendingKeys(simdb& reader) : source(reader) {}

  // Lists the store once, and again until the smallest key is safe. A writer that keeps adding ever
  // smaller keys can't hold it for longer than a few rounds, nor can a damaged region in which
  // every slot names a key of the store's size. Keys beyond the store's capacity wait for a later
  // call.
  void list();

  bool empty() const { return pending.empty(); }

  // Reads, deletes and forgets the smallest key. The value is empty if the key has gone.
  // REQUIRES: not empty.
  std::string take();

 private:
  struct Entry {
    store::u64 seenAt;  // how far the walk had gone when the key was first seen
    std::optional<std::string> value;
  };

  void add(const std::string& key);
  void hold(const std::string& key, std::optional<std::string> value);
  bool smallestIsSafe() const;

  simdb& source;
  std::map<std::string, Entry> pending;
  store::u64 held = 0;  // bytes of the keys in both sets; in a sound store at most its capacity

  // Keys taken that the store couldn't delete. In a completely full store a key can get into the
  // one slot that a deletion doesn't reach, and there it stays. It is listed for ever, and must not
  // be handled again unless it was written again: only then does a deletion succeed.
  std::set<std::string> undeletable;
};
