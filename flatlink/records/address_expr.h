// Address expressions: "10.1.*", "10.1.2.0:255.255.255.0", "10.1.2.3-10.1.2.9".
#pragma once

#include "flatlink/records/names.h"
#include "lib/ulib/address.h"

#include <string>

// Longest part of an expression, before or after its separator; a longer one is cut.
inline constexpr std::size_t ADDRESS_PART_SIZE = 31;

// Reads an expression. Null, empty and "*" are the whole address space.
//   addr, mask  network order; the second is a mask, or the last address of a range
// Returns the kind: host, subnet or range. A range that does not rise is the host it begins with.
addrid sraddrmask(const char *text, u32 *addr, u32 *mask);

// Fills a partial dotted address up to four parts: a part that is missing, or begins with '*',
// becomes `filler`.
std::string sraddrmask_fill(const std::string &text, const std::string &filler);

// The same into a room of ADDRESS_PART_SIZE bytes and a NUL; a null text is the empty one.
// Returns `buffer`.
inline char *sraddrmask_fill(char *buffer, const char *text, const char *filler)
{
    const std::string filled = sraddrmask_fill(std::string(text != nullptr ? text : ""), filler);
    buffer[filled.copy(buffer, ADDRESS_PART_SIZE)] = '\0';
    return buffer;
}
