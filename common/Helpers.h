// Small free-standing helpers. Any thread may call any of them.
#pragma once

#include <cstdint>
#include <string>

// `length` random lowercase hexadecimal digits, without dashes or version bits. Passes on the
// exception of std::random_device if "/dev/urandom" can't be opened.
std::string generate_uuid(unsigned long length);

// True if the text isn't empty and holds decimal digits only: no sign, point or blank.
bool is_number(const std::string& text);

// The number as decimal text.
std::string itoString(int number);

// Milliseconds of the monotonic clock since the first call in this process, which returns 0.
std::int64_t getElapsedMilliSeconds();
