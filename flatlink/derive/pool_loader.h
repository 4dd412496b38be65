// The loader of address pools, which expands network objects into the entries of a pool.
#pragma once

#include <cstdint>

struct frag;

// Feeds one pool: its fields, and the entries of its address ranges, networks and servers, each
// kind numbered from 1. Returns 0.
int load_mcpool(frag **db, frag *pool);

// Feeds what an object of the pool being loaded holds: the members of a group, the object that an
// entry names, the patterns of a list, or the object itself.
//   word  the type that a walk gives the object; "emptygroup" is refused
//   row   the kind of entry: 0 addresses, 1 networks, 2 and 3 the two kinds of servers
// Returns 0 when the object was taken or walked, 1 when it does not fit the row, and for every
// object before the first load_mcpool.
int check_mcpool_net(frag **db, frag *obj, const char *word, std::uint32_t row);
