// A routing socket made of netlink: takes the messages of route_message.h, carries them out in
// the kernel's routing tables, and gives a look-up's answer in the same form.
//
// Where the two differ:
// - Routes are added to and removed from the main table only. A look-up follows all tables, as
//   packets do.
// - A destination is cut to its mask before it is added; masks with holes are refused (EINVAL).
// - Only the asking process hears an answer, so a stranger's message never comes.
// - The destination 0 stands for the default route of the main table with the lowest metric; one
//   that is spread over several gateways is not found so.
#pragma once

#include "lib/kdev/platform/platform.h"
#include "lib/ulib/bytes.h"

#include <sys/types.h>

namespace flatlink
{

// Opens the socket: a queue of answers that only its own writes fill. Returns a descriptor for
// read(2) and close(2), or -1 with errno. A read of an empty queue fails with EAGAIN.
int open_netlink_routes();

// Carries out one message. Returns its size when it was done, or -1 with errno: ESRCH for a
// look-up without a route and for the removal of none, EEXIST for a route that is there, EINVAL
// for a message that is no good, else the kernel's error.
ssize_t write_netlink_routes(int fd, byte_view message);

// Hands the source address towards each destination to `take`, as a look-up tells it, but asks
// the kernel only once for each. Skips the destination 0, and any for which a look-up may fail with
// another error than a missing route: the look-up is then to tell it.
void find_netlink_sources(std::span<const in_addr_t> dsts_be, const source_taker &take);

} // namespace flatlink
