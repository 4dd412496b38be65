// Who is at the other end of a connection, in the two texts that the source check compares.
#pragma once

#include <cstddef>
#include <netinet/in.h>

// The true far end of a connection: fills both buffers as peer_addr_name does, and gives the
// address and the port to the connection context.
// Returns 0, or 1 with errno when the far end can't be had; nothing is changed then.
int peername(int fd, char *name, char *address, std::size_t size);

namespace flatlink
{

// The same, and the true near end of the connection to `local`, which stays as it was on failure.
int endnames(int fd, char *name, char *address, std::size_t size, sockaddr_in *local);

} // namespace flatlink

// Writes `addr` as dotted text to `address`, and "unknown" to `name` unless that holds a text
// already: no name service is asked.
//   size  bytes of each buffer; what is longer is cut, and both end with a terminator. With 0
//         nothing is written
// Returns 0.
int peer_addr_name(const sockaddr_in *addr, char *name, char *address, std::size_t size);
