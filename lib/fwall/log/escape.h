// Texts as the log carries them: printable, and free of what separates fields there.
#pragma once

// Writes `source` with every byte outside 32 to 126, and '%', as '%' and two upper-case
// hexadecimal digits.
//   destination  holds `limit` bytes; receives at most `limit` - 1 characters and a terminator,
//                nothing when `limit` is below 1. An escape is stored whole or not at all
//   source       null counts as empty; must not lie in `destination`
// Returns the length of the whole result, also where it was cut.
int hexescNonAscii(char *destination, const char *source, int limit);

// The same; escapes each character of `extra` as well.
int hexescNonAsciiPlus(char *destination, const char *source, int limit, const char *extra);
