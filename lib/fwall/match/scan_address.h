// The reader of addresses that the patterns of hosts share.
#pragma once

#include "lib/ulib/address.h"

namespace flatlink
{

// An address of one to four parts with points between them, each decimal, octal with a leading 0,
// or hexadecimal with a leading 0x or 0X. Each part but the last is one octet; the last fills what
// is left, and a part that does not fit is refused. A white-space character ends the text; whatever
// comes after it does not count.
// True with the address stored, in network order; false for a text that is none, also for null and
// the empty text, with `addr_be` as it was.
bool scan_address(const char *text, u32 &addr_be);

} // namespace flatlink
