// Another implementation of the store, which keeps to the format and does no more: it writes a
// block's state by a plain store, which wipes out a late pin, reads each word once, expects in a
// swap the version that it read in the block, and pins for every read. The store has to be right
// beside it. It takes values and keys of one block only.
#pragma once

#include <string>

#include "store/CncrHsh.h"
#include "store/KeyHash.h"

namespace explore {

class LetterPeer {
 public:
  LetterPeer(char* region, std::uint32_t blockSize, std::uint32_t blockCount);

  bool put(const std::string& key, const std::string& value);
  bool del(const std::string& key);

 private:
  using u32 = store::u32;
  using u64 = store::u64;

  u64 slotAt(u32 i) const;
  bool swapSlot(u32 i, u64 seen, u64 desired);
  static u64 turned(u32 i, u64 word) { return i % 2 == 0 ? word : word << 32U | word >> 32U; }
  bool holds(u32 block, const std::string& key, u32 hash) const;
  bool pin(u32 block);
  void unpin(u32 block);
  void remove(u32 block);
  void free(u32 block);
  u32 take(u32 size, u32 klen, u32 hash, u32& version);

  char* base;
  u32 b, n;
  store::BlkEntry* entries;
  store::Word64* slots;
  CncrLst list;
};

}  // namespace explore
