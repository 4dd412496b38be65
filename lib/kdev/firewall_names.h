// Who is really talking to whom. The firewall redirects connections to the proxies on itself, so
// the ordinary socket calls tell the ends of the redirection. The calls here are their
// counterparts: each makes the ordinary call and then asks the firewall device for the true ends.
//
// All return 0, or -1 with the errno of the failed call, unless their comment says otherwise. A
// device that cannot be opened fails them all, after the ordinary call was made. Each call opens
// and closes the device itself; nothing is kept and nothing is reported.
//   sock  an Internet socket; stays the caller's
//   addr  gets the address, 16 bytes
//   lenp  becomes the address's length; the room is 16 bytes whatever it says before
#pragma once

#include "lib/ulib/address.h"

#include <netinet/in.h>
#include <sys/socket.h>

// The true far end. A connection that is not redirected has its ordinary one.
[[nodiscard]] int vfw_getpeername(int sock, sockaddr_in *addr, socklen_t *lenp);

// The true near end: the destination that the far end asked for. Of a socket that is not
// connected, or not redirected, the ordinary one.
[[nodiscard]] int vfw_getsockname(int sock, sockaddr_in *addr, socklen_t *lenp);

namespace flatlink
{

// The true far and near end of a connection, as the two calls above give them, in one question.
// Nothing is stored on failure.
[[nodiscard]] int vfw_getends(int sock, sockaddr_in *peer, sockaddr_in *local);

} // namespace flatlink

// The true destination of a connection. Returns 1 when that is the firewall itself, or when that
// could not be found out; `addr` and `lenp` are left alone then.
[[nodiscard]] int vfw_getdstname(int sock, sockaddr_in *addr, socklen_t *lenp);

// Both true ends at once.
//   peer          the far end
//   dst           the destination; left alone when the result is 1
//   localaddr_be  the destination's address, in any case
// Returns as vfw_getdstname; nothing is stored on failure.
[[nodiscard]] int vfw_getbothnames(int sock, sockaddr_in *peer, sockaddr_in *dst,
                                   u32 *localaddr_be);

// Whether the address of `addr` is the firewall's own. Returns 1 for a loopback address and for
// 0, 0 for a foreign one, else what the driver says; -1 with errno on failure.
[[nodiscard]] int vfw_checklocal(const sockaddr_in *addr);
