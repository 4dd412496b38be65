// Values of the tree as texts, and plain listings of a tree.
#pragma once

#include <cstdio>

struct frag;

// Blank or tab; and the same with CR and LF.
bool is_ws(char c);
bool is_wscrlf(char c);

// True for null, the empty text, and blanks and tabs only.
bool frag_isblank(const char *text);

// A yes-or-no value, leading blanks and tabs skipped: "on", "yes", "true" in any case give 1,
// "off", "no", "false" give 0, a text that begins with a digit gives its number, all else 0.
int frag_istrue(const char *text);

// A heap copy that the caller frees with std::free; without memory the process ends.
char *frag_strdup(const char *text);

// In every node with a value and a `vlen` of at least 1, removes blanks, tabs, CR and LF from the
// counted end: they become NUL, and `vlen` decreases. Returns 0.
int strip_crlf_tree(frag **head);

// Writes each sibling that has a value as key, '=', the counted value bytes and a newline, then
// its children the same way. A sibling without a value is left out with all below it. `spare`
// has no effect. Returns 0.
int export_frags(const frag *first, std::FILE *stream, int spare);

// Prints a listing for debugging on the standard output, children indented below their parent.
// Changes the tree: bytes of a value outside printable ASCII become '#'. Returns 0.
int dump_frags(frag *first, int indent);
