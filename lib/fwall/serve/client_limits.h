// Limits of an accepting process on its connections, besides their number: how many one address may
// have at a time, and how many are accepted per second. Each process counts its own.
#pragma once

#include <netinet/in.h>

namespace flatlink
{

// True when one more client may be served; false after a report (event 1500):
//   "deny use of proxy: too many connections from ADDRESS (limit N)"
//   "deny use of proxy: too many connections a second (limit N)"
//   connection   the accepted socket, which stays the caller's
//   client_be    receives the client's address for add_client; INADDR_ANY if no limit needs it
bool is_within_client_limits(int connection, in_addr_t &client_be);

} // namespace flatlink
