// Heap text functions of the C-style interfaces: growing, copying and replacing in place.
// The caller owns every result and releases it with free(). Exhausted memory ends the process
// (outofcore); no result is null for it. Lengths are in bytes.
#pragma once

// Appends `count` bytes to a buffer. Leaves room for a NUL terminator but writes none.
//   buffer  heap buffer or null; consumed, only the result is valid afterwards
//   length  its current length in bytes; below 1: none of it is kept
//   source  the bytes; must not lie in `buffer`
// Returns the grown buffer of `length` + `count` + 1 bytes, or `buffer` unchanged when `source`
// is null or `count` is below 1.
char *bncat(char *buffer, int length, const char *source, int count);

// A new text of `length` + 1 bytes with the first `length` characters of `source`, or fewer if it
// ends earlier; the rest is zeros. A null `source` or a negative `length` gives an empty text.
char *strsave(const char *source, int length);

// Appends at most `length` characters of `source`, which must not lie in `text`; a null `source`
// is empty. The result is always NUL-terminated.
//   text  heap text or null (starts a new text); consumed, only the result is valid afterwards
// Returns the grown text, or `text` unchanged when `length` is below 1.
char *stradd(char *text, const char *source, int length);

// Replaces, in place, the first `oldlength` characters of `text` with the first `newlength` of
// `replacement`. A length beyond the end of its text, or below 0, is clamped; a null `replacement`
// is empty.
//   text         must have room for the result; the caller's
//   replacement  must not lie in `text`
// Returns the position in `text` just after the inserted characters.
char *repstr(char *text, int oldlength, const char *replacement, int newlength);
