// The peer of a connection, as the two texts that the source check compares.
#pragma once

#include <cstddef>
#include <netinet/in.h>

// Finds the true peer of a connection, fills both buffers as peer_addr_name does, and stores
// address and port in the connection context.
// Returns 0, or 1 with errno when the peer is not available; then nothing is changed.
int peername(int fd, char *name, char *address, std::size_t size);

namespace flatlink
{

// The same, and the true near end of the connection to `local`, which stays as it was on failure.
int endnames(int fd, char *name, char *address, std::size_t size, sockaddr_in *local);

} // namespace flatlink

// Writes `addr` as dotted text to `address`, and "unknown" to `name` unless that holds a text
// already. Asks no name service.
//   size  bytes of each buffer; a longer text is cut, and both are NUL-terminated. With 0 nothing
//         is written
// Returns 0.
int peer_addr_name(const sockaddr_in *addr, char *name, char *address, std::size_t size);
