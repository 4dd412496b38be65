// Reading of addresses. The source also defines inet_aton, which <arpa/inet.h> declares, in place
// of the platform's call, for the whole of a program that it is linked into (by a call of
// scan_address):
//
//   int inet_aton(const char *text, in_addr *result)
//
// reads as scan_address does, and returns 1 with the address in `result`, which may be null, or 0
// with `result` as it was.
#pragma once

#include "lib/ulib/address.h"

// An address of one to four parts with points between them, each decimal, octal with a leading 0,
// or hexadecimal with a leading 0x or 0X. Each part but the last is one octet; the last fills what
// is left, and a part that does not fit is refused. A white-space character ends the text; whatever
// stands behind it does not count.
// True with the address stored, in network order; false for a text that is none, also for null and
// the empty text, with `addr_be` as it was.
bool scan_address(const char *text, u32 &addr_be);
