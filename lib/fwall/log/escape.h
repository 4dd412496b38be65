// Escapes texts for the log, so that they are printable and hold no field separators.
#pragma once

// Writes `source` with '%', and every byte outside 32 to 126, as '%' and two upper-case hexadecimal
// digits.
//   destination  `limit` bytes; receives at most `limit` - 1 characters and a NUL terminator,
//                nothing when `limit` is below 1. An escape is stored whole or not at all
//   source       null counts as empty; must not overlap `destination`
// Returns the length of the complete result, even if it was cut.
int hexescNonAscii(char *destination, const char *source, int limit);

// The same; also escapes each character of `extra`.
int hexescNonAsciiPlus(char *destination, const char *source, int limit, const char *extra);
