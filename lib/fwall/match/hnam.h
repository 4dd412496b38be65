// Whether a host fits a pattern of the configuration. Kinds of patterns:
//   *                          every host
//   *.office.lan               a name with stars: it has a character other than digits, `.`, `*`,
//                              `:` and `-`
//   10.1.*                     an address with stars, compared as text
//   10.1                       the first octets of an address
//   10.1.0.0:255.255.0.0       an address and a mask
//   10.0.0.5-10.0.0.9          a range of addresses, both ends included
// Nothing here ends the process or allocates memory. A comparison that can't be decided is no
// match.
#pragma once

#include "lib/fwall/match/host_pattern.h" // proxy_hostent

// 1 when `host` fits `pattern`, else 0; upper and lower case are the same. Null for either: 0.
//   host  a name, or an address in dotted text. The name service is asked only when a name meets a
//         pattern of addresses, and only the first address of its answer counts
// A text of 512 characters or more is no match, except with the pattern `*`:
// "cfgerr: pattern PATTERN too long!" or "cfgerr: name HOST too long!" (event 11502). An address of
// a wrong length is reported by h_lengthCorrect.
int hostmatch(const char *pattern, const char *host);

// 1 when the dotted `address` fits the pattern of addresses, else 0: range_hostmatch with a `-` in
// the pattern, else maskmatch.
int ip_match(const char *pattern, const char *address);

// A pattern with a `*` is compared as text. Otherwise it has up to four numbers and, after a colon,
// a mask of up to four: an octet missing from both matches anything, one missing from the mask
// alone is compared whole. An address with fewer than four numbers is compared as far as it goes.
// Numbers are decimal and kept modulo 256. Returns 1 on a match, else 0; also 0 for a pattern with
// a bit outside its mask, which is reported as "cfgerr: pat:mask can never match anything, PATTERN"
// (event 11502).
int maskmatch(const char *pattern, const char *address);

// 1 when `address` lies in the range LOW-HIGH, ends included, else 0; also 0 when one of the three
// is no address for inet_aton or a side has more than 16 characters.
int range_hostmatch(const char *pattern, const char *address);
