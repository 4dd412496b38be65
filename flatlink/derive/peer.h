// Queries of a VPN object: its gateway, its network, and the names that links show.
#pragma once

struct frag;

// The gateway object of a vpnnetwork, null for any other object and, traced, when it is missing.
// *flagout becomes 1 if the gateway counts as an endpoint, else 0. Makes the pseudo objects.
frag *find_sgo_ip(frag **db, frag *obj, int *flagout);

namespace flatlink
{

// The network behind a vpnnetwork, null if it names none.
frag *network_of_peer(frag **db, frag *obj);

} // namespace flatlink

// The display name of the object at `key`, `key` itself if there is none, "" for null. Text in
// the tree or the argument.
const char *name_of_object(frag **db, const char *key);

// The address text of a VPN object's gateway, "" if a step on the way fails. Text in the tree.
const char *name_of_sgo_object(frag **db, frag *obj);
