// The source defines inet_aton, which <arpa/inet.h> declares, in place of the platform's call, for
// the whole of a program that it is linked into. It reads one to four parts with points between
// them, each decimal, octal with a leading 0, or hexadecimal with a leading 0x or 0X. Each part but
// the last is one octet; the last fills what is left, and a part that does not fit is refused. A
// white-space character ends the text; whatever stands behind it does not count.
//
//   int inet_aton(const char *text, in_addr *result)
//
// Returns 1 with the address, in network order, in `result`, which may be null; or 0 with `result`
// as it was for a text that is no address, also for null and the empty text.
#pragma once

#include <arpa/inet.h>
