// Assertions that are on in every build.
//
// They guard against mistakes of a programmer, never against input: a wrong constant or an index
// out of range. A release build must not run on past one, since what follows would write into
// memory that another process shares.
//
// Any thread may assert.
#pragma once

namespace velomar {

// Prints `text` and a line feed on standard error and aborts the process.
[[noreturn]] void failAssertion(const char* text) noexcept;

// Does nothing if `holds`, else fails with exactly `text`.
inline void require(bool holds, const char* text) noexcept {
  if (!holds) failAssertion(text);
}

}  // namespace velomar
