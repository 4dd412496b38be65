// Prints raw memory, for debugging.
#pragma once

// Prints "NAME(LENGTH bytes):" and then `length` bytes in hexadecimal, eight a row, on the
// standard output. A null `bytes` or a `length` below 1 prints no byte.
void dump_struct(const char *name, const void *bytes, int length);
