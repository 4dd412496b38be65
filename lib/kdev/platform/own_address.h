// The addresses of this host's own interfaces.
#pragma once

#include <netinet/in.h>

namespace flatlink
{

// Index of the interface that has `addr_be` (network order), 0 when none has it, -1 with errno
// when the interfaces could not be listed. Only IPv4 addresses are looked at.
int interface_of_address(in_addr_t addr_be);

} // namespace flatlink
