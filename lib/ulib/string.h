// Heap text functions of the C-style interfaces: growing, copying and replacing in place.
// Every result is the caller's, who frees it with free(); none is null for want of memory (that
// ends the process through outofcore). Lengths count bytes.
#pragma once

// Appends `count` bytes to a buffer. No terminator is written, though there is room for one.
//   buffer  heap buffer or null; given up, only the result is valid afterwards
//   length  its current length in bytes; below 1 nothing of it is kept
//   source  the bytes; must not lie in `buffer`
// Returns the grown buffer of `length` + `count` + 1 bytes, or `buffer` unchanged when `source`
// is null or `count` is below 1.
char *bncat(char *buffer, int length, const char *source, int count);

// A new text of `length` + 1 bytes, filled with zeros behind the characters that it takes: the
// first `length` of `source`, fewer when that ends before. A null `source` or a negative `length`
// gives an empty text.
char *strsave(const char *source, int length);

// Appends at most `length` characters of `source`, which must not lie in `text`; a null `source`
// is empty. The result is always terminated.
//   text  heap text or null (begins a new text); given up, only the result is valid afterwards
// Returns the grown text, or `text` unchanged when `length` is below 1.
char *stradd(char *text, const char *source, int length);

// Replaces, in place, the first `oldlength` characters of `text` with the first `newlength` of
// `replacement`. A length beyond the end of its text, or below 0, is brought into it; a null
// `replacement` is empty.
//   text         must have room for the result; the caller's
//   replacement  must not lie in `text`
// Returns the position in `text` just behind what was inserted.
char *repstr(char *text, int oldlength, const char *replacement, int newlength);
