// The argument scanner of netperm-table: white space separates, quotes of both kinds join,
// a backslash escapes.
#pragma once

#include <string_view>

// Splits `text` into arguments.
//   - White space, commas and unprintable characters before the first argument are skipped; after
//     that a comma is an ordinary character. Unprintable ones are dropped everywhere.
//   - " or ' opens a quote, which the same character or the end of the text closes. Pieces join:
//     a"b c"d is one argument, and "" an empty one.
//   - Inside and outside of quotes \n is a newline, \t a tab, and a backslash before another
//     character that character; at the end of the text it is dropped. The character after such a
//     pair is stored as it is, even a quote, white space or another backslash.
//   - Printable and white space are taken as in ASCII, whatever the locale.
// Arguments:
//   text      null counts as empty; the view may hold NUL bytes, which are dropped
//   argv      receives pointers into `buffer` and a terminating null; the caller's
//   capacity  entries of `argv`, that null included: at most `capacity` - 1 arguments are stored
//             and the rest of the text is dropped
//   buffer    receives the arguments, each NUL-terminated; the caller's
//   size      bytes of `buffer`
// Returns the number of arguments, or -1 when `buffer` is too small or `capacity` below 1. `argv`
// then holds the arguments that were complete.
int enargv(const char *text, char **argv, int capacity, char *buffer, int size);
int enargv(std::string_view text, char **argv, int capacity, char *buffer, int size);
