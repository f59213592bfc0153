// Status codes of the store. They start at 2.
#pragma once

#include <cstdint>

enum simdb_error : std::uint32_t {
  SIMDB_OK = 2,
  SIMDB_DIR_OPEN_FAILED,   // the folder of the region files couldn't be opened
  SIMDB_DIR_READ_FAILED,   // reading that folder failed
  SIMDB_FILE_OPEN_FAILED,  // the region file couldn't be created
  SIMDB_MAP_FAILED,        // mmap failed, or the region's header doesn't fit its file
  SIMDB_NO_MAPPING,        // no error was reported and yet there is no mapping
  SIMDB_RESIZE_FAILED,     // ftruncate failed
  SIMDB_LOCK_FAILED,       // the file lock couldn't be taken or released
  SIMDB_NAME_TOO_LONG,     // the file's path would need 256 characters or more
};
