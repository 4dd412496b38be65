// Matching of texts with wildcards. A null text is an empty one. Both matchers take at most time
// proportional to the product of the two lengths, however many stars a pattern has.
#pragma once

// 1 when `pattern` matches the whole of `text`, else 0. `*` stands for any run of characters, the
// empty run included; case counts.
int namatch(const char *pattern, const char *text);

// The same without regard to the case of the letters A to Z, and with sets: `[...]` stands for one
// character that set_match finds in it. A set that is reported as bad, once in a call, stands for
// any one character, and the pattern goes on behind the first character of the set.
int nacasematch(const char *pattern, const char *text);

// Looks a character up in a set: members, and ranges as in `a-z`, up to a `]`. A `^` in front
// inverts it; a `]` in first place, behind any `^`, is a member.
//   set      what stands behind the `[`; not null
//   c        not NUL
//   no_case  each letter brings in its other case
// Returns the position of the closing `]` if `c` is in the set, else null. Without a closing `]`,
// and with a range whose top lies below its start: `set` itself, behind the report
// "bad pattern [SET" (event 11502). A range that lacks its top, as in `a-]`, adds nothing.
const char *set_match(const char *set, char c, bool no_case);
