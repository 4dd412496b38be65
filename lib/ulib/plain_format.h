// printf's formatting for the formats that reports mostly have: nothing but %s, %d and %%. A
// process forked for one connection pays for each page of code that it touches first, and the
// host's formatter touches several.
#pragma once

#include <cstdarg>
#include <cstddef>

namespace flatlink
{

// Formats as vsnprintf does and returns true; or returns false for a format with any other
// conversion, and leaves the buffer alone.
//   size  of the buffer, at least 1; a longer text is cut, and is NUL-terminated
//   args  as after a call of vsnprintf
bool format_plain(char *buffer, std::size_t size, const char *format, va_list args)
    __attribute__((format(printf, 3, 0)));

} // namespace flatlink
