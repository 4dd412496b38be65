// The limits that an accepting process sets on its connections beside their number: how many come
// from one address at a time, and how many a second. Each process counts its own.
#pragma once

#include <netinet/in.h>
#include <sys/types.h>

namespace flatlink
{

// True when one more client may be served; false after a report (event 1500):
//   "deny use of proxy: too many connections from ADDRESS (limit N)"
//   "deny use of proxy: too many connections a second (limit N)"
//   connection   the accepted socket, which stays the caller's
//   client_be    becomes the client's address for add_client, INADDR_ANY when it is not needed
bool is_within_client_limits(int connection, in_addr_t &client_be);

// Remembers that a child serves a client, and that it has ended. An address of INADDR_ANY and a
// process that serves no client are ignored.
void add_client(pid_t child, in_addr_t client_be);
void remove_client(pid_t child);

} // namespace flatlink
