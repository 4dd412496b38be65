// Splitting of texts into words and at a separator.
// Words are separated by tabs and by the first character of `delimiter`. The rest of `delimiter` is
// ignored; with a null or empty one only tabs separate.
#pragma once

// The first position at or after `text` that is not a separator, which may be its end.
const char *next_token(const char *text, const char *delimiter);

// The first position at or after `text` that holds a separator, or its end.
const char *end_token(const char *text, const char *delimiter);

// Splits `text` into a new string list, which the caller releases with freestrlist(list, nullptr).
// Separators at the front are skipped and a run of them counts as one, but separators at the very
// end yield a last, empty word: "a b " gives "a", "b" and "".
//   countout  receives the number of entries, 1 or more; may be null
// Returns null for a null or empty `text`, and leaves `countout` alone. Takes time proportional to
// the text. Ends the process through outofcore() without memory.
char **tokens(const char *text, const char *delimiter, int *countout);

// Splits `text` at the first occurrence of `separator`: the left part is what precedes it, the
// right part what follows its first character, so that "a::b" at "::" gives "a" and ":b". Without
// an occurrence the left part is all of `text` and the right part empty.
//   leftout, rightout  not null; receive the parts, each cut at 1023 characters, in two static
//                      buffers that the next call overwrites. `text` may be one of them
// Returns 0, or -1 with two empty parts when `text` is null or empty.
int getsep(const char *text, const char *separator, char **leftout, char **rightout);
