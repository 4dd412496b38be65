// Matching of texts with wildcards. A null text is an empty one. Both matchers take time at most
// proportional to the product of the two lengths, however many stars a pattern has.
#pragma once

// 1 when `pattern` matches the whole of `text`, else 0. `*` stands for any run of characters, the
// empty run included; case counts.
int namatch(const char *pattern, const char *text);

// The same without regard to the case of the letters A to Z, and with sets: `[...]` stands for one
// character that set_match finds in it. A bad set is reported once per call and stands for any one
// character; the pattern then continues after the set's first character.
int nacasematch(const char *pattern, const char *text);

// Looks a character up in a set: members, and ranges as in `a-z`, up to a `]`. A `^` in front
// inverts it; a `]` in first place, after any `^`, is a member.
//   set      the text after the `[`; not null
//   c        not NUL
//   no_case  each letter stands for its other case too
// Returns the position of the closing `]` if `c` is in the set, else null. A set without a closing
// `]`, or with a range whose top lies below its start, is reported as "bad pattern [SET" (event
// 11502), and `set` itself is returned. A range that lacks its top, as in `a-]`, adds no member.
const char *set_match(const char *set, char c, bool no_case);
