// Declares the parts of the system log of macOS that this program uses. The cross compiler's
// library has these symbols and lacks only their header; a build on macOS takes the system's own.
#pragma once

#include <cstdint>

extern "C" {

struct os_log_s;
using os_log_t = os_log_s*;
using os_log_type_t = std::uint8_t;

extern os_log_s _os_log_default;
extern const char __dso_handle;  // names the program to the log; the linker makes it

bool os_log_type_enabled(os_log_t log, os_log_type_t type);
void _os_log_impl(const void* program, os_log_t log, os_log_type_t type, const char* format,
                  std::uint8_t* arguments, std::uint32_t size);
}

#define OS_LOG_DEFAULT (&_os_log_default)

constexpr os_log_type_t OS_LOG_TYPE_DEFAULT = 0x00;

// The log keeps a line as its format and its encoded arguments, and joins them only when the line
// is read: the compiler encodes, and the format is in a section that the reader knows by name. That
// isn't a section of literals, because the cross linker would merge those with all others.
#define os_log_with_type(log, type, format, argument)                                            \
  do {                                                                                           \
    static const char os_log_format[] __attribute__((section("__TEXT,__oslogstring"))) = format; \
    if (os_log_type_enabled(log, type)) {                                                        \
      alignas(16) std::uint8_t bytes[__builtin_os_log_format_buffer_size(format, argument)];     \
      __builtin_os_log_format(bytes, format, argument);                                          \
      _os_log_impl(&__dso_handle, log, type, os_log_format, bytes, sizeof bytes);                \
    }                                                                                            \
  } while (false)
