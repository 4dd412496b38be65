// The order of links, which is the order in which a packet is compared with them.
#pragma once

#include "flatlink/records/records.h"

// Sorts linkinfos by rule number, then the most nested first, then the smaller local and remote
// network, then the more certificate conditions; equal ones keep their order. On the way it
// resolves host names, puts the firewall's own address towards the gateway in place of its local
// texts, and turns networks of one address into hosts. Numbers the links 1, 2, ....
void vpnauto_sort();

// Moves links without a fixed remote end after the others, ordered by their certificate
// conditions: subject first, then issuer, more conditions first. Changes no number.
void vpn_clientsort();

// The address of a host name, network order; NOT_AN_ADDRESS for null, and when there is none or it
// is no IPv4 address. Blocks; each name is looked up once until clear_lookups.
u32 getdnsname(const char *name);

namespace flatlink
{

// errno of the first look-up of a name or a route that failed for lack of memory or descriptors; 0
// for none. Such a look-up counts as "not found".
int lookup_error();

// Drops the cached names, routes and the error, so that a new run looks everything up again.
void clear_lookups();

} // namespace flatlink
