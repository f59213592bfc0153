// One file mapped into this process and, at the same time, into others.
//
// A SharedMem holds a mapping and, once the store's façade has attached, one of the attachments
// that the region counts at offset 4. The attachment is given back once, by the façade's close or
// by the destructor; giving back the last one removes the file. A mapping whose attachment
// was not the last stays in place until the process ends, because others may still be reading.
//
// One thread opens and closes a store. Nothing here throws or logs.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include "store/RegionMemory.h"
#include "store/simdb_error.h"

namespace store {

class SharedMem {
 public:
  // A store's file: this, and the store's name.
  static constexpr char kPrefix[] = "/var/tmp//simdb_";

  // Opens or creates the file "/var/tmp//simdb_<name>" and maps `size` bytes of it.
  //
  // `owner` comes back true only for the one process that has created the file and given it its
  // length: that process must initialise the region. A file that exists gives `owner` false.
  // `error`, if not null, gets SIMDB_OK or the last failure's code: a name that is too long (the
  // file system isn't touched), FILE_OPEN, RESIZE, LOCK or MAP. A file that was created before a
  // later step failed stays. The bool is accepted and not consulted.
  static SharedMem AllocAnon(const char* name, u64 size, bool raw, simdb_error* error);

  // Unmaps, removes the file, and clears the object but for its path. Without a mapping the path
  // is removed all the same.
  static void FreeAnon(SharedMem& mem);

  // Gives a file that length. False: it can't have it, or the disk has no room for it. The file is
  // sparse, and a block that finds no room later is a bus error, which ends the process.
  static bool lengthen(int fd, u64 bytes);

  SharedMem() noexcept = default;  // owns nothing
  SharedMem(SharedMem&& other) noexcept;
  SharedMem& operator=(SharedMem&& other) noexcept;
  SharedMem(const SharedMem&) = delete;
  SharedMem& operator=(const SharedMem&) = delete;

  // Gives the attachment back if `region` isn't null and the region counts any.
  ~SharedMem();

  // Gives one attachment back. The last one frees the region, but leaves the path alone if that
  // names another file by now, if the region was taken over, or if its lock can't be had within
  // about a second; any other leaves the mapping in place, with nothing more to release.
  // REQUIRES: region isn't null and can be read.
  void detach();

  // Unmaps and clears, without giving anything back and without removing the file.
  void abandon();

  // Whether the mapped file holds at least `bytes`. Memory beyond the file's length must not be
  // touched: it is a bus error, which ends the process.
  bool holds(u64 bytes) const;

  // Whether `path` still names the file that is mapped here.
  bool isNamed() const;

  // Maps the file again, `bytes` long, if the present mapping is shorter. False: the file has gone
  // or can't be mapped, and the present mapping stays.
  bool extend(u64 bytes);

  // Opens the mapped file by its path once more. -1 if it has gone or another took its place.
  int reopen() const;

  i32 fileHandle = 0;       // 0: the descriptor is closed as soon as the mapping exists
  void* mapping = nullptr;  // what mmap returned
  void* region = nullptr;   // where the header lies; null once the attachment was given back
  u64 size = 0;             // bytes
  bool owner = false;       // this process has to initialise the region
  char path[256] = {};      // NUL-terminated
  int systemError = 0;      // errno of the first step of opening that failed; 0: none did

 private:
  // Looks the mapped file up by its path. False if it has gone or another took its place.
  bool find(struct stat& status) const;
  void clear() noexcept;
  void take(SharedMem& other) noexcept;

  u64 mapped = 0;  // bytes at `mapping`; `size` may come to say something else
  dev_t device = 0;
  ino_t inode = 0;
};

}  // namespace store

using store::SharedMem;
