// The strict reader of addresses for host patterns and their clients.
#pragma once

#include "lib/ulib/address.h"

namespace flatlink
{

// Reads an address of one to four parts separated by points, each decimal, octal with a leading 0,
// or hexadecimal with a leading 0x or 0X. Each part but the last is one octet; the last fills the
// remaining bits, and a part that does not fit is refused. A white-space character ends the text;
// anything after it is ignored.
// Returns true and stores the address in network order; false for anything else, null and the empty
// text included, and leaves `addr_be` as it was.
bool scan_address(const char *text, u32 &addr_be);

} // namespace flatlink
