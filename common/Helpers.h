// Small free-standing helpers. Any thread may call any of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// `length` random lowercase hexadecimal digits, without dashes or version bits. Passes on the
// exception of std::random_device if "/dev/urandom" can't be opened.
std::string generate_uuid(unsigned long length);

// True if the text isn't empty and holds decimal digits only: no sign, point or blank.
bool is_number(const std::string& text);

// The number as decimal text.
std::string itoString(int number);

// The bytes of the UTF-8 text's whole characters that fit into so many bytes. Of a text that isn't
// UTF-8, up to three bytes fewer may be given.
std::size_t wholeCharacters(std::string_view text, std::size_t most);

// Opens "/dev/null" in place of each standard stream that was closed at the process's start. A file
// or socket that is opened later would get the stream's number, and text for standard error would
// go into it. Called before anything else is opened.
void openStandardStreams();

// Milliseconds of the monotonic clock since the first call in this process, which returns 0.
std::int64_t getElapsedMilliSeconds();
