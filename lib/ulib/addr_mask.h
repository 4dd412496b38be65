// Partial address texts with wildcards, as an administrator writes them: `10.1.*`, `10.1.2.0`,
// `10.1.2.0:255.255.255.0`. An octet that begins with `*` or `0` is a wildcard, so `01` is one.
#pragma once

#include "lib/ulib/address.h"

// Expands a partial address to four octets joined by points.
//   text  address text; tabs separate like points, runs of separators count as one, octets after
//         the fourth are dropped. Null or empty: the result is `fill` four times
//   fill  stands for a missing octet; null or empty: "255"
//   wild  stands for a wildcard octet. Null or empty: the result is a mask, "0" for each wildcard
//         octet and "255" for each other
// Returns a static text, cut at 127 characters, overwritten by the next call. Does not check that
// octets are numbers.
char *wnet(const char *text, const char *fill, const char *wild);

// Reads an address with an optional mask after a colon. Without one the mask is derived from the
// address: 255 for each octet that is not a wildcard. A missing octet reads as 255 in both.
//   text              left as it is; null is an empty one
//   addrout, maskout  network order; NOT_AN_ADDRESS for a text that is none
// Returns 1 when a mask was given, 0 when it was derived, -1 when a result pointer is null.
// Overwrites wnet's text.
int waddrmask(const char *text, u32 *addrout, u32 *maskout);
