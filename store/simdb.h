// A named key/value map with string keys and string values, shared with other processes.
//
//   simdb toXPlane("ToXPlane", 2048, 4096, false);
//   if (toXPlane.openError() != SIMDB_OK) ...
//   toXPlane.put("0000000001", "{Hello}");
//
// One object is one attachment of this process to one store, which is the file
// "/var/tmp//simdb_<name>". The first process creates it; the one that gives back the last
// attachment removes it. An entry takes (key bytes + value bytes) / block size blocks, rounded up.
//
// Before you use it:
//  - A process that dies doesn't give its attachment back, so the file stays, with its content.
//  - A process that is killed inside an operation can take blocks with it; they are lost until the
//    region is created again. It never blocks the others.
//  - The file must lie on a local file system, and everyone who may write it is trusted with its
//    content, though no content makes an operation here leave the mapping.
//
// Threads: put, get, del, len and getKey may be called by any thread of any attached process at any
// time. nxt, nxtKey and getKeyStrs move the object's cursor: one thread at a time. One thread opens
// and closes. A store that isn't open must not be used, but for openError, openFault
// and close.
//
// To change the store, read the headers in this order. Each begins with its rules.
//   RegionLayout.h   where everything lies in the file
//   RegionMemory.h   the only functions that touch it, and the memory orders
//   CncrLst.h        the free list of blocks
//   CncrStr.h        keys and values in chains of blocks, and pins
//   CncrHsh.h        put, get and del, and why a look needs no pin; SlotTable.h has the slots
//   SharedMem.h      the mapped file and its attachments; RegionSetup.h: who sets it up
#pragma once

#include <string>
#include <vector>

#include "store/CncrHsh.h"
#include "store/CncrStr.h"
#include "store/SharedMem.h"
#include "store/simdb_error.h"

namespace store {

class simdb {
 public:
  // A key as the walk meets it, with the version of its entry.
  struct VerStr {
    u32 ver = 0;
    std::string str;
    // By the strings' bytes alone, a prefix first.
    bool operator<(const VerStr& other) const;
  };

  // Opens or creates the store. Never throws for a failure of its own: see openError. If another
  // process has created the region, its block size and count are used, not these. Waits about a
  // second for a region that is still being set up, and sets it up again if its creator died.
  simdb(const char* name, u32 blockSize, u32 blockCount, bool raw);
  ~simdb();

  simdb(const simdb&) = delete;  // the index points at the value store inside this object
  simdb& operator=(const simdb&) = delete;

  // Gives the attachment back. Nothing happens the second time, or if the store isn't open.
  void close();

  // SIMDB_OK, or why the store couldn't be opened.
  simdb_error openError() const { return error; }

  // The same for a person: the file, and what the system or the file's content has against it.
  std::string openFault() const;

  // False: no room; the key keeps any old value. REQUIRES: a key that isn't empty.
  bool put(const std::string& key, const std::string& value);

  // Reads a value into `value`, in place of what was there. False: the key is absent, and `value`
  // is empty.
  bool get(const std::string& key, std::string* value) const;

  // The value, or an empty string if the key is absent.
  std::string get(const std::string& key) const;

  // False: the key is absent, or it can't be deleted (see CncrHsh::del).
  bool del(const void* key, u32 length);

  // The next used slot from the cursor on. `idx` 0xFFFFFFFF: no slot is in use.
  CncrStr::VerIdx nxt() const;

  // The sizes of the entry in slot `i`, if that slot still holds `version`; else 0. Returns key and
  // value together. Both pointers are required.
  u32 len(u32 i, u32 version, u32* keyLength, u32* valueLength) const;

  // Copies the key of the entry in slot `i`. False: the slot holds another version, or the key is
  // longer than `maxlen`.
  bool getKey(u32 i, u32 version, void* out, u32 maxlen) const;

  // The next key from the cursor on. An empty `str`: this step gave none. `searched`, which may be
  // null, gets how far the step went, as getKeyStrs counts it.
  VerStr nxtKey(u64* searched) const;

  // One pass over the keys, sorted, none twice. No snapshot, and maybe only a part of the keys: the
  // next pass goes on where this one ended.
  std::vector<VerStr> getKeyStrs() const;

  // Slots that the walk has looked at since the object was opened. Once it has grown by slots(),
  // the walk has gone a full round.
  u64 walked() const { return visited; }

  // Bytes of keys that the walk has copied since the object was opened.
  u64 copied() const { return listed; }

  u64 slots() const { return blkCnt; }

  // Bytes of keys and values that the store can hold.
  u64 capacity() const { return blkSz * blkCnt; }

 private:
  bool open(const char* name, u32 wantedSize, u32 wantedCount, bool raw, bool takesOver);
  simdb_error create(u64 wantedSize, u64 wantedCount);
  bool adopt(bool takesOver);
  bool attach(bool fromNone);
  bool takeOver();
  void pointAtHeader();
  void initialise(u64 wantedSize, u64 wantedCount);
  void layOver(u64 b, u64 n, bool owner);

  Word32* flags = nullptr;
  Word32* count = nullptr;
  Word64* blockSize = nullptr;
  Word64* blockCount = nullptr;
  CncrStr values;
  CncrHsh index;
  SharedMem mem;
  simdb_error error = SIMDB_OK;
  mutable u32 cursor = 0;
  u64 blkCnt = 0;
  u64 blkSz = 0;
  bool isOpen = false;
  mutable u64 visited = 0;
  mutable u64 listed = 0;
};

// Names of the stores on this machine, in the order in which the folder lists them. `error`, which
// may be null, gets SIMDB_OK, or the code of what failed; the names found so far come back.
std::vector<std::string> simdb_listDBs(simdb_error* error);

}  // namespace store

using store::simdb;
using store::simdb_listDBs;
