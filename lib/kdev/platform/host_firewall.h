// The firewall device of this host: /dev/fw0 where it stands. Where it does not, what this host
// knows on its own answers the requests:
// - true ends: of a TCP connection that the packet filter redirected, the filter knows the
//   destination; the far end is as the socket sees it. Any other connection, and any datagram,
//   is not redirected (ENOENT).
// - own address: one that an interface has.
// - a source address binding, the timer and the redirects have no counterpart here and are
//   refused (EOPNOTSUPP). Pretending would send packets under an address that was not asked for.
#pragma once

#include "lib/ulib/bytes.h"

namespace flatlink
{

// Opens the device, or stands in for it; the rest of its errors is passed on.
//   access  O_RDONLY or O_RDWR
int open_host_firewall(int access);

//   sock    the connection that a name query is about; else not looked at
//   record  of the size that `request` tells, else EINVAL
int request_host_firewall(int device, int sock, unsigned long request, byte_area record);

int close_host_firewall(int device);

} // namespace flatlink
